#include "TyObject.h"

namespace Ty {
namespace {
const char kFile[] = "TyApi/TyObject";

void Share(void* handle, int line, const char* function) {
  const zStatus status = zObject_Share(handle);
  if (status != zOK) throw Exception(line, kFile, status, function, nullptr);
}
}  // namespace

Object<void*>::Object(void* handle, bool share) {
  if (share) Share(handle, __LINE__, "Ty::Object<void *>::Object");
  handle_ = handle;
}

Object<void*>::Object(const Object& other) {
  Share(other.handle_, __LINE__, "Ty::Object<void *>::Object");
  handle_ = other.handle_;
}

Object<void*>::~Object() {
  zObject_Destroy(handle_);
}

Object<void*>& Object<void*>::operator=(const Object& other) {
  if (this == &other) return *this;
  zObject_Destroy(std::exchange(handle_, nullptr));
  Share(other.handle_, __LINE__, "Ty::Object<void *>::operator =");
  handle_ = other.handle_;
  return *this;
}

Object<void*>& Object<void*>::operator=(Object&& other) noexcept {
  if (this != &other) {
    zObject_Destroy(handle_);
    handle_ = std::exchange(other.handle_, nullptr);
  }
  return *this;
}

void Object<void*>::Reset(void* handle, bool share) {
  if (handle == handle_ && handle) {
    // Resetting to the held object: keep it alive through the release.
    if (!share) zObject_Destroy(handle_);
    return;
  }
  zObject_Destroy(std::exchange(handle_, nullptr));
  if (share) Share(handle, __LINE__, "Ty::Object<void *>::Reset");
  handle_ = handle;
}

}  // namespace Ty
