#include <RoVision/Filter/FilterPercentile.h>
#include <RoVision/Filter/PercentileKernelPrivate.h>
#include <RoVision/Filter/ProfileFilter.h>

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "FilterTestSupport.h"

namespace {

using Ro::Vision::FilterPercentile;
using Ro::Vision::Point2d;
namespace pk = Ro::Vision::percentile_kernel;
using filtertest::N;
constexpr char kName[] = "Ro::Vision::FilterPercentile";

// The naive reference: collect the window's valid values, sort them, pick by the rank rule.
template <class T>
std::vector<std::vector<T>> NaivePercentile(const std::vector<std::vector<T>>& in,
                                            Point2d<unsigned long long> size, double p,
                                            bool keepNull, T null) {
  const long long rows = static_cast<long long>(in.size());
  const long long columns = rows ? static_cast<long long>(in[0].size()) : 0;
  const long long hx = static_cast<long long>(size.x / 2);
  const long long hy = static_cast<long long>(size.y / 2);
  std::vector<std::vector<T>> out(in.size(), std::vector<T>(columns, null));
  std::vector<int> values;
  for (long long r = 0; r < rows; ++r) {
    for (long long c = 0; c < columns; ++c) {
      values.clear();
      for (long long y = std::max(0LL, r - hy); y <= std::min(rows - 1, r + hy); ++y) {
        for (long long x = std::max(0LL, c - hx); x <= std::min(columns - 1, c + hx); ++x) {
          if (in[y][x] != null) values.push_back(in[y][x]);
        }
      }
      if (values.empty() || (keepNull && in[r][c] == null)) continue;
      std::sort(values.begin(), values.end());
      const double pos = static_cast<double>(values.size() - 1) * p / 100.0;
      const auto i = static_cast<std::size_t>(std::floor(pos));
      double v = values[i];
      if (pos > static_cast<double>(i)) v = values[i] + (values[i + 1] - values[i]) * (pos - i);
      out[r][c] = static_cast<T>(std::trunc(v));
    }
  }
  return out;
}

template <class T = short>
std::vector<std::vector<T>> RandomMap(int rows, int columns, double nullShare, int low, int high,
                                      unsigned seed, T null = T(N)) {
  return filtertest::RandomGrid<T>(rows, columns, nullShare, seed, low, high, null);
}

template <class T>
Ty::Object<void*> Map(const std::vector<std::vector<T>>& map, zAlloc alloc = nullptr) {
  return rotest::MakeArray2<T>(sizeof(T) == 1 ? zTypeOf(z8u) : zTypeOf(z16s), map, alloc);
}

std::vector<std::vector<short>> Filter(const Ty::Object<void*>& in,
                                       Point2d<unsigned long long> size, double p, int keepNull,
                                       zAlloc alloc = nullptr, void* pool = nullptr) {
  Ty::Object<void*> out;
  FilterPercentile(in, size, p, keepNull, out, alloc, pool);
  return rotest::ReadArray2<short>(out);
}

// Every kernel build (the portable one and AVX2 where the processor has it) on both paths (small
// windows sorted, the fastest, and ranks through histograms) against the naive reference, with
// even windows widened to odd ones.
template <class T>
void ExpectEveryKernelMatches(const std::vector<std::vector<T>>& map,
                              Point2d<unsigned long long> size, double p, int keepNull, T null,
                              zAlloc alloc) {
  const auto expected = NaivePercentile<T>(map, {size.x | 1, size.y | 1}, p, keepNull, null);
  const auto in = Map(map);
  for (auto build : {pk::KernelBuild::kPortable, pk::KernelBuild::kAvx2}) {
    if (!pk::KernelBuildAvailable(build)) continue;
    for (auto path : {pk::KernelPath::kFastest, pk::KernelPath::kHistogram}) {
      Ty::Object<void*> out;
      pk::FilterPercentileWithKernel(build, path, in, size, p, keepNull, out, alloc, nullptr);
      ASSERT_EQ(rotest::ReadArray2<T>(out), expected)
          << (build == pk::KernelBuild::kAvx2 ? "avx2" : "portable")
          << (path == pk::KernelPath::kHistogram ? " histogram" : " fastest") << " map "
          << map.size() << "x" << map[0].size() << " window " << size.x << "x" << size.y << " p "
          << p << " keepNull " << keepNull;
    }
  }
}

class FilterPercentileTest : public rotest::LeakCheckedTest {};

// Random maps: null shares, windows (one even, one wider than the map), percentiles. Two value
// spreads: the full 16-bit range (every coarse bin in play) and a narrow one (a few coarse bins,
// many equal values). Windows of up to 49 cells are sorted on the fastest path: 1 x 1, 3 x 3,
// 5 x 5, 3 x 7, 25 x 1, 4 x 7 (made 5 x 7) and 7 x 7 take it; 9 x 7 and larger the histograms.
TEST_F(FilterPercentileTest, HeightsEqualNaiveReference) {
  unsigned seed = 1;
  for (double nullShare : {0.0, 0.05, 0.6}) {
    for (auto [low, high] : {std::pair{-32767, 32767}, std::pair{-300, 400}}) {
      const auto map = RandomMap(29, 41, nullShare, low, high, seed++);
      for (Point2d<unsigned long long> size : {Point2d<unsigned long long>{1, 1},
                                               {3, 3},
                                               {5, 5},
                                               {3, 7},
                                               {25, 1},
                                               {4, 7},
                                               {7, 7},
                                               {9, 7},
                                               {31, 31},
                                               {81, 61}}) {
        for (double p : {0.0, 10.0, 50.0, 90.0, 100.0}) {
          // keepNull only changes the null cells; one null share is enough to check it.
          for (int keepNull = 0; keepNull <= (nullShare == 0.05 ? 1 : 0); ++keepNull) {
            ExpectEveryKernelMatches(map, size, p, keepNull, N, alloc_);
          }
        }
      }
    }
  }
}

// Maps narrower or shorter than a vector of lanes or than the window: the sorting path reads
// whole vectors past a row's end and must ignore what it reads there.
TEST_F(FilterPercentileTest, TinyMapsEqualNaiveReference) {
  unsigned seed = 40;
  for (auto [rows, columns] :
       std::vector<std::pair<int, int>>{{1, 1}, {1, 7}, {7, 1}, {2, 17}, {17, 2}, {3, 33}}) {
    const auto map = RandomMap(rows, columns, 0.2, -500, 500, seed++);
    for (Point2d<unsigned long long> size :
         {Point2d<unsigned long long>{3, 3}, {5, 5}, {25, 1}, {1, 49}, {7, 7}, {9, 7}}) {
      for (double p : {40.0, 50.0}) ExpectEveryKernelMatches(map, size, p, 0, N, alloc_);
    }
  }
}

TEST_F(FilterPercentileTest, IntensitiesEqualNaiveReference) {
  const auto map = RandomMap<unsigned char>(29, 41, 0.05, 1, 255, 7, 0);
  for (Point2d<unsigned long long> size :
       {Point2d<unsigned long long>{3, 3}, {5, 5}, {9, 5}, {99, 99}}) {
    for (double p : {0.0, 25.0, 50.0, 77.7, 100.0}) {
      ExpectEveryKernelMatches<unsigned char>(map, size, p, 0, 0, alloc_);
    }
  }
}

// Very wide windows over the full 16-bit range leave the per-column histograms for the direct
// path (40000 columns); over 256 values they keep them (20000 columns, about 44 MB of 32-bit
// counts). Windows of more than 65535 cells count in 32 bits. A window covering the whole map
// gives every cell the percentile of all valid cells, by the rank rule on one sorted list.
TEST_F(FilterPercentileTest, VeryWideWindows) {
  for (int high : {32767, 255}) {
    const int columns = high == 255 ? 20000 : 40000;
    const auto map = RandomMap(2, columns, 0.05, high == 255 ? 0 : -32767, high, 21);
    const auto in = Map(map);
    std::vector<short> valid;
    for (const auto& row : map) {
      std::copy_if(row.begin(), row.end(), std::back_inserter(valid),
                   [](short h) { return h != N; });
    }
    std::sort(valid.begin(), valid.end());
    for (double p : {0.0, 33.3, 50.0, 100.0}) {
      const double pos = static_cast<double>(valid.size() - 1) * p / 100.0;
      const auto i = static_cast<std::size_t>(pos);
      const double v = pos > i ? valid[i] + (valid[i + 1] - valid[i]) * (pos - i) : valid[i];
      const auto whole = static_cast<short>(std::trunc(v));
      const auto wholeWindow = static_cast<unsigned long long>(2 * columns + 1);
      for (const auto& row : Filter(in, {wholeWindow, 3}, p, 0, alloc_)) {
        ASSERT_EQ(std::count(row.begin(), row.end(), whole), columns)
            << "p " << p << " to " << high;
      }
    }
  }
  const auto narrowMap = RandomMap(3, 1500, 0.05, -32767, 32767, 22);
  EXPECT_EQ(Filter(Map(narrowMap), {1001, 3}, 40, 0, alloc_),
            NaivePercentile<short>(narrowMap, {1001, 3}, 40, false, N));
}

// A hand-checked case: window 3 x 1 over {1, 2, null, 8}: windows {1,2}, {1,2}, {2,8}, {8}.
// p = 50: (1+2)/2 = 1 (truncated), 1, 5, 8. p = 25 of {2, 8}: 2 + 6 * 0.25 = 3.5 -> 3.
TEST_F(FilterPercentileTest, HandCheckedRow) {
  const auto in = filtertest::H({{1, 2, N, 8}});
  using Row = std::vector<std::vector<short>>;
  EXPECT_EQ(Filter(in, {3, 1}, 50, 0), (Row{{1, 1, 5, 8}}));
  EXPECT_EQ(Filter(in, {3, 1}, 50, 1), (Row{{1, 1, N, 8}}));
  EXPECT_EQ(Filter(in, {3, 1}, 25, 0), (Row{{1, 1, 3, 8}}));
  // Negative values truncate toward zero: median of {-3, 0} is -1, not -2.
  const auto negative = filtertest::H({{-3, 0}});
  EXPECT_EQ(Filter(negative, {3, 1}, 50, 0), (Row{{-1, -1}}));
  // An all-null map stays all null.
  const auto empty = filtertest::H({{N, N}, {N, N}});
  EXPECT_EQ(Filter(empty, {3, 3}, 50, 0), (Row{{N, N}, {N, N}}));
}

// p = 50 along a single row is ProfileFilter::Median's rule.
TEST_F(FilterPercentileTest, MedianEqualsProfileMedian) {
  const auto map = RandomMap(1, 200, 0.2, -1000, 1000, 3);
  std::vector<short> expected(200);
  Ro::Vision::ProfileFilter(map[0].data(), 200, expected.data(), nullptr).Median(7, 0);
  const auto in = Map(map);
  EXPECT_EQ(Filter(in, {7, 1}, 50, 0)[0], expected);
}

TEST_F(FilterPercentileTest, MedianEqualsOpenCvInTheInterior) {
  const auto map = RandomMap(64, 80, 0.0, 0, 30000, 11);
  const auto in = Map(map);
  const auto result = Filter(in, {3, 3}, 50, 0);
  cv::Mat source(64, 80, CV_16U);
  for (int r = 0; r < 64; ++r) {
    for (int c = 0; c < 80; ++c) source.at<unsigned short>(r, c) = map[r][c];
  }
  cv::Mat median;
  cv::medianBlur(source, median, 3);
  for (int r = 1; r < 63; ++r) {
    for (int c = 1; c < 79; ++c) ASSERT_EQ(result[r][c], median.at<unsigned short>(r, c));
  }
}

TEST_F(FilterPercentileTest, ResultDoesNotDependOnTaskCount) {
  const auto map = RandomMap(300, 150, 0.05, -2000, 2000, 5);
  const auto in = Map(map);
  // Histograms, then sorting (which keeps a ring of rows per task).
  for (Point2d<unsigned long long> size : {Point2d<unsigned long long>{9, 5}, {5, 5}}) {
    const auto expected = NaivePercentile<short>(map, size, 30, false, N);
    for (zSize tasks : {1, 2, 8}) {
      EXPECT_EQ(Filter(in, size, 30, 0, alloc_, filtertest::Pool(tasks)), expected)
          << size.x << "x" << size.y << ", " << tasks << " tasks";
    }
  }
}

TEST_F(FilterPercentileTest, OutputMayBeTheInputHandle) {
  const auto map = RandomMap(20, 20, 0.1, -50, 50, 9);
  Ty::Object<void*> data = Map(map, alloc_);
  FilterPercentile(data, {5, 5}, 50, 0, data, alloc_);
  EXPECT_EQ(rotest::ReadArray2<short>(data), NaivePercentile<short>(map, {5, 5}, 50, false, N));
}

TEST_F(FilterPercentileTest, BadArgumentsRaiseInvalidArgument) {
  const auto heights = filtertest::H({{1, 2}}), none = Ty::Object<void*>();
  const auto doubles = rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}});
  Ty::Object<void*> out;
  const auto call = [&](const Ty::Object<void*>& in, Point2d<unsigned long long> size, double p) {
    return [&, size, p] { FilterPercentile(in, size, p, 0, out, nullptr); };
  };
  filtertest::ExpectRefusals({{"null map", call(none, {3, 3}, 50)},
                              {"doubles", call(doubles, {3, 3}, 50)},
                              {"zero width", call(heights, {0, 3}, 50)},
                              {"zero height", call(heights, {3, 0}, 50)},
                              {"negative percentile", call(heights, {3, 3}, -0.5)},
                              {"percentile above 100", call(heights, {3, 3}, 100.5)},
                              {"NaN percentile", call(heights, {3, 3}, NAN)}},
                             kName);
  EXPECT_TRUE(out.IsNull());
}

TEST_F(FilterPercentileTest, FailingAllocationsRaiseAndLeakNothing) {
  const auto map = RandomMap(200, 150, 0.05, -32767, 32767, 13);
  const auto in = Map(map);
  const auto pool = filtertest::Pool(2);
  for (unsigned long long size : {31, 5}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
      Ty::Object<void*> out;
      FilterPercentile(in, {size, size}, 50, 0, out, alloc_, pool);
    });
  }
}

}  // namespace
