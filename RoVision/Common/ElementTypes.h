// Element types, their null values and their platform descriptors.
//
// Each element type has one null value, the value that marks a place without data:
//   z8u 0, z16s -32768, z32s -2147483648, z64u all bits set, z32f -FLT_MAX, z64f -DBL_MAX.
// The double null also marks a value that is not set: every record of doubles starts with it in
// each field, and an output that cannot be computed is left at it.
#ifndef ROVISION_COMMON_ELEMENTTYPES_H
#define ROVISION_COMMON_ELEMENTTYPES_H

#include <zApi/zType.h>

#include <cfloat>
#include <cstdint>
#include <type_traits>

#include "Export.h"

namespace Ro {
namespace Vision {

template <class T>
constexpr T GetNull();
template <>
constexpr unsigned char GetNull<unsigned char>() {
  return 0;
}
template <>
constexpr short GetNull<short>() {
  return -32768;
}
template <>
constexpr int GetNull<int>() {
  return -2147483647 - 1;
}
template <>
constexpr float GetNull<float>() {
  return -FLT_MAX;
}
template <>
constexpr double GetNull<double>() {
  return -DBL_MAX;
}
template <>
constexpr unsigned long long GetNull<unsigned long long>() {
  return ~0ull;
}
template <>
constexpr unsigned long GetNull<unsigned long>() {
  return ~0ul;
}

// The double null, by name.
constexpr double kNullDouble = -DBL_MAX;

inline bool IsNull(double v) {
  return v == kNullDouble;
}

// The platform descriptor of an element type, as an untyped handle. Defined for the element
// types of arrays: unsigned 8-bit, signed 16-bit, double, zPoint3d32s and zPoint3d64f.
template <class T>
void* GetzType();
template <>
inline void* GetzType<unsigned char>() {
  return const_cast<zTypeInfo*>(zTypeOf(z8u));
}
template <>
inline void* GetzType<short>() {
  return const_cast<zTypeInfo*>(zTypeOf(z16s));
}
template <>
inline void* GetzType<double>() {
  return const_cast<zTypeInfo*>(zTypeOf(z64f));
}
template <>
inline void* GetzType<zPoint3d32s>() {
  return const_cast<zTypeInfo*>(zTypeOf(zPoint3d32s));
}
template <>
inline void* GetzType<zPoint3d64f>() {
  return const_cast<zTypeInfo*>(zTypeOf(zPoint3d64f));
}

// The descriptor of any platform value type (internal code compares descriptors with it).
template <class T>
zType TypeOf();
#define RO_TYPE_OF(T)        \
  template <>                \
  inline zType TypeOf<T>() { \
    return zTypeOf(T);       \
  }
RO_TYPE_OF(z8u)
RO_TYPE_OF(z8s)
RO_TYPE_OF(z16s)
RO_TYPE_OF(z16u)
RO_TYPE_OF(z32s)
RO_TYPE_OF(z32u)
RO_TYPE_OF(z64s)
RO_TYPE_OF(z64u)
RO_TYPE_OF(z32f)
RO_TYPE_OF(z64f)
RO_TYPE_OF(zPoint64f)
RO_TYPE_OF(zPoint3d16s)
RO_TYPE_OF(zPoint3d32s)
RO_TYPE_OF(zPoint3d32f)
RO_TYPE_OF(zPoint3d64f)
RO_TYPE_OF(zRgb24)
RO_TYPE_OF(zArgb)
#undef RO_TYPE_OF

// Runs f(T{}) for the first of Ts whose descriptor is `type`, in the order given; returns false
// when none matches (the caller raises its own status).
template <class... Ts, class F>
bool DispatchByType(zType type, F&& f) {
  bool matched = false;
  (void)((type == TypeOf<Ts>() ? (f(Ts{}), matched = true) : false) || ...);
  return matched;
}

}  // namespace Vision
}  // namespace Ro

#endif
