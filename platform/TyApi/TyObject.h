// Ty::Object<void*>: holds one reference to a platform object. Copying shares the object,
// assigning releases the held object first and then shares the new one, the destructor releases.
#ifndef TYAPI_TYOBJECT_H
#define TYAPI_TYOBJECT_H

#include <utility>

#include "../zApi/zObject.h"
#include "TyException.h"

namespace Ty {

template <class T>
class Object;

template <>
class Z_API Object<void*> {
 public:
  Object() noexcept = default;
  // Takes `handle`; adds a reference only when `share` is true (otherwise the caller's
  // reference moves into the wrapper).
  explicit Object(void* handle, bool share = false);
  Object(const Object& other);
  Object(Object&& other) noexcept : handle_(other.handle_) { other.handle_ = nullptr; }
  ~Object();

  Object& operator=(const Object& other);
  Object& operator=(Object&& other) noexcept;

  // Releases the held object and takes `handle`, adding a reference only when `share` is true.
  void Reset(void* handle = nullptr, bool share = false);
  // Gives up the held reference without releasing it and returns the handle.
  void* Detach() noexcept { return std::exchange(handle_, nullptr); }

  void* Get() const noexcept { return handle_; }
  operator void*() const noexcept { return handle_; }
  explicit operator bool() const noexcept { return handle_ != nullptr; }
  bool IsNull() const noexcept { return handle_ == nullptr; }
  // The address of the held handle, for operations that return a new object through a void**
  // (they release what it held first).
  void** Address() noexcept { return &handle_; }

 private:
  void* handle_ = nullptr;
};

}  // namespace Ty

#endif
