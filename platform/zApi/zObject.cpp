#include "zObject.h"

#include "zObjectImpl.h"

zStatus zObject_Share(zObject object) {
  if (!object) return zOK;
  static_cast<zObjectHeader*>(object)->refs.fetch_add(1, std::memory_order_relaxed);
  return zOK;
}

zStatus zObject_Destroy(zObject object) {
  if (!object) return zOK;
  auto* header = static_cast<zObjectHeader*>(object);
  if (header->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    header->cls->finalize(header);
  }
  return zOK;
}

z32s zObject_RefCount(zObject object) {
  return object ? static_cast<zObjectHeader*>(object)->refs.load() : 0;
}

zClass zObject_Class(zObject object) {
  return object ? static_cast<zObjectHeader*>(object)->cls : nullptr;
}

const char* zClass_Name(zClass cls) {
  return cls ? cls->name : "(null)";
}

zAlloc zObject_Allocator(zObject object) {
  return object ? static_cast<zObjectHeader*>(object)->alloc : nullptr;
}
