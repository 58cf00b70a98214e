#include "zSerializer.h"

#include <cstring>

#include "zObjectImpl.h"

namespace {

enum class Mode { kIdle, kWriting, kReading };

struct Serializer : zObjectHeader {
  zMemory stream = nullptr;
  Mode mode = Mode::kIdle;
  ~Serializer() { zObject_Destroy(stream); }
};

}  // namespace

const zClassInfo zClassInfo_zSerializer = {"zSerializer", &zapi::DeleteObject<Serializer>};

namespace {

Serializer* Get(zSerializer s) {
  return zapi::Cast<Serializer>(s, &zClassInfo_zSerializer);
}

// Values are stored little-endian; the hosts we build for are little-endian, so the bytes are
// copied as they are.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "little-endian host expected");

zStatus Write(zSerializer serializer, const void* data, zSize size) {
  Serializer* s = Get(serializer);
  if (!s) return zERROR_PARAMETER;
  if (s->mode != Mode::kWriting) return zERROR_STATE;
  return zMemory_Write(s->stream, data, size);
}

zStatus Read(zSerializer serializer, void* data, zSize size) {
  Serializer* s = Get(serializer);
  if (!s || (!data && size > 0)) return zERROR_PARAMETER;
  if (s->mode != Mode::kReading) return zERROR_STATE;
  return zMemory_Read(s->stream, data, size);
}

zStatus Begin(zSerializer serializer, zType versionType, Mode mode) {
  Serializer* s = Get(serializer);
  if (!s || !versionType) return zERROR_PARAMETER;
  if (s->mode != Mode::kIdle) return zERROR_STATE;
  s->mode = mode;
  return zOK;
}

zStatus End(zSerializer serializer, Mode mode) {
  Serializer* s = Get(serializer);
  if (!s) return zERROR_PARAMETER;
  if (s->mode != mode) return zERROR_STATE;
  s->mode = Mode::kIdle;
  return zOK;
}

}  // namespace

zStatus zSerializer_Construct(zSerializer* serializer, zMemory stream, zAlloc alloc) {
  if (!serializer) return zERROR_PARAMETER;
  *serializer = nullptr;
  if (zObject_Class(stream) != &zClassInfo_zMemory) return zERROR_PARAMETER;
  Serializer* s = nullptr;
  zStatus status = zapi::NewObject(alloc, &zClassInfo_zSerializer, &s);
  if (status != zOK) return status;
  zObject_Share(stream);
  s->stream = stream;
  *serializer = s;
  return zOK;
}

zStatus zSerializer_BeginWrite(zSerializer s, zType t) {
  return Begin(s, t, Mode::kWriting);
}
zStatus zSerializer_EndWrite(zSerializer s) {
  return End(s, Mode::kWriting);
}
zStatus zSerializer_BeginRead(zSerializer s, zType t) {
  return Begin(s, t, Mode::kReading);
}
zStatus zSerializer_EndRead(zSerializer s) {
  return End(s, Mode::kReading);
}

zStatus zSerializer_Write8u(zSerializer s, z8u v) {
  return Write(s, &v, sizeof v);
}
zStatus zSerializer_Write16u(zSerializer s, z16u v) {
  return Write(s, &v, sizeof v);
}
zStatus zSerializer_Write16s(zSerializer s, z16s v) {
  return Write(s, &v, sizeof v);
}
zStatus zSerializer_Write32u(zSerializer s, z32u v) {
  return Write(s, &v, sizeof v);
}
zStatus zSerializer_Write32s(zSerializer s, z32s v) {
  return Write(s, &v, sizeof v);
}
zStatus zSerializer_Write64f(zSerializer s, z64f v) {
  return Write(s, &v, sizeof v);
}
zStatus zSerializer_WriteBytes(zSerializer s, const void* d, zSize n) {
  if (!d && n > 0) return zERROR_PARAMETER;
  return Write(s, d, n);
}
zStatus zSerializer_Read8u(zSerializer s, z8u* v) {
  return Read(s, v, sizeof *v);
}
zStatus zSerializer_Read16u(zSerializer s, z16u* v) {
  return Read(s, v, sizeof *v);
}
zStatus zSerializer_Read16s(zSerializer s, z16s* v) {
  return Read(s, v, sizeof *v);
}
zStatus zSerializer_Read32u(zSerializer s, z32u* v) {
  return Read(s, v, sizeof *v);
}
zStatus zSerializer_Read32s(zSerializer s, z32s* v) {
  return Read(s, v, sizeof *v);
}
zStatus zSerializer_Read64f(zSerializer s, z64f* v) {
  return Read(s, v, sizeof *v);
}
zStatus zSerializer_ReadBytes(zSerializer s, void* d, zSize n) {
  return Read(s, d, n);
}
