// The null value of each matrix element type, shared by the Mat and ImageMat tests.
#ifndef ROVISION_TESTS_COMMON_COMMONTESTSUPPORT_H
#define ROVISION_TESTS_COMMON_COMMONTESTSUPPORT_H

#include <zApi/zApi.h>

#include <cfloat>
#include <type_traits>

namespace rotest {

template <class T>
constexpr bool kHasNull =
    std::is_same_v<T, z16s> || std::is_same_v<T, float> || std::is_same_v<T, double>;

template <class T>
constexpr T Null() {
  if constexpr (std::is_same_v<T, z16s>) return -32768;
  if constexpr (std::is_same_v<T, float>) return -FLT_MAX;
  if constexpr (std::is_same_v<T, double>) return -DBL_MAX;
  return T(0);
}

template <class T>
bool IsNull(T v) {
  return kHasNull<T> && v == Null<T>();
}

}  // namespace rotest

#endif
