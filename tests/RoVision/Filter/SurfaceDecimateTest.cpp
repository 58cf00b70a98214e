#include <RoVision/Filter/SurfaceDecimate.h>

#include <cmath>

#include "FilterTestSupport.h"

namespace {

using filtertest::Bytes;
using filtertest::Heights;
using filtertest::N;
using Ro::Vision::Point2d;
using Ro::Vision::Surface;
using Counts = Point2d<unsigned long long>;
using Factors = Point2d<double>;

class SurfaceDecimateTest : public rotest::LeakCheckedTest {
 protected:
  Surface Make(const Heights& h, const Bytes& i = {}) {
    return rotest::MakeSurface(h, {10, -5, 3}, {0.5, 0.25, 0.01}, alloc_, i);
  }
  Heights DecimatedHeights(const Heights& h, Counts counts) {
    return rotest::ReadArray2<short>(SurfaceDecimate(Make(h), counts, {1, 1}, alloc_).layers[0]);
  }
};

TEST_F(SurfaceDecimateTest, APlaneStaysTheSamePlaneInWorldUnits) {
  // z = 3 + 0.01 * (2 * column + 3 * row) on a 40 x 60 grid; a quarter of the cells per axis.
  constexpr int kRows = 40, kColumns = 60;
  Heights h(kRows, std::vector<short>(kColumns));
  for (int r = 0; r < kRows; ++r) {
    for (int c = 0; c < kColumns; ++c) h[r][c] = static_cast<short>(2 * c + 3 * r);
  }
  const Surface in = Make(h);
  const auto worldZ = [&](double x, double y) {
    const double column = (x - in.offset.x) / in.scale.x;
    const double row = (y - in.offset.y) / in.scale.y;
    return in.offset.z + in.scale.z * (2 * column + 3 * row);
  };
  const Surface out = SurfaceDecimate(in, {0, 0}, {0.25, 0.25}, alloc_);
  const Heights got = rotest::ReadArray2<short>(out.layers[0]);
  ASSERT_EQ(got.size(), 10u);
  ASSERT_EQ(got[0].size(), 15u);
  EXPECT_DOUBLE_EQ(out.scale.x, 2.0);
  EXPECT_DOUBLE_EQ(out.scale.y, 1.0);
  EXPECT_DOUBLE_EQ(out.scale.z, in.scale.z);
  // The first output cell sits at the centre of the first 4 x 4 block.
  EXPECT_DOUBLE_EQ(out.offset.x, 10 + 1.5 * 0.5);
  EXPECT_DOUBLE_EQ(out.offset.y, -5 + 1.5 * 0.25);
  // The block mean truncates toward zero: at most one raw count below the plane.
  const double kOneCount = in.scale.z + 1e-12;
  for (std::size_t r = 0; r < got.size(); ++r) {
    for (std::size_t c = 0; c < got[0].size(); ++c) {
      const double x = out.offset.x + c * out.scale.x;
      const double y = out.offset.y + r * out.scale.y;
      const double z = out.offset.z + got[r][c] * out.scale.z;
      EXPECT_NEAR(z, worldZ(x, y) - in.scale.z / 2, kOneCount / 2) << r << "," << c;
    }
  }
}

TEST_F(SurfaceDecimateTest, BlocksAreNullAwareMeans) {
  const Heights h = {{1, 2, N, N, 9},  //
                     {3, N, N, N, 10}};
  const Bytes i = {{10, 0, 0, 50, 7},  //
                   {20, 0, 0, 0, 8}};
  // 5 columns to 3: blocks [0, 1) [1, 3) [3, 5); 2 rows to 1.
  const Surface out = SurfaceDecimate(Make(h, i), {3, 1}, {0, 0}, alloc_);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0]), (Heights{{2, 2, 9}}));
  // Intensities average their own non-zero values: (50 + 7 + 8) / 3 = 21.
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1]), (Bytes{{15, 0, 21}}));
  EXPECT_EQ(DecimatedHeights({{N, N}, {N, N}}, {1, 1}), (Heights{{N}}));
  EXPECT_EQ(DecimatedHeights({{-3, -4}}, {1, 1}), (Heights{{-3}})) << "-3.5 truncates toward zero";
}

