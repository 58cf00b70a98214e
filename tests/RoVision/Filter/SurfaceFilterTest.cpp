#include <RoVision/Filter/SurfaceAverageKernelPrivate.h>
#include <RoVision/Filter/SurfaceFilter.h>

#include "FilterTestSupport.h"

namespace {

using filtertest::N;
using filtertest::RandomGrid;
using Ro::Vision::Point2d;
using Ro::Vision::SurfaceFilter;
using Grid = filtertest::Heights;

// One pass of the moving average along a line, written the way the filter is specified: a
// running sum and count, the leaving value removed before the entering one is added. The sum is
// 64-bit so that the reference stays right where a 32-bit sum would overflow.
std::vector<short> NaiveLine(const std::vector<short>& in, unsigned long long window,
                             bool keepNulls) {
  const long long n = static_cast<long long>(in.size());
  const long long half = static_cast<long long>(window / 2);
  std::vector<short> out(in.size());
  long long sum = 0;
  long long count = 0;
  for (long long k = 0; k < half && k < n; ++k) {
    if (in[k] != N) sum += in[k], ++count;
  }
  for (long long k = 0; k < n; ++k) {
    if (k - half - 1 >= 0 && in[k - half - 1] != N) sum -= in[k - half - 1], --count;
    if (k + half < n && in[k + half] != N) sum += in[k + half], ++count;
    out[k] = count <= 0 ? N : static_cast<short>(sum / count);
    if (keepNulls && in[k] == N) out[k] = N;
  }
  return out;
}

Grid NaiveAverage(const Grid& in, Point2d<unsigned long long> size, bool keepNulls) {
  if (size.x % 2 == 0) ++size.x;
  if (size.y % 2 == 0) ++size.y;
  Grid rows(in.size());
  for (std::size_t r = 0; r < in.size(); ++r) rows[r] = NaiveLine(in[r], size.x, keepNulls);
  Grid out = rows;
  for (std::size_t c = 0; c < in[0].size(); ++c) {
    std::vector<short> column(in.size());
    for (std::size_t r = 0; r < in.size(); ++r) column[r] = rows[r][c];
    column = NaiveLine(column, size.y, keepNulls);
    for (std::size_t r = 0; r < in.size(); ++r) out[r][c] = column[r];
  }
  return out;
}

class SurfaceFilterTest : public rotest::LeakCheckedTest {
 protected:
  Ty::Object<void*> Map(const Grid& grid) { return filtertest::H(grid, alloc_); }
  Grid Filter(const Grid& grid, Point2d<unsigned long long> size, int keepNulls) {
    Ty::Object<void*> in = Map(grid);
    Ty::Object<void*> out = Map(Grid(grid.size(), std::vector<short>(grid[0].size())));
    SurfaceFilter(in, out, alloc_).Average(size, keepNulls);
    return rotest::ReadArray2<short>(out);
  }
};

TEST_F(SurfaceFilterTest, SmallMapsAgainstHandResults) {
  struct Case {
    const char* name;
    Grid in;
    Point2d<unsigned long long> size;
    int keepNulls;
    Grid expected;
  };
  const std::vector<Case> cases = {
      {"row pass fills a null from its neighbours", {{N, 10, N}}, {3, 1}, 0, {{10, 10, 10}}},
      {"keepNulls leaves nulls", {{N, 10, N}}, {3, 1}, 1, {{N, 10, N}}},
      {"window cut at the ends, never padded", {{2, 4, 9}}, {3, 1}, 0, {{3, 5, 6}}},
      {"even size 2 widens to 3", {{2, 4, 9}}, {2, 0}, 0, {{3, 5, 6}}},
      {"truncation toward zero", {{-3, 0, -4}}, {3, 1}, 0, {{-1, -2, -2}}},
      {"column pass alone", {{1}, {N}, {6}}, {1, 3}, 0, {{1}, {3}, {6}}},
      {"mean of row means, not a 2-D mean", {{0, 9}, {6, N}}, {3, 3}, 0, {{5, 5}, {5, 5}}},
      {"keepNulls tests the row means", {{N, N}, {4, 8}}, {1, 3}, 1, {{N, N}, {4, 8}}},
      {"all null stays null", {{N, N}, {N, N}}, {5, 5}, 0, {{N, N}, {N, N}}},
      {"window wider than the map", {{1, 2, 3}}, {101, 1}, 0, {{2, 2, 2}}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Filter(c.in, c.size, c.keepNulls), c.expected) << c.name;
  }
}

TEST_F(SurfaceFilterTest, MatchesTheRunningSumAlgorithmOnRandomMaps) {
  struct Case {
    std::size_t rows, columns;
    Point2d<unsigned long long> size;
    double nullShare;
  };
  // Widths around the 8-lane steps and windows on both sides of the single-precision limit
  // (512 values) and of the map's size.
  const std::vector<Case> cases = {
      {7, 13, {3, 3}, 0.05},    {9, 17, {4, 6}, 0.3},    {33, 41, {15, 15}, 0.05},
      {5, 23, {1, 5}, 0.5},     {21, 8, {7, 1}, 0.05},   {12, 600, {601, 3}, 0.05},
      {600, 9, {1, 1025}, 0.1}, {40, 40, {99, 99}, 0.9}, {64, 64, {31, 31}, 0.0},
  };
  unsigned seed = 1;
  for (const Case& c : cases) {
    const Grid in = RandomGrid(c.rows, c.columns, c.nullShare, seed++);
    for (int keepNulls : {0, 1}) {
      EXPECT_EQ(Filter(in, c.size, keepNulls), NaiveAverage(in, c.size, keepNulls != 0))
          << c.rows << "x" << c.columns << " window " << c.size.x << "x" << c.size.y
          << " keepNulls " << keepNulls;
    }
  }
}

TEST_F(SurfaceFilterTest, ExtremeHeightsDoNotOverflow) {
  // Sums of 32767 over wide windows: beyond 2^24 (single precision) and, for the 70001 window,
  // beyond 2^31.
  for (unsigned long long window : {511ull, 513ull, 1025ull, 70001ull}) {
    Grid in(1, std::vector<short>(window < 2000 ? window : 70000, 32767));
    in[0][1] = -32767;
    const Grid out = Filter(in, {window, 1}, 0);
    EXPECT_EQ(out, NaiveAverage(in, {window, 1}, false)) << window;
  }
}

TEST_F(SurfaceFilterTest, SmallSizesCopyOnceAndLeaveTheObjectFresh) {
  const Grid in = {{1, N, 3}, {4, 5, 6}};
  Ty::Object<void*> input = Map(in);
  Ty::Object<void*> output = Map({{0, 0, 0}, {0, 0, 0}});
  SurfaceFilter filter(input, output, alloc_);
  filter.Average({1, 1}, 0);
  EXPECT_EQ(rotest::ReadArray2<short>(output), in);
  // Still fresh: the next filter reads the caller's input, not the output.
  static_cast<short*>(zArray2_Row(output, 1))[0] = 100;
  filter.Average({1, 0}, 0);
  EXPECT_EQ(rotest::ReadArray2<short>(output)[1][0], 4) << "a fresh object copies again";
  filter.Average({3, 1}, 0);
  static_cast<short*>(zArray2_Row(output, 0))[0] = 7;
  filter.Average({1, 1}, 0);
  EXPECT_EQ(rotest::ReadArray2<short>(output)[0][0], 7) << "an applied object is left as it is";
}

TEST_F(SurfaceFilterTest, ChainingFiltersThePreviousResult) {
  const Grid in = RandomGrid(11, 19, 0.2, 7);
  Ty::Object<void*> input = Map(in);
  Ty::Object<void*> output = Map(Grid(11, std::vector<short>(19)));
  SurfaceFilter(input, output, alloc_).Average({3, 5}, 0).Average({5, 3}, 1);
  const Grid first = NaiveAverage(in, {3, 5}, false);
  EXPECT_EQ(rotest::ReadArray2<short>(output), NaiveAverage(first, {5, 3}, true));
  EXPECT_EQ(rotest::ReadArray2<short>(input), in) << "the input is never written";
}

TEST_F(SurfaceFilterTest, InPlaceGivesTheSameResult) {
  const Grid in = RandomGrid(30, 25, 0.1, 3);
  Ty::Object<void*> map = Map(in);
  SurfaceFilter(map, map, alloc_).Average({5, 7}, 0).Average({3, 3}, 0);
  EXPECT_EQ(rotest::ReadArray2<short>(map),
            NaiveAverage(NaiveAverage(in, {5, 7}, false), {3, 3}, false));
}

TEST_F(SurfaceFilterTest, RefusesBadMaps) {
  const auto map = Map({{1, 2}, {3, 4}}), wide = Map({{1, 2, 3}, {3, 4, 5}});
  const auto tall = Map({{1, 2}, {3, 4}, {5, 6}}), bytes = filtertest::B({{1, 2}, {3, 4}});
  const auto call = [&](const Ty::Object<void*>& in, const Ty::Object<void*>& out) {
    return [&] { SurfaceFilter(in, out, alloc_); };
  };
  const Ty::Object<void*> null;
  filtertest::ExpectRefusals({{"null input", call(null, map), 2004},
                              {"null output", call(map, null), 2004},
                              {"input not z16s", call(bytes, map), 2004},
                              {"output not z16s", call(map, bytes), 2004},
                              {"output wider", call(map, wide), 2004},
                              {"output taller", call(map, tall), 2004}},
                             "Ro::Vision::SurfaceFilter::SurfaceFilter", "Filter/Filter");
}

TEST_F(SurfaceFilterTest, FailingAllocationsRaiseThePlatformStatus) {
  // The caller's maps come from the default allocator, so that only the filter's own arrays
  // are counted.
  const Grid in = RandomGrid(6, 9, 0.1, 5);
  Ty::Object<void*> input = filtertest::H(in), output = filtertest::H(in);
  const zSize made = rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    SurfaceFilter filter(input, output, alloc_);
    filter.Average({3, 3}, 0).Average({5, 5}, 0);
  });
  EXPECT_GT(made, 2u);  // work arrays of both calls and the clone for the second
}

