// Private to the platform: the one storage record behind arrays, lists and images. A buffer
// holds rows x columns items of one type, contiguous and row-major, in a block of `capacity`
// items made with the object's allocator.
#ifndef ZAPI_ZBUFFERIMPL_H
#define ZAPI_ZBUFFERIMPL_H

#include <cassert>

#include "zObjectImpl.h"
#include "zType.h"

namespace zapi {

struct Buffer : zObjectHeader {
  zType type = nullptr;
  zSize rows = 0;
  zSize cols = 0;
  zSize capacity = 0;  // items the block holds
  void* data = nullptr;

  ~Buffer() { zMemFree(alloc, data); }
  zSize ItemSize() const { return type->size; }
  zSize Count() const { return rows * cols; }
  zSize RowBytes() const { return cols * type->size; }
  char* Bytes() const { return static_cast<char*>(data); }
};

// Makes a buffer of the class, zero-filled unless `zero` is false (then the items are
// unspecified). Sizes whose byte count overflows are refused.
zStatus BufferConstruct(const zClassInfo* cls, zType type, zSize rows, zSize cols, zSize capacity,
                        zAlloc alloc, zObject* out, bool zero = true);
// Replaces the content by a zero-filled block of the new type and shape; reuses the block when
// it is large enough. On failure the buffer is unchanged.
zStatus BufferAllocate(Buffer* buffer, zType type, zSize rows, zSize cols);
// Grows the block to hold `capacity` items, keeping the content.
zStatus BufferReserve(Buffer* buffer, zSize capacity);
// dst takes src's type and shape, then src's items.
zStatus BufferCopy(Buffer* dst, const Buffer* src);
zStatus BufferZero(Buffer* buffer);
zStatus BufferClone(const zClassInfo* cls, const Buffer* src, zAlloc alloc, zObject* out);

inline Buffer* AsBuffer(zObject object, const zClassInfo* cls) {
  Buffer* buffer = Cast<Buffer>(object, cls);
  assert(buffer && "platform: handle of the wrong class");
  return buffer;
}

}  // namespace zapi

#endif
