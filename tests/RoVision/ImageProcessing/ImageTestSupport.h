// Helpers for the image tests: images from literals, views of them as OpenCV matrices, random
// images with nulls.
#ifndef ROVISION_TESTS_IMAGEPROCESSING_IMAGETESTSUPPORT_H
#define ROVISION_TESTS_IMAGEPROCESSING_IMAGETESTSUPPORT_H

#include <TyApi/TyApi.h>
#include <gtest/gtest.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <opencv2/core.hpp>
#include <random>
#include <type_traits>
#include <vector>

#include "RoVision/Common/ElementTypes.h"

namespace rotest {

// The library's own statuses, as the tests expect them.
constexpr zStatus kInvalidArgument = -997;
constexpr zStatus kNotSupported = -996;
constexpr zStatus kIncompatible = -984;

constexpr z16s N = -32768;          // the z16s null, for readable literals
constexpr double kNull = -DBL_MAX;  // the z64f null

template <class T>
using Grid = std::vector<std::vector<T>>;

// Rows and columns of a grid.
template <class T>
std::pair<int, int> Shape(const Grid<T>& g) {
  return {int(g.size()), g.empty() ? 0 : int(g[0].size())};
}

// A width x height image whose pixel (x, y) is value(x, y), filled row by row.
template <class T, class F>
Ty::Object<void*> ImageFrom(int width, int height, F value, zAlloc alloc = nullptr) {
  zImage image = nullptr;
  EXPECT_EQ(zImage_Construct(&image, Ro::Vision::TypeOf<T>(), zSize(width), zSize(height), alloc),
            zOK);
  for (int y = 0; y < height; ++y) {
    T* row = static_cast<T*>(zImage_Row(image, zSize(y)));
    for (int x = 0; x < width; ++x) row[x] = static_cast<T>(value(x, y));
  }
  return Ty::Object<void*>(image);
}

template <class T>
Ty::Object<void*> Blank(int width, int height, zAlloc alloc = nullptr) {
  return ImageFrom<T>(
      width, height, [](int, int) { return 0; }, alloc);
}

template <class T>
Ty::Object<void*> MakeImage(const std::vector<std::vector<T>>& rows, zAlloc alloc = nullptr) {
  const int width = rows.empty() ? 0 : static_cast<int>(rows[0].size());
  return ImageFrom<T>(
      width, static_cast<int>(rows.size()), [&](int x, int y) { return rows[y][x]; }, alloc);
}

template <class T>
T* RowOf(void* image, int y) {
  return static_cast<T*>(zImage_Row(image, zSize(y)));
}

template <class T>
std::vector<std::vector<T>> ReadImage(void* image) {
  std::vector<std::vector<T>> rows(zImage_Height(image));
  for (zSize y = 0; y < rows.size(); ++y) {
    const T* row = static_cast<const T*>(zImage_Row(image, y));
    rows[y].assign(row, row + zImage_Width(image));
  }
  return rows;
}

// A matrix over the image's pixels (no copy; valid while the image lives).
template <class T>
cv::Mat MatOf(void* image) {
  return cv::Mat(static_cast<int>(zImage_Height(image)), static_cast<int>(zImage_Width(image)),
                 CV_MAKETYPE(cv::traits::Depth<T>::value, 1), zImage_Data(image),
                 zImage_Stride(image));
}

// Uniform random pixels over the type's range (floats in +-1e4), about `nullShare` of them the
// type's null.
template <class T>
Ty::Object<void*> RandomImage(zSize width, zSize height, unsigned seed, double nullShare,
                              zAlloc alloc = nullptr) {
  std::mt19937 random(seed);
  std::bernoulli_distribution isNull(nullShare);
  const auto pixel = [&](int, int) -> T {
    if (isNull(random))
      return Ro::Vision::GetNull<std::conditional_t<std::is_same<T, z16u>::value, z8u, T>>();
    if constexpr (std::is_floating_point<T>::value)
      return static_cast<T>(std::uniform_real_distribution<double>(-1e4, 1e4)(random));
    else
      return static_cast<T>(std::uniform_int_distribution<int>(
          std::numeric_limits<T>::min(), std::numeric_limits<T>::max())(random));
  };
  return ImageFrom<T>(int(width), int(height), pixel, alloc);
}

inline bool SameBits(const cv::Mat& a, const cv::Mat& b) {
  if (a.size() != b.size() || a.type() != b.type()) return false;
  for (int y = 0; y < a.rows; ++y) {
    if (std::memcmp(a.ptr(y), b.ptr(y), a.cols * a.elemSize()) != 0) return false;
  }
  return true;
}

}  // namespace rotest

#endif
