#include "zArrayList.h"

#include <cstring>

#include "zBufferImpl.h"

using zapi::AsBuffer;
using zapi::Buffer;

const zClassInfo zClassInfo_zArrayList = {"zArrayList", &zapi::DeleteObject<Buffer>};

namespace {

Buffer* Get(zArrayList list) {
  return AsBuffer(list, &zClassInfo_zArrayList);
}

// Grows geometrically so that appending n items one by one costs O(n).
zStatus Grow(Buffer* buffer, zSize needed) {
  if (needed <= buffer->capacity) return zOK;
  zSize capacity = buffer->capacity < 8 ? 8 : buffer->capacity * 2;
  if (capacity < needed) capacity = needed;
  return zapi::BufferReserve(buffer, capacity);
}

}  // namespace

zStatus zArrayList_Construct(zArrayList* list, zType type, zSize capacity, zAlloc alloc) {
  return zapi::BufferConstruct(&zClassInfo_zArrayList, type, 1, 0, capacity, alloc, list);
}

zStatus zArrayList_Clone(zArrayList src, zAlloc alloc, zArrayList* list) {
  if (!src) return zERROR_PARAMETER;
  return zapi::BufferClone(&zClassInfo_zArrayList, Get(src), alloc, list);
}

zType zArrayList_ItemType(zArrayList list) {
  return list ? Get(list)->type : nullptr;
}
zSize zArrayList_Count(zArrayList list) {
  return list ? Get(list)->cols : 0;
}
zSize zArrayList_Capacity(zArrayList list) {
  return list ? Get(list)->capacity : 0;
}
void* zArrayList_Data(zArrayList list) {
  return list ? Get(list)->data : nullptr;
}

void* zArrayList_At(zArrayList list, zSize i) {
  Buffer* buffer = Get(list);
  assert(i < buffer->cols);
  return buffer->Bytes() + i * buffer->ItemSize();
}

zStatus zArrayList_AppendN(zArrayList list, const void* items, zSize count) {
  if (!list || (count > 0 && !items)) return zERROR_PARAMETER;
  Buffer* buffer = Get(list);
  zStatus status = Grow(buffer, buffer->cols + count);
  if (status != zOK) return status;
  if (count > 0) {
    std::memcpy(buffer->Bytes() + buffer->cols * buffer->ItemSize(), items,
                count * buffer->ItemSize());
  }
  buffer->cols += count;
  return zOK;
}

zStatus zArrayList_Append(zArrayList list, const void* item) {
  return zArrayList_AppendN(list, item, 1);
}

zStatus zArrayList_Import(zArrayList list, const void* items, zSize count) {
  if (!list || (count > 0 && !items)) return zERROR_PARAMETER;
  Buffer* buffer = Get(list);
  zStatus status = zapi::BufferReserve(buffer, count);
  if (status != zOK) return status;
  if (count > 0) std::memcpy(buffer->data, items, count * buffer->ItemSize());
  buffer->cols = count;
  return zOK;
}

zStatus zArrayList_Clear(zArrayList list) {
  if (!list) return zERROR_PARAMETER;
  Get(list)->cols = 0;
  return zOK;
}

zStatus zArrayList_Resize(zArrayList list, zSize count) {
  if (!list) return zERROR_PARAMETER;
  Buffer* buffer = Get(list);
  zStatus status = zapi::BufferReserve(buffer, count);
  if (status != zOK) return status;
  if (count > buffer->cols) {
    std::memset(buffer->Bytes() + buffer->cols * buffer->ItemSize(), 0,
                (count - buffer->cols) * buffer->ItemSize());
  }
  buffer->cols = count;
  return zOK;
}

zStatus zArrayList_Reserve(zArrayList list, zSize capacity) {
  if (!list) return zERROR_PARAMETER;
  return zapi::BufferReserve(Get(list), capacity);
}

zStatus zArrayList_Zero(zArrayList list) {
  return list ? zapi::BufferZero(Get(list)) : zERROR_PARAMETER;
}
