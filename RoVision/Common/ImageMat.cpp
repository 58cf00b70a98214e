// Null-aware statistics over a region of an image.
#include "ImageMat.h"

#include <zApi/zArray1.h>
#include <zApi/zImage.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <vector>

#include "ElementTypes.h"
#include "MatPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr const char* kFile = "Common/ImageMat";

// Runs f(T{}) for the image's element type.
template <class F>
void DispatchImage(const Site& site, void* image, F&& f) {
  if (!DispatchByType<z8u, z16s, z16u, z32f, z64f>(zImage_PixelType(image), f))
    Throw(site, __LINE__, kIncompatible, "image cells must be z8u, z16s, z16u, z32f or z64f");
}

// Calls f(x, y, value) for every cell of the region in row order, and in(x, y) counts region
// cells; nulls are passed on (the callers tell them apart).
template <class T, class F>
void ForRegion(void* image, const Rect2d<int>& rect, void* mask, F&& f) {
  for (int j = 0; j < rect.height; ++j) {
    const int y = rect.y + j;
    const T* row = static_cast<const T*>(zImage_Row(image, zSize(y))) + rect.x;
    const z8u* m = mask ? static_cast<const z8u*>(zImage_Row(mask, zSize(j))) : nullptr;
    for (int i = 0; i < rect.width; ++i) {
      if (m && !m[i]) continue;
      f(rect.x + i, y, row[i]);
    }
  }
}

template <class T>
std::vector<T> ValidValues(void* image, const Rect2d<int>& rect, void* mask) {
  std::vector<T> values;
  ForRegion<T>(image, rect, mask, [&](int, int, T v) {
    if (!IsNullCell(v)) values.push_back(v);
  });
  return values;
}

// The percentile of values (reordered in place); see ImageMat::Percentile.
template <class T>
double PercentileOf(std::vector<T>& values, double p) {
  if (values.empty()) return kNullDouble;
  const double position = double(values.size() - 1) * p / 100.0;
  const size_t lower = std::min(values.size() - 1, size_t(std::floor(position)));
  const double fraction = position - double(lower);
  std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(lower), values.end());
  const double low = double(values[lower]);
  double result = low;
  if (fraction > 0 && lower + 1 < values.size()) {
    const double high =
        double(*std::min_element(values.begin() + std::ptrdiff_t(lower) + 1, values.end()));
    result = low + fraction * (high - low);
  }
  return std::is_integral_v<T> ? std::trunc(result) : result;
}

template <class T>
RegionStatistics StatisticsOf(void* image, const Rect2d<int>& rect, void* mask) {
  using Sum = std::conditional_t<std::is_integral_v<T>, int64_t, double>;
  RegionStatistics s;
  Sum sum = 0;
  int64_t sumX = 0, sumY = 0;
  T lo = T(0), hi = T(0);
  ForRegion<T>(image, rect, mask, [&](int x, int y, T v) {
    ++s.count;
    if (IsNullCell(v)) return;
    if (s.validCount == 0 || v < lo) lo = v, s.minPosition = {double(x), double(y)};
    if (s.validCount == 0 || v > hi) hi = v, s.maxPosition = {double(x), double(y)};
    ++s.validCount;
    sum += Sum(v);
    sumX += x, sumY += y;
  });
  if (s.validCount == 0) return s;
  const double n = double(s.validCount);
  s.min = double(lo), s.max = double(hi);
  s.mean = double(sum) / n;
  s.centroid = {double(sumX) / n, double(sumY) / n};
  if constexpr (std::is_integral_v<T>) {
    // n x sum(v^2) - sum(v)^2 is exact in 128 bits: n^2 x variance.
    __int128 squares = 0;
    ForRegion<T>(image, rect, mask, [&](int, int, T v) {
      if (!IsNullCell(v)) squares += int64_t(v) * int64_t(v);
    });
    // Divided by n once in integers first, so that one rounding is left for the double.
    const __int128 scaled = __int128(s.validCount) * squares - __int128(sum) * sum;
    const __int128 quotient = scaled / __int128(s.validCount);
    const __int128 remainder = scaled % __int128(s.validCount);
    s.stdDev = std::sqrt((double(quotient) + double(remainder) / n) / n);
  } else {
    // Two passes: deviations from the mean lose less than sums of squares.
    double squares = 0;
    ForRegion<T>(image, rect, mask, [&](int, int, T v) {
      if (!IsNullCell(v)) squares += (double(v) - s.mean) * (double(v) - s.mean);
    });
    s.stdDev = std::sqrt(squares / n);
  }
  std::vector<T> values = ValidValues<T>(image, rect, mask);
  s.median = PercentileOf(values, 50.0);
  return s;
}