namespace sa = Ro::Vision::surface_average;
// The SSE2 steps (and the AVX2 ones, where the processor has them) against the plain ones they
// replace.
TEST(SurfaceAverageKernel, FastDivisionMatchesIntegerDivision) {
  std::vector<std::int32_t> sums, counts;
  for (std::int32_t count = 0; count <= static_cast<std::int32_t>(sa::kMaxFastCount); ++count) {
    // Exact multiples and their neighbours, where a rounded quotient could cross an integer,
    // up to the largest sum such a count can reach.
    for (std::int32_t q : {0, 1, 2, 3, 77, 1000, 16383, 32766, 32767}) {
      for (std::int32_t delta : {-1, 0, 1}) {
        for (std::int32_t sign : {1, -1}) {
          const long long sum = sign * (static_cast<long long>(q) * count + delta);
          if (count > 0 && std::llabs(sum) > 32767LL * count) continue;
          sums.push_back(static_cast<std::int32_t>(sum));
          counts.push_back(count);
        }
      }
    }
  }
  std::vector<short> own(sums.size(), 1);
  for (std::size_t i = 0; i < own.size(); i += 3) own[i] = N;
  const auto run = [&](auto writeMeans, bool keepNulls) {
    std::vector<short> means(sums.size());
    writeMeans(sums.data(), counts.data(), own.data(), means.data(), sums.size(), keepNulls);
    return means;
  };
  std::vector<decltype(&sa::WriteMeansFast)> steps = {sa::WriteMeansFast};
#if defined(RO_SURFACE_AVERAGE_AVX2)
  if (sa::HasAvx2()) steps.push_back(sa::WriteMeansAvx2);
#endif
  for (auto step : steps) {
    for (bool keep : {false, true})
      ASSERT_EQ(run(step, keep), run(sa::WriteMeansPlain<std::int32_t>, keep));
  }
}

