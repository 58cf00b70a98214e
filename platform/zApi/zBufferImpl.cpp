#include "zBufferImpl.h"

#include <cstring>
#include <limits>

namespace zapi {
namespace {

bool BytesFor(zType type, zSize items, zSize* bytes) {
  if (!type || type->size == 0) return false;
  if (items > std::numeric_limits<zSize>::max() / 2 / type->size) return false;
  *bytes = items * type->size;
  return true;
}

bool ItemsFor(zSize rows, zSize cols, zSize* items) {
  if (cols != 0 && rows > std::numeric_limits<zSize>::max() / cols) return false;
  *items = rows * cols;
  return true;
}

}  // namespace

zStatus BufferConstruct(const zClassInfo* cls, zType type, zSize rows, zSize cols, zSize capacity,
                        zAlloc alloc, zObject* out, bool zero) {
  if (!out) return zERROR_PARAMETER;
  *out = nullptr;
  zSize items = 0, bytes = 0;
  if (!type || !ItemsFor(rows, cols, &items)) return zERROR_PARAMETER;
  if (capacity < items) capacity = items;
  if (!BytesFor(type, capacity, &bytes)) return zERROR_PARAMETER;
  void* block = nullptr;
  if (bytes > 0) {
    zStatus status = zero ? zMemAlloc(alloc, bytes, &block) : zMemAllocRaw(alloc, bytes, &block);
    if (status != zOK) return status;
  }
  Buffer* buffer = nullptr;
  zStatus status = NewObject(alloc, cls, &buffer);
  if (status != zOK) {
    zMemFree(alloc, block);
    return status;
  }
  buffer->type = type;
  buffer->rows = rows;
  buffer->cols = cols;
  buffer->capacity = capacity;
  buffer->data = block;
  *out = buffer;
  return zOK;
}

zStatus BufferAllocate(Buffer* buffer, zType type, zSize rows, zSize cols) {
  zSize items = 0, bytes = 0;
  if (!buffer || !type || !ItemsFor(rows, cols, &items) || !BytesFor(type, items, &bytes)) {
    return zERROR_PARAMETER;
  }
  zSize capacityBytes = buffer->type ? buffer->capacity * buffer->type->size : 0;
  if (bytes <= capacityBytes) {
    std::memset(buffer->data, 0, bytes);
  } else {
    void* block = nullptr;
    zStatus status = zMemAlloc(buffer->alloc, bytes, &block);
    if (status != zOK) return status;
    zMemFree(buffer->alloc, buffer->data);
    buffer->data = block;
    capacityBytes = bytes;
  }
  buffer->type = type;
  buffer->rows = rows;
  buffer->cols = cols;
  buffer->capacity = capacityBytes / type->size;
  return zOK;
}

zStatus BufferReserve(Buffer* buffer, zSize capacity) {
  if (capacity <= buffer->capacity) return zOK;
  zSize bytes = 0;
  if (!BytesFor(buffer->type, capacity, &bytes)) return zERROR_PARAMETER;
  void* block = nullptr;
  zStatus status = zMemAlloc(buffer->alloc, bytes, &block);
  if (status != zOK) return status;
  if (buffer->data) std::memcpy(block, buffer->data, buffer->Count() * buffer->ItemSize());
  zMemFree(buffer->alloc, buffer->data);
  buffer->data = block;
  buffer->capacity = capacity;
  return zOK;
}

zStatus BufferCopy(Buffer* dst, const Buffer* src) {
  if (!dst || !src) return zERROR_PARAMETER;
  if (dst == src) return zOK;
  if (dst->type != src->type || dst->rows != src->rows || dst->cols != src->cols) {
    zStatus status = BufferAllocate(dst, src->type, src->rows, src->cols);
    if (status != zOK) return status;
  }
  return zMemCopy(dst->data, src->data, src->Count() * src->ItemSize());
}

zStatus BufferZero(Buffer* buffer) {
  if (!buffer) return zERROR_PARAMETER;
  if (buffer->data) std::memset(buffer->data, 0, buffer->Count() * buffer->ItemSize());
  return zOK;
}

zStatus BufferClone(const zClassInfo* cls, const Buffer* src, zAlloc alloc, zObject* out) {
  if (!src || !out) return zERROR_PARAMETER;
  zStatus status = BufferConstruct(cls, src->type, src->rows, src->cols, 0, alloc, out, false);
  if (status != zOK) return status;
  return zMemCopy(static_cast<Buffer*>(*out)->data, src->data, src->Count() * src->ItemSize());
}

}  // namespace zapi