TEST_F(SurfaceDecimateTest, CountsWinOverFactorsAndFactorsAreCapped) {
  const Surface in = Make(Heights(10, std::vector<short>(20, 5)));
  struct Case {
    const char* name;
    Point2d<unsigned long long> counts;
    Point2d<double> factors;
    std::size_t rows, columns;
  };
  const std::vector<Case> cases = {
      {"counts win", {4, 3}, {0.5, 0.5}, 3, 4},
      {"a count ignores even a bad factor", {4, 3}, {-1, std::nan("")}, 3, 4},
      {"counts above the size keep the size", {50, 50}, {0.5, 0.5}, 10, 20},
      {"factors round half away from zero", {0, 0}, {0.125, 0.25}, 3, 3},  // 2.5 -> 3, 2.5 -> 3
      {"a factor above 1 counts as 1", {0, 0}, {3, 1}, 10, 20},
      {"a tiny factor keeps one cell", {0, 0}, {1e-9, 1e-9}, 1, 1},
      {"one axis each way", {7, 0}, {0.5, 0.5}, 5, 7},
  };
  for (const Case& c : cases) {
    const Surface out = SurfaceDecimate(in, c.counts, c.factors, alloc_);
    EXPECT_EQ(zArray2_Rows(out.layers[0]), c.rows) << c.name;
    EXPECT_EQ(zArray2_Columns(out.layers[0]), c.columns) << c.name;
  }
  const Surface same = SurfaceDecimate(in, {0, 0}, {1, 1}, alloc_);
  EXPECT_EQ(same.scale.x, in.scale.x);
  EXPECT_EQ(same.offset.x, in.offset.x);
}

TEST_F(SurfaceDecimateTest, KeepsLayerCountAndUnsetComponents) {
  Surface in = Make({{1, 2}, {3, 4}});
  in.layers.emplace_back();  // an empty intensity slot stays an empty slot
  in.scale.y = Ro::Vision::kNullDouble;
  const Surface out = SurfaceDecimate(in, {1, 1}, {1, 1}, alloc_);
  ASSERT_EQ(out.layers.size(), 2u);
  EXPECT_TRUE(out.layers[1].IsNull());
  EXPECT_EQ(out.scale.y, Ro::Vision::kNullDouble);
  EXPECT_EQ(out.offset.y, in.offset.y);
  EXPECT_DOUBLE_EQ(out.scale.x, 1.0);
}

TEST_F(SurfaceDecimateTest, RefusesBadArguments) {
  const Surface good = Make({{1, 2}, {3, 4}});
  Surface noLayer, bytes, empty, badIntensity = Make({{1, 2}, {3, 4}});
  bytes.layers.push_back(filtertest::B({{1}}, alloc_));
  badIntensity.layers.push_back(filtertest::H({{1, 2}, {3, 4}}, alloc_));
  empty.layers.push_back(filtertest::H({}, alloc_));
  const auto call = [&](const Surface& s, Factors factors) {
    return [&, factors] { SurfaceDecimate(s, {0, 0}, factors, alloc_); };
  };
  filtertest::ExpectRefusals({{"no height layer", call(noLayer, {1, 1}), 2505},
                              {"height layer not z16s", call(bytes, {1, 1}), 2505},
                              {"intensity layer not z8u", call(badIntensity, {1, 1}), 2517},
                              {"factor x of 0", call(good, {0, 1}), 2524},
                              {"NaN factor x", call(good, {NAN, 1}), 2524},
                              {"negative factor y", call(good, {1, -0.5}), 2529},
                              {"unset factor y", call(good, {1, Ro::Vision::kNullDouble}), 2529},
                              {"empty height map", call(empty, {1, 1}), 2547}},
                             "Ro::Vision::SurfaceDecimate");
}

TEST_F(SurfaceDecimateTest, FailingAllocationsRaiseThePlatformStatus) {
  // Inputs on the default allocator: only the outputs are counted.
  const Surface in =
      rotest::MakeSurface({{1, 2}, {3, 4}}, {0, 0, 0}, {1, 1, 1}, nullptr, {{1, 2}, {3, 4}});
  const zSize made = rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    SurfaceDecimate(in, {1, 1}, {1, 1}, alloc_);
  });
  EXPECT_GE(made, 2u);
}

}  // namespace
