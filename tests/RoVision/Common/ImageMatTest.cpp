// ImageMat statistics against naive loops on random images with nulls and masks.
#include <RoVision/Common/ImageMat.h>
#include <gtest/gtest.h>
#include <zApi/zApi.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <type_traits>
#include <vector>

#include "CommonTestSupport.h"
#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using rotest::kHasNull;
using rotest::Null;

namespace {

// Relative tolerance of the float means and deviations: sums of a few thousand doubles.
constexpr double kFloatTolerance = 1e-12;

template <class T>
Ty::Object<void*> RandomImage(int width, int height, unsigned seed, zAlloc alloc) {
  Ty::Object<void*> image;
  EXPECT_EQ(zImage_Construct(image.Address(), rv::TypeOf<T>(), zSize(width), zSize(height), alloc),
            zOK);
  std::mt19937 rng(seed);
  // Few distinct values, so that ties of the extremes and of the percentile ranks occur.
  std::uniform_int_distribution<int> value(std::is_unsigned_v<T> ? 0 : -20, 20);
  std::bernoulli_distribution null(kHasNull<T> ? 0.2 : 0.0);
  for (int y = 0; y < height; ++y) {
    T* row = static_cast<T*>(zImage_Row(image, zSize(y)));
    for (int x = 0; x < width; ++x)
      row[x] =
          null(rng) ? Null<T>() : T(std::is_floating_point_v<T> ? value(rng) * 0.37 : value(rng));
  }
  return image;
}

struct Naive {
  std::vector<double> values;
  std::vector<std::pair<int, int>> positions;
  zSize count = 0;
};

template <class T>
Naive Collect(void* image, rv::Rect2d<int> rect, void* mask) {
  Naive n;
  for (int y = rect.y; y < rect.y + rect.height; ++y) {
    for (int x = rect.x; x < rect.x + rect.width; ++x) {
      if (mask && !static_cast<z8u*>(zImage_Row(mask, zSize(y - rect.y)))[x - rect.x]) continue;
      ++n.count;
      const T v = static_cast<T*>(zImage_Row(image, zSize(y)))[x];
      if (rotest::IsNull(v)) continue;
      n.values.push_back(double(v));
      n.positions.push_back({x, y});
    }
  }
  return n;
}

double NaivePercentile(std::vector<double> v, double p, bool integral) {
  std::sort(v.begin(), v.end());
  const double position = double(v.size() - 1) * p / 100;
  const size_t lo = size_t(position);
  const double hi = lo + 1 < v.size() ? v[lo + 1] : v[lo];
  const double r = v[lo] + (position - double(lo)) * (hi - v[lo]);
  return integral ? std::trunc(r) : r;
}

template <class T>
class ImageMatTyped : public rotest::LeakCheckedTest {};
using ImageTypes = ::testing::Types<z8u, z16s, z16u, float, double>;
TYPED_TEST_SUITE(ImageMatTyped, ImageTypes);

TYPED_TEST(ImageMatTyped, StatisticsEqualANaiveLoop) {
  using T = TypeParam;
  constexpr bool kIntegral = std::is_integral_v<T>;
  std::mt19937 rng(99);
  for (int trial = 0; trial < 12; ++trial) {
    auto image = RandomImage<T>(37, 23, 100 + trial, this->alloc_);
    const rv::Rect2d<int> rect{int(rng() % 10), int(rng() % 8), 1 + int(rng() % 27),
                               1 + int(rng() % 15)};
    Ty::Object<void*> mask;
    if (trial % 2) {
      ASSERT_EQ(zImage_Construct(mask.Address(), zTypeOf(z8u), zSize(rect.width),
                                 zSize(rect.height), this->alloc_),
                zOK);
      for (int y = 0; y < rect.height; ++y)
        for (int x = 0; x < rect.width; ++x)
          static_cast<z8u*>(zImage_Row(mask, zSize(y)))[x] = z8u(rng() % 3 ? 200 : 0);
    }
    const rv::ImageMat region(image, rect, mask);
    const rv::RegionStatistics s = region.Statistics();
    const Naive n = Collect<T>(image, rect, mask);
    ASSERT_EQ(s.count, n.count);
    ASSERT_EQ(s.validCount, n.values.size());
    if (n.values.empty()) {
      EXPECT_EQ(s.mean, rv::kNullDouble);
      EXPECT_EQ(region.Percentile(30), rv::kNullDouble);
      continue;
    }
    // Both extremes are the first in row order.
    const auto minIt = std::min_element(n.values.begin(), n.values.end());
    const auto maxIt = std::max_element(n.values.begin(), n.values.end());
    const auto minPos = n.positions[size_t(minIt - n.values.begin())];
    const auto maxPos = n.positions[size_t(maxIt - n.values.begin())];
    EXPECT_EQ(std::pair(s.min, s.max), std::pair(*minIt, *maxIt));
    EXPECT_EQ(std::pair(s.minPosition.x, s.minPosition.y), (std::pair<double, double>(minPos)));
    EXPECT_EQ(std::pair(s.maxPosition.x, s.maxPosition.y), (std::pair<double, double>(maxPos)));
    double sum = 0, sx = 0, sy = 0;
    for (size_t i = 0; i < n.values.size(); ++i)
      sum += n.values[i], sx += n.positions[i].first, sy += n.positions[i].second;
    const double k = double(n.values.size());
    double squares = 0;
    for (double v : n.values) squares += (v - sum / k) * (v - sum / k);
    // Small integer sums are exact in double.
    EXPECT_NEAR(s.mean, sum / k, kIntegral ? 0 : kFloatTolerance * 10);
    EXPECT_NEAR(s.stdDev, std::sqrt(squares / k), kFloatTolerance * 10);
    EXPECT_EQ(std::pair(s.centroid.x, s.centroid.y), std::pair(sx / k, sy / k));
    EXPECT_EQ(s.median, NaivePercentile(n.values, 50, kIntegral));
    for (double p : {0.0, 10.0, 33.3, 75.0, 99.9, 100.0})
      EXPECT_EQ(region.Percentile(p), NaivePercentile(n.values, p, kIntegral)) << p;

    auto histogram = region.Histogram(7, -10, 15, this->alloc_);
    std::vector<z64u> expected(7, 0);
    for (double v : n.values)
      if (v >= -10 && v <= 15) ++expected[std::min<size_t>(6, size_t((v + 10) * 7 / 25))];
    const z64u* counts = static_cast<const z64u*>(zArray1_Data(histogram));
    EXPECT_EQ(std::vector<z64u>(counts, counts + 7), expected);
  }
}

using ImageMatTest = rotest::LeakCheckedTest;

TEST_F(ImageMatTest, SignedHeightStatisticsAreExactAtTheExtremes) {
  // 32767 and -32767 alternate: the mean is exactly 0 and the deviation exactly 32767, which a
  // sum of squares in doubles over many cells would blur.
  Ty::Object<void*> image;
  ASSERT_EQ(zImage_Construct(image.Address(), zTypeOf(z16s), 1001, 1000, alloc_), zOK);
  for (zSize y = 0; y < 1000; ++y)
    for (zSize x = 0; x < 1001; ++x)
      static_cast<z16s*>(zImage_Row(image, y))[x] =
          x == 1000 ? -32768 : ((x + y) % 2 ? 32767 : -32767);
  const rv::RegionStatistics s = rv::ImageMat(image).Statistics();
  EXPECT_EQ(std::pair(s.count, s.validCount), (std::pair<zSize, zSize>(1001000, 1000000)));
  EXPECT_EQ(std::pair(s.mean, s.stdDev), std::pair(0.0, 32767.0));
  EXPECT_EQ(s.median, 0.0);  // halfway between the ranks of -32767 and 32767
  EXPECT_EQ(s.minPosition.x, 0.0);
  EXPECT_EQ(std::pair(s.maxPosition.x, s.maxPosition.y), std::pair(1.0, 0.0));
}

TEST_F(ImageMatTest, PercentileRankRuleAndWorldUnits) {
  Ty::Object<void*> image;
  ASSERT_EQ(zImage_Construct(image.Address(), zTypeOf(z16s), 4, 1, alloc_), zOK);
  const z16s values[] = {1, 2, 4, 7};
  std::copy_n(values, 4, static_cast<z16s*>(zImage_Data(image)));
  const rv::ImageMat region(image);
  // Position (4 - 1) x p / 100: 25 -> 0.75 between 1 and 2 (1.75, truncated 1); 50 -> 1.5
  // between 2 and 4 (3); 90 -> 2.7 between 4 and 7 (6.1, truncated 6).
  for (auto [p, want] : {std::pair{25.0, 1.0}, {50.0, 3.0}, {90.0, 6.0}, {100.0, 7.0}})
    EXPECT_EQ(region.Percentile(p), want) << p;
  const auto s = region.Statistics();
  const auto w = rv::ImageMat::ToWorld(s, zPoint3d64f{0.5, 2, -0.01}, zPoint3d64f{10, 20, 30});
  EXPECT_EQ(w.count, 4u);
  EXPECT_DOUBLE_EQ(w.min, 30 - 0.01);
  EXPECT_DOUBLE_EQ(w.max, 30 - 0.07);
  EXPECT_DOUBLE_EQ(w.maxPosition.x, 10 + 3 * 0.5);
  EXPECT_DOUBLE_EQ(w.maxPosition.y, 20);
  EXPECT_DOUBLE_EQ(w.centroid.x, 10 + 1.5 * 0.5);
  EXPECT_DOUBLE_EQ(w.stdDev, s.stdDev * 0.01);
  const auto unset =
      rv::ImageMat::ToWorld(rv::RegionStatistics{}, zPoint3d64f{1, 1, 1}, zPoint3d64f{1, 1, 1});
  EXPECT_EQ(unset.mean, rv::kNullDouble);
  EXPECT_EQ(unset.centroid.x, rv::kNullDouble);
}

TEST_F(ImageMatTest, BadArgumentsRaise) {
  Ty::Object<void*> image, mask, wrong;
  ASSERT_EQ(zImage_Construct(image.Address(), zTypeOf(z16s), 6, 4, alloc_), zOK);
  ASSERT_EQ(zImage_Construct(mask.Address(), zTypeOf(z8u), 3, 2, alloc_), zOK);
  ASSERT_EQ(zImage_Construct(wrong.Address(), zTypeOf(zRgb24), 3, 2, alloc_), zOK);
  const char* ctor = "Ro::Vision::ImageMat::ImageMat";
  EXPECT_TY_THROW(rv::ImageMat(nullptr), -997, ctor);
  EXPECT_TY_THROW(rv::ImageMat(wrong.Get()), -984, ctor);
  EXPECT_TY_THROW(rv::ImageMat(image, rv::Rect2d<int>{4, 0, 3, 2}), -997, ctor);
  EXPECT_TY_THROW(rv::ImageMat(image, rv::Rect2d<int>{0, 3, 3, 2}), -997, ctor);
  EXPECT_TY_THROW(rv::ImageMat(image, rv::Rect2d<int>{-1, 0, 3, 2}), -997, ctor);
  EXPECT_TY_THROW(rv::ImageMat(image, rv::Rect2d<int>{0, 0, 3, 3}, mask), -984, ctor);
  EXPECT_TY_THROW(rv::ImageMat(image, rv::Rect2d<int>{0, 0, 3, 2}, wrong), -984, ctor);
  const rv::ImageMat region(image, rv::Rect2d<int>{3, 2, 3, 2}, mask);
  EXPECT_EQ(region.Statistics().count, 0u);  // a zero mask leaves no cell
  EXPECT_TY_THROW(region.Percentile(100.5), -997, "Ro::Vision::ImageMat::Percentile");
  EXPECT_TY_THROW(region.Percentile(std::nan("")), -997, "Ro::Vision::ImageMat::Percentile");
  EXPECT_TY_THROW(region.Histogram(0, 0, 1), -997, "Ro::Vision::ImageMat::Histogram");
  EXPECT_TY_THROW(region.Histogram(4, 1, 1), -997, "Ro::Vision::ImageMat::Histogram");
  EXPECT_TY_THROW(region.Histogram(4, 0, INFINITY), -997, "Ro::Vision::ImageMat::Histogram");
  alloc_.FailAfter(1);
  EXPECT_TY_STATUS(region.Histogram(4, 0, 1, alloc_), zERROR_MEMORY);
}

}  // namespace
