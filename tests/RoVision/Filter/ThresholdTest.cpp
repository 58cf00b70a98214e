#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Filter/RoiCrop.h>
#include <RoVision/Filter/Threshold.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = -DBL_MAX;
using Grid = std::vector<std::vector<unsigned char>>;
using Heights = std::vector<std::vector<short>>;

class Threshold : public rotest::LeakCheckedTest {
 protected:
  rv::Surface Make(const Heights& h, const Grid& intensity = {}, double scaleZ = 1,
                   double offsetZ = 0) {
    rv::Surface s;
    s.offset = {5, 6, offsetZ};
    s.scale = {0.5, 0.25, scaleZ};
    s.layers.push_back(rotest::MakeArray2<short>(zTypeOf(z16s), h, alloc_));
    if (!intensity.empty()) {
      s.layers.push_back(rotest::MakeArray2<unsigned char>(zTypeOf(z8u), intensity, alloc_));
    }
    return s;
  }
  Ty::Object<void*> Ones(int rows, int columns) {
    return rotest::MakeArray2<unsigned char>(
        zTypeOf(z8u), Grid(rows, std::vector<unsigned char>(columns, 1)), alloc_);
  }
};

TEST_F(Threshold, HeightsWithAndWithoutLimits) {
  const rv::Surface s = Make({{-4, -3, -2, 2, 3, 4}, {-32768, 0, 1, 5, -32768, 9}});
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
  for (const rv::Rect2d<int>& bad : {rv::Rect2d<int>{-1, 0, 4, 1}, rv::Rect2d<int>{0, 0, 5, 1},
                                     rv::Rect2d<int>{0, 0, 4, 3}, rv::Rect2d<int>{0, 0, 3, 1}}) {
    auto caught = rotest::CatchTy([&] { rv::ThresholdHeight(s, 0, 1, bad, mask); });
    ASSERT_TRUE(caught);
    EXPECT_EQ(caught->Status(), -997);
    EXPECT_EQ(caught->Line(), 632);
    EXPECT_EQ(caught->File(), "Filter/Filter");
    EXPECT_EQ(caught->Function(), "Ro::Vision::ThresholdHeight");
  }
  rv::ThresholdHeight(s, 0, 1, rv::Rect2d<int>{0, 0, 4, 1}, nullptr);  // nothing
}

TEST_F(Threshold, PointGridsNeedTheWholeGrid) {
  rv::Surface s;
  s.offset = {0, 0, 0};
  s.scale = {1, 1, 1};
  Ty::Object<void*> points;
  ASSERT_EQ(zArray2_Construct(points.Address(), zTypeOf(zPoint3d16s), 2, 2, alloc_), zOK);
  auto* p = static_cast<zPoint3d16s*>(zArray2_Data(points));
  p[0] = {0, 0, 1};
  p[1] = {1, 0, -32768};
  p[2] = {0, 1, 5};
  p[3] = {1, 1, 2};
  s.layers.push_back(points);
  auto mask = Ones(2, 2);
  rv::ThresholdHeight(s, 1, 2, rv::Rect2d<int>{3, 3, 2, 2}, mask);  // x, y are not added
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), (Grid{{1, 0}, {0, 1}}));
  auto small = Ones(1, 2);
  auto caught = rotest::CatchTy([&] {
    rv::ThresholdHeight(s, 1, 2, rv::Rect2d<int>{0, 0, 2, 1}, small);
  });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Line(), 706);
  caught = rotest::CatchTy([&] {
    rv::ThresholdHeight(s, kNull, 2, rv::Rect2d<int>{0, 0, 2, 1}, small);
  });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Line(), 655);
  EXPECT_EQ(caught->Status(), -997);
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
  auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 0}, {0, 3}}, alloc_);
  rv::Surface out;
  rv::CropSurfaceFromROI(s, rv::Rect2d<int>{1, 1, 2, 2}, mask, &out, alloc_);
  EXPECT_DOUBLE_EQ(out.offset.x, 5.5);
  EXPECT_DOUBLE_EQ(out.offset.y, 6.25);
  EXPECT_DOUBLE_EQ(out.scale.y, 0.25);
  ASSERT_EQ(out.layers.size(), 2u);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0]), (Heights{{5, -32768}, {-32768, 9}}));
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1]), (Grid{{50, 60}, {80, 90}}));

  auto zeros = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{0, 0}}, alloc_);
  rv::CropSurfaceFromROI(s, rv::Rect2d<int>{0, 2, 2, 1}, zeros, &out, alloc_);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0]), (Heights{{-32768, -32768}}));
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1]), (Grid{{70, 80}}));
}