Point2d<double> PositionToWorld(const Point2d<double>& p, const zPoint3d64f& scale,
                                const zPoint3d64f& offset) {
  if (IsNull(p.x) || IsNull(p.y)) return p;
  return {offset.x + p.x * scale.x, offset.y + p.y * scale.y};
}

double ValueToWorld(double v, const zPoint3d64f& scale, const zPoint3d64f& offset) {
  return IsNull(v) ? v : offset.z + v * scale.z;
}

}  // namespace

ImageMat::ImageMat(void* image) {
  const Site site{kFile, "Ro::Vision::ImageMat::ImageMat"};
  if (!image) Throw(site, __LINE__, kInvalidArgument, "image is null");
  DispatchImage(site, image, [](auto) {});
  if (zImage_Width(image) > zSize(std::numeric_limits<int>::max()) ||
      zImage_Height(image) > zSize(std::numeric_limits<int>::max()))
    Throw(site, __LINE__, kInvalidArgument, "image size exceeds the int range");
  image_.Reset(image, true);
  rect_ = {0, 0, int(zImage_Width(image)), int(zImage_Height(image))};
}

ImageMat::ImageMat(void* image, const Rect2d<int>& rect, void* mask) : ImageMat(image) {
  const Site site{kFile, "Ro::Vision::ImageMat::ImageMat"};
  if (rect.x < 0 || rect.y < 0 || rect.width < 0 || rect.height < 0 ||
      int64_t(rect.x) + rect.width > rect_.width || int64_t(rect.y) + rect.height > rect_.height)
    Throw(site, __LINE__, kInvalidArgument, "the rectangle does not lie inside the image");
  if (mask && (zImage_PixelType(mask) != zTypeOf(z8u) || zImage_Width(mask) != zSize(rect.width) ||
               zImage_Height(mask) != zSize(rect.height)))
    Throw(site, __LINE__, kIncompatible, "the mask must be z8u of the rectangle's size");
  rect_ = rect;
  mask_.Reset(mask, true);
}

RegionStatistics ImageMat::Statistics() const {
  const Site site{kFile, "Ro::Vision::ImageMat::Statistics"};
  RegionStatistics s;
  DispatchImage(site, image_,
                [&](auto tag) { s = StatisticsOf<decltype(tag)>(image_, rect_, mask_); });
  return s;
}

double ImageMat::Percentile(double p) const {
  const Site site{kFile, "Ro::Vision::ImageMat::Percentile"};
  if (!(p >= 0 && p <= 100)) Throw(site, __LINE__, kInvalidArgument, "p must lie in [0, 100]");
  double result = kNullDouble;
  DispatchImage(site, image_, [&](auto tag) {
    auto values = ValidValues<decltype(tag)>(image_, rect_, mask_);
    result = PercentileOf(values, p);
  });
  return result;
}

Ty::Object<void*> ImageMat::Histogram(int bins, double low, double high, void* alloc) const {
  const Site site{kFile, "Ro::Vision::ImageMat::Histogram"};
  if (bins < 1) Throw(site, __LINE__, kInvalidArgument, "bins must be at least 1");
  if (!std::isfinite(low) || !std::isfinite(high) || !(low < high))
    Throw(site, __LINE__, kInvalidArgument, "the range must be finite with low < high");
  Ty::Object<void*> histogram;
  Check(site, __LINE__,
        zArray1_Construct(histogram.Address(), zTypeOf(z64u), zSize(bins),
                          static_cast<zAlloc>(alloc)));
  z64u* counts = static_cast<z64u*>(zArray1_Data(histogram));
  const double perUnit = double(bins) / (high - low);
  DispatchImage(site, image_, [&](auto tag) {
    using T = decltype(tag);
    ForRegion<T>(image_, rect_, mask_, [&](int, int, T v) {
      const double d = double(v);
      if (IsNullCell(v) || d < low || d > high) return;
      counts[std::min(bins - 1, int((d - low) * perUnit))] += 1;
    });
  });
  return histogram;
}

RegionStatistics ImageMat::ToWorld(const RegionStatistics& pixels, const zPoint3d64f& scale,
                                   const zPoint3d64f& offset) {
  RegionStatistics w = pixels;
  w.min = ValueToWorld(pixels.min, scale, offset);
  w.max = ValueToWorld(pixels.max, scale, offset);
  w.mean = ValueToWorld(pixels.mean, scale, offset);
  w.median = ValueToWorld(pixels.median, scale, offset);
  if (!IsNull(pixels.stdDev)) w.stdDev = pixels.stdDev * std::fabs(scale.z);
  w.minPosition = PositionToWorld(pixels.minPosition, scale, offset);
  w.maxPosition = PositionToWorld(pixels.maxPosition, scale, offset);
  w.centroid = PositionToWorld(pixels.centroid, scale, offset);
  return w;
}

}  // namespace Vision
}  // namespace Ro
