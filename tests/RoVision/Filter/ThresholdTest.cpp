#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Filter/RoiCrop.h>
#include <RoVision/Filter/Threshold.h>

#include <cfloat>

#include "FilterTestSupport.h"

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = -DBL_MAX;
using Grid = filtertest::Bytes;
using filtertest::Heights;
using filtertest::N;

class Threshold : public rotest::LeakCheckedTest {
 protected:
  rv::Surface Make(const Heights& h, const Grid& intensity = {}, double scaleZ = 1,
                   double offsetZ = 0) {
    return rotest::MakeSurface(h, {5, 6, offsetZ}, {0.5, 0.25, scaleZ}, alloc_, intensity);
  }
  Ty::Object<void*> Ones(int rows, int columns) {
    return filtertest::B(Grid(rows, std::vector<unsigned char>(columns, 1)), alloc_);
  }
};

TEST_F(Threshold, HeightsWithAndWithoutLimits) {
  const rv::Surface s = Make({{-4, -3, -2, 2, 3, 4}, {N, 0, 1, 5, N, 9}});
  struct Case {
    double low, high;
    Grid want;
  };
  for (const Case& k : {Case{kNull, 1, {{1, 1, 1, 1, 1, 1}, {0, 1, 1, 1, 0, 1}}},
                        Case{2.5, 1e9, {{0, 0, 0, 0, 1, 1}, {0, 0, 0, 1, 0, 1}}},  // 2.5 -> 3
                        Case{-2.5, 2, {{0, 1, 1, 1, 0, 0}, {0, 1, 1, 0, 0, 0}}},   // -2.5 -> -3
                        Case{3, 2, {{0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}}}}) {
    auto mask = Ones(2, 6);
    rv::ThresholdHeight(s, k.low, k.high, rv::Rect2d<int>{0, 0, 6, 2}, mask);
    EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), k.want) << k.low;
  }
  // World limits with a scale and offset: raw = (limit - 1) / 0.5.
  const rv::Surface scaled = Make({{0, 1, 2, 3}}, {}, 0.5, 1);
  auto mask = Ones(1, 4);
  rv::ThresholdHeight(scaled, 1.5, 2.0, rv::Rect2d<int>{0, 0, 4, 1}, mask);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), (Grid{{0, 1, 1, 0}}));
}

TEST_F(Threshold, OnlyTheSizeIsCheckedAgainstTheSurface) {
  const rv::Surface s = Make({{1, 2, 3, 4}, {5, 6, 7, 8}});
  // x = 2 with the full width passes; cells past the edge have no data and are cleared.
  auto mask = Ones(1, 4);
  rv::ThresholdHeight(s, kNull, kNull, rv::Rect2d<int>{2, 1, 4, 1}, mask);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), (Grid{{1, 1, 0, 0}}));
  const auto call = [&](rv::Rect2d<int> bad) {
    return [&, bad] { rv::ThresholdHeight(s, 0, 1, bad, mask); };
  };
  filtertest::ExpectRefusals({{"left of the map", call({-1, 0, 4, 1}), 632},
                              {"wider than the map", call({0, 0, 5, 1}), 632},
                              {"taller than the map", call({0, 0, 4, 3}), 632},
                              {"narrower than the mask", call({0, 0, 3, 1}), 632}},
                             "Ro::Vision::ThresholdHeight", "Filter/Filter");
  rv::ThresholdHeight(s, 0, 1, rv::Rect2d<int>{0, 0, 4, 1}, nullptr);  // nothing
}

TEST_F(Threshold, PointGridsNeedTheWholeGrid) {
  rv::Surface s;
  s.offset = {0, 0, 0};
  s.scale = {1, 1, 1};
  s.layers.push_back(rotest::MakeArray2<zPoint3d16s>(
      zTypeOf(zPoint3d16s), {{{0, 0, 1}, {1, 0, N}}, {{0, 1, 5}, {1, 1, 2}}}, alloc_));
  auto mask = Ones(2, 2);
  rv::ThresholdHeight(s, 1, 2, rv::Rect2d<int>{3, 3, 2, 2}, mask);  // x, y are not added
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), (Grid{{1, 0}, {0, 1}}));
  auto small = Ones(1, 2);
  const auto part = [&](double low) {
    return [&, low] { rv::ThresholdHeight(s, low, 2, rv::Rect2d<int>{0, 0, 2, 1}, small); };
  };
  filtertest::ExpectRefusals(
      {{"part of the grid", part(1), 706}, {"part of the grid, no low limit", part(kNull), 655}},
      "Ro::Vision::ThresholdHeight");
}

