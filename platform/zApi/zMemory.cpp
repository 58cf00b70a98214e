#include "zMemory.h"

#include <cstring>

#include "zObjectImpl.h"

namespace {

struct Memory : zObjectHeader {
  char* owned = nullptr;  // growable storage
  zSize capacity = 0;
  const char* attached = nullptr;
  zSize size = 0;
  zSize position = 0;

  ~Memory() { zMemFree(alloc, owned); }
  const char* Bytes() const { return attached ? attached : owned; }
};

}  // namespace

const zClassInfo zClassInfo_zMemory = {"zMemory", &zapi::DeleteObject<Memory>};

namespace {

Memory* Get(zMemory memory) {
  return zapi::Cast<Memory>(memory, &zClassInfo_zMemory);
}

zStatus Reserve(Memory* m, zSize needed) {
  if (needed <= m->capacity) return zOK;
  zSize capacity = m->capacity < 256 ? 256 : m->capacity * 2;
  if (capacity < needed) capacity = needed;
  void* block = nullptr;
  zStatus status = zMemAlloc(m->alloc, capacity, &block);
  if (status != zOK) return status;
  if (m->size) std::memcpy(block, m->owned, m->size);
  zMemFree(m->alloc, m->owned);
  m->owned = static_cast<char*>(block);
  m->capacity = capacity;
  return zOK;
}

}  // namespace

zStatus zMemory_Construct(zMemory* memory, zAlloc alloc) {
  if (!memory) return zERROR_PARAMETER;
  Memory* m = nullptr;
  zStatus status = zapi::NewObject(alloc, &zClassInfo_zMemory, &m);
  *memory = m;
  return status;
}

zStatus zMemory_Attach(zMemory memory, const void* data, zSize size) {
  Memory* m = Get(memory);
  if (!m || (!data && size > 0)) return zERROR_PARAMETER;
  zMemFree(m->alloc, m->owned);
  m->owned = nullptr;
  m->capacity = 0;
  m->attached = static_cast<const char*>(data);
  m->size = size;
  m->position = 0;
  return zOK;
}

zSize zMemory_Size(zMemory memory) {
  Memory* m = Get(memory);
  return m ? m->size : 0;
}

const void* zMemory_Data(zMemory memory) {
  Memory* m = Get(memory);
  return m ? m->Bytes() : nullptr;
}

zSize zMemory_Position(zMemory memory) {
  Memory* m = Get(memory);
  return m ? m->position : 0;
}

zStatus zMemory_Seek(zMemory memory, zSize position) {
  Memory* m = Get(memory);
  if (!m || position > m->size) return zERROR_PARAMETER;
  m->position = position;
  return zOK;
}

zStatus zMemory_Write(zMemory memory, const void* data, zSize size) {
  Memory* m = Get(memory);
  if (!m || (!data && size > 0)) return zERROR_PARAMETER;
  if (m->attached) return zERROR_STATE;
  if (size > ~zSize(0) - m->position) return zERROR_PARAMETER;
  const zSize end = m->position + size;
  zStatus status = Reserve(m, end);
  if (status != zOK) return status;
  if (size) std::memcpy(m->owned + m->position, data, size);
  m->position = end;
  if (end > m->size) m->size = end;
  return zOK;
}

zStatus zMemory_Read(zMemory memory, void* data, zSize size) {
  Memory* m = Get(memory);
  if (!m || (!data && size > 0)) return zERROR_PARAMETER;
  if (size > m->size - m->position) return zERROR_END_OF_STREAM;
  if (size) std::memcpy(data, m->Bytes() + m->position, size);
  m->position += size;
  return zOK;
}