TEST_F(Threshold, CropRaisesFailingAllocations) {
  // Inputs on the default allocator: only the outputs are counted.
  rv::Surface plain;
  plain.scale = {1, 1, 1};
  plain.offset = {0, 0, 0};
  plain.layers.push_back(rotest::MakeArray2<short>(zTypeOf(z16s), {{1, 2}, {3, 4}}));
  plain.layers.push_back(rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 2}, {3, 4}}));
  auto plainMask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 0}, {0, 1}});
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    rv::Surface o;
    rv::CropSurfaceFromROI(plain, rv::Rect2d<int>{0, 0, 2, 2}, plainMask, &o, alloc_);
  });
}

TEST_F(Threshold, CropFailures) {
  const rv::Surface s = Make({{1, 2, 3}, {4, 5, 6}});
  auto mask = Ones(2, 2);
  struct Case {
    rv::Rect2d<int> rect;
    Ty::Object<void*> mask;
    int status, line;
  };
  auto empty = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {}, alloc_);
  for (const Case& k :
       {Case{{0, 0, 2, 2}, Ty::Object<void*>(), -997, 1278}, Case{{0, 0, 2, 1}, mask, -997, 1278},
        Case{{0, 0, 0, 0}, empty, 1, 1329}, Case{{2, 0, 2, 2}, mask, -997, 0}}) {
    rv::Surface out;
    out.layers.push_back(mask);
    auto caught = rotest::CatchTy([&] { rv::CropSurfaceFromROI(s, k.rect, k.mask, &out, alloc_); });
    ASSERT_TRUE(caught);
    EXPECT_EQ(caught->Status(), k.status);
    if (k.line) {
      EXPECT_EQ(caught->Line(), k.line);
    }
    EXPECT_EQ(caught->Function(), "Ro::Vision::CropSurfaceFromROI");
  }
  rv::Surface cloud;
  cloud.layers.push_back(rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}, {3, 4}}, alloc_));
  rv::Surface out;
  auto caught = rotest::CatchTy([&] {
    rv::CropSurfaceFromROI(cloud, {0, 0, 2, 2}, mask, &out, alloc_);
  });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Status(), -996);
  EXPECT_EQ(caught->Line(), 1289);
}

TEST_F(Threshold, Averages) {
  const rv::Surface s = Make({{-32768, 0, 8}}, {{1, 2, 200}}, 0.5, 3);
  auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1, 0}}, alloc_);
  // The null cell is not skipped: (-32768 + 0) / 2 counts.
  EXPECT_DOUBLE_EQ(rv::GetAverageHeightOfROI(s, {0, 0, 3, 1}, mask), -16384 * 0.5 + 3);
  EXPECT_EQ(rv::GetAverageIntensityOfROI(s, {0, 0, 3, 1}, mask), 1);
  auto all = Ones(1, 2);
  EXPECT_DOUBLE_EQ(rv::GetAverageHeightOfROI(s, {1, 0, 2, 1}, all), 4 * 0.5 + 3);
  EXPECT_EQ(rv::GetAverageIntensityOfROI(s, {1, 0, 2, 1}, all), 101);
  auto none = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{0, 0}}, alloc_);
  EXPECT_EQ(rv::GetAverageHeightOfROI(s, {1, 0, 2, 1}, none), 0.0);
  EXPECT_EQ(rv::GetAverageHeightOfROI(s, {2, 0, 2, 1}, all), 0.0);  // reaches outside
  EXPECT_EQ(rv::GetAverageHeightOfROI(s, {0, 0, 2, 1}, nullptr), 0.0);
  EXPECT_EQ(rv::GetAverageIntensityOfROI(Make({{1, 2}}), {0, 0, 2, 1}, all), 0);
}

}  // namespace
