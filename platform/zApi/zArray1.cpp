#include "zArray1.h"

#include <cstring>

#include "zBufferImpl.h"

using zapi::AsBuffer;
using zapi::Buffer;

const zClassInfo zClassInfo_zArray1 = {"zArray1", &zapi::DeleteObject<Buffer>};

namespace {
Buffer* Get(zArray1 array) {
  return AsBuffer(array, &zClassInfo_zArray1);
}
}  // namespace

zStatus zArray1_Construct(zArray1* array, zType type, zSize length, zAlloc alloc) {
  return zapi::BufferConstruct(&zClassInfo_zArray1, type, 1, length, 0, alloc, array);
}

zStatus zArray1_Clone(zArray1 src, zAlloc alloc, zArray1* array) {
  if (!src) return zERROR_PARAMETER;
  return zapi::BufferClone(&zClassInfo_zArray1, Get(src), alloc, array);
}

zType zArray1_ItemType(zArray1 array) {
  return array ? Get(array)->type : nullptr;
}
zSize zArray1_Length(zArray1 array) {
  return array ? Get(array)->cols : 0;
}
void* zArray1_Data(zArray1 array) {
  return array ? Get(array)->data : nullptr;
}

void* zArray1_At(zArray1 array, zSize i) {
  Buffer* buffer = Get(array);
  assert(i < buffer->cols);
  return buffer->Bytes() + i * buffer->ItemSize();
}

zStatus zArray1_Zero(zArray1 array) {
  return array ? zapi::BufferZero(Get(array)) : zERROR_PARAMETER;
}

zStatus zArray1_Copy(zArray1 dst, zArray1 src) {
  if (!dst || !src) return zERROR_PARAMETER;
  return zapi::BufferCopy(Get(dst), Get(src));
}

zStatus zArray1_Resize(zArray1 array, zSize length) {
  if (!array) return zERROR_PARAMETER;
  Buffer* buffer = Get(array);
  zStatus status = zapi::BufferReserve(buffer, length);
  if (status != zOK) return status;
  if (length > buffer->cols) {
    std::memset(buffer->Bytes() + buffer->cols * buffer->ItemSize(), 0,
                (length - buffer->cols) * buffer->ItemSize());
  }
  buffer->cols = length;
  return zOK;
}

zStatus zArray1_Allocate(zArray1 array, zType type, zSize length) {
  if (!array) return zERROR_PARAMETER;
  return zapi::BufferAllocate(Get(array), type, 1, length);
}