TEST_F(Threshold, Intensities) {
  const rv::Surface s = Make({{1, 2, 3}}, {{4, 5, 6}});
  struct Case {
    unsigned char low, high;
    Grid want;
  };
  for (const Case& k :
       {Case{5, 6, {{0, 1, 1}}}, Case{5, 5, {{0, 1, 0}}}, Case{6, 5, {{1, 1, 1}}}}) {
    auto mask = Ones(1, 3);
    rv::ThresholdIntensity(s, k.low, k.high, rv::Rect2d<int>{0, 0, 3, 1}, mask);
    EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), k.want);
  }
  auto mask = Ones(1, 3);
  rv::ThresholdIntensity(Make({{1, 2, 3}}), 5, 6, rv::Rect2d<int>{0, 0, 3, 1}, mask);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), (Grid{{1, 1, 1}}));
}

TEST_F(Threshold, CropKeepsMaskedHeightsAndAllIntensities) {
  const rv::Surface s =
      Make({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, {{10, 20, 30}, {40, 50, 60}, {70, 80, 90}});
  auto mask = filtertest::B({{1, 0}, {0, 3}}, alloc_);
  rv::Surface out;
  rv::CropSurfaceFromROI(s, rv::Rect2d<int>{1, 1, 2, 2}, mask, &out, alloc_);
  EXPECT_DOUBLE_EQ(out.offset.x, 5.5);
  EXPECT_DOUBLE_EQ(out.offset.y, 6.25);
  EXPECT_DOUBLE_EQ(out.scale.y, 0.25);
  ASSERT_EQ(out.layers.size(), 2u);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0]), (Heights{{5, N}, {N, 9}}));
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1]), (Grid{{50, 60}, {80, 90}}));

  auto zeros = filtertest::B({{0, 0}}, alloc_);
  rv::CropSurfaceFromROI(s, rv::Rect2d<int>{0, 2, 2, 1}, zeros, &out, alloc_);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0]), (Heights{{N, N}}));
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1]), (Grid{{70, 80}}));
}

TEST_F(Threshold, CropRaisesFailingAllocations) {
  // Inputs on the default allocator: only the outputs are counted.
  const rv::Surface plain =
      rotest::MakeSurface({{1, 2}, {3, 4}}, {0, 0, 0}, {1, 1, 1}, nullptr, {{1, 2}, {3, 4}});
  const auto plainMask = filtertest::B({{1, 0}, {0, 1}});
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    rv::Surface o;
    rv::CropSurfaceFromROI(plain, rv::Rect2d<int>{0, 0, 2, 2}, plainMask, &o, alloc_);
  });
}

// An empty rectangle raises with status 1, the status its callers expect for it.
TEST_F(Threshold, CropFailures) {
  const rv::Surface s = Make({{1, 2, 3}, {4, 5, 6}});
  rv::Surface cloud;
  cloud.layers.push_back(rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}, {3, 4}}, alloc_));
  const auto mask = Ones(2, 2), empty = filtertest::B({}, alloc_);
  const auto call = [&](const rv::Surface& in, rv::Rect2d<int> rect, Ty::Object<void*> m) {
    return [&, rect, m] {
      rv::Surface out;
      out.layers.push_back(mask);
      rv::CropSurfaceFromROI(in, rect, m, &out, alloc_);
    };
  };
  filtertest::ExpectRefusals({{"null mask", call(s, {0, 0, 2, 2}, {}), 1278},
                              {"mask of another size", call(s, {0, 0, 2, 1}, mask), 1278},
                              {"empty", call(s, {0, 0, 0, 0}, empty), 1329, 1},
                              {"past the edge", call(s, {2, 0, 2, 2}, mask)},
                              {"not heights", call(cloud, {0, 0, 2, 2}, mask), 1289, -996}},
                             "Ro::Vision::CropSurfaceFromROI");
}

TEST_F(Threshold, Averages) {
  const rv::Surface s = Make({{N, 0, 8}}, {{1, 2, 200}}, 0.5, 3);
  auto mask = filtertest::B({{1, 1, 0}}, alloc_);
  // The null cell is not skipped: (-32768 + 0) / 2 counts.
  EXPECT_DOUBLE_EQ(rv::GetAverageHeightOfROI(s, {0, 0, 3, 1}, mask), -16384 * 0.5 + 3);
  EXPECT_EQ(rv::GetAverageIntensityOfROI(s, {0, 0, 3, 1}, mask), 1);
  auto all = Ones(1, 2);
  EXPECT_DOUBLE_EQ(rv::GetAverageHeightOfROI(s, {1, 0, 2, 1}, all), 4 * 0.5 + 3);
  EXPECT_EQ(rv::GetAverageIntensityOfROI(s, {1, 0, 2, 1}, all), 101);
  auto none = filtertest::B({{0, 0}}, alloc_);
  EXPECT_EQ(rv::GetAverageHeightOfROI(s, {1, 0, 2, 1}, none), 0.0);
  EXPECT_EQ(rv::GetAverageHeightOfROI(s, {2, 0, 2, 1}, all), 0.0);  // reaches outside
  EXPECT_EQ(rv::GetAverageHeightOfROI(s, {0, 0, 2, 1}, nullptr), 0.0);
  EXPECT_EQ(rv::GetAverageIntensityOfROI(Make({{1, 2}}), {0, 0, 2, 1}, all), 0);
}

}  // namespace
