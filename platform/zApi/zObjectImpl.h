// Private to the platform: the object header and the helpers that make and free objects.
#ifndef ZAPI_ZOBJECTIMPL_H
#define ZAPI_ZOBJECTIMPL_H

#include <atomic>
#include <new>
#include <utility>

#include "zObject.h"

struct zObjectHeader;

struct zClassInfo {
  const char* name;
  void (*finalize)(zObjectHeader* object);  // releases what the object owns, not the object
};

struct zObjectHeader {
  const zClassInfo* cls;
  std::atomic<z32s> refs;
  zAlloc alloc;
};

namespace zapi {

// Allocates an object of type T (which derives from zObjectHeader) with the allocator and
// constructs it with one reference.
template <class T, class... Args>
zStatus NewObject(zAlloc alloc, const zClassInfo* cls, T** out, Args&&... args) {
  void* block = nullptr;
  zStatus status = zMemAlloc(alloc, sizeof(T), &block);
  if (status != zOK) return status;
  T* object = new (block) T(std::forward<Args>(args)...);
  object->cls = cls;
  object->refs.store(1, std::memory_order_relaxed);
  object->alloc = alloc;
  *out = object;
  return zOK;
}

// Runs the class's finalizer and the destructor of T, then frees the block.
template <class T>
void DeleteObject(zObjectHeader* header) {
  T* object = static_cast<T*>(header);
  zAlloc alloc = object->alloc;
  object->~T();
  zMemFree(alloc, object);
}

template <class T>
T* Cast(zObject object, const zClassInfo* cls) {
  auto* header = static_cast<zObjectHeader*>(object);
  return header && header->cls == cls ? static_cast<T*>(header) : nullptr;
}

}  // namespace zapi

#endif