// Long rows of large values wrap the 32-bit prefix; the differences must still be exact.
TEST(SurfaceAverageKernel, FastPrefixAndDifferenceMatchPlain) {
  for (std::size_t n : {0u, 5u, 8u, 37u, 70000u}) {
    Grid row = RandomGrid(1, n, 0.2, static_cast<unsigned>(n));
    if (n == 70000) row = Grid(1, std::vector<short>(n, 32767));
    std::vector<std::uint32_t> fastSums(n + 1), fastCounts(n + 1), sums(n + 1), counts(n + 1);
    sa::PrefixFast(row[0].data(), fastSums.data(), fastCounts.data(), n);
    sa::PrefixPlain(row[0].data(), sums.data(), counts.data(), n);
    ASSERT_EQ(fastSums, sums) << n;
    ASSERT_EQ(fastCounts, counts) << n;
    if (n < 20) continue;
    const auto run = [&](auto difference) {
      std::vector<std::int32_t> out(n - 15);
      difference(sums.data() + 15, sums.data(), out.data(), n - 15);
      return out;
    };
    const auto plain = run(sa::DifferencePlain);
    std::vector<decltype(&sa::DifferenceFast)> steps = {sa::DifferenceFast};
#if defined(RO_SURFACE_AVERAGE_AVX2)
    if (sa::HasAvx2()) steps.push_back(sa::DifferenceAvx2);
#endif
    for (auto step : steps) EXPECT_EQ(run(step), plain) << n;
    if (n == 70000) {
      EXPECT_EQ(plain.back(), 15 * 32767);
    }
  }
}

TEST(SurfaceAverageKernel, FastAccumulationMatchesPlain) {
  const Grid rows = RandomGrid(3, 37, 0.2, 9);
  const auto run = [&](auto accumulate) {
    std::vector<std::int32_t> sum(37, 5), count(37, 2);
    for (bool add : {true, false, true}) {
      for (const auto& row : rows)
        accumulate(sum.data(), count.data(), row.data(), row.size(), add);
    }
    return std::pair{sum, count};
  };
  std::vector<decltype(&sa::AccumulateFast)> steps = {sa::AccumulateFast};
#if defined(RO_SURFACE_AVERAGE_AVX2)
  if (sa::HasAvx2()) steps.push_back(sa::AccumulateAvx2);
#endif
  for (auto step : steps) EXPECT_EQ(run(step), run(sa::AccumulatePlain<std::int32_t>));
}

}  // namespace
