#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Geometry/FeaturePoint.h>
#include <gtest/gtest.h>
#include <support/RegionCases.h>
#include <support/TestSupport.h>

#include <cfloat>
#include <cstring>

namespace rv = Ro::Vision;

namespace {

class FeaturePointRuns : public rotest::LeakCheckedTest {};

// The runs of a turned rectangle give, bit for bit, the rectangle form over the box-sized copy
// of the region's mask.
TEST_F(FeaturePointRuns, RunsGiveTheMaskedRectangleResult) {
  std::vector<std::vector<short>> heights(20, std::vector<short>(20));
  for (int r = 0; r < 20; ++r)
    for (int c = 0; c < 20; ++c) heights[r][c] = (r + c) % 6 == 0 ? -32768 : short(r * 4 - c);
  const rv::Surface s = rotest::MakeSurface(heights, {-1, -1, 0.5}, {0.1, 0.1, 0.01}, alloc_);
  rv::RectangleRoiSurface roi(s, rv::Region2d<double>{0.1, 0.05, 1.2, 0.7, 35}, alloc_);
  const Ty::Object<void*> cut = rotest::BoxMaskOf(roi, alloc_);
  for (int type = 0; type <= 11; ++type) {
    const zPoint3d64f a =
        rv::CalculateFeaturePoint(s, *roi.GetRectRegionRLE(), rv::FeatureType(type), alloc_);
    const zPoint3d64f b = rv::CalculateFeaturePoint(s, roi.GetBoundingBox(), cut, 0, 100,
                                                    rv::FeatureType(type), alloc_);
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << type;
  }
  rv::RectRegionRLE none, other;
  EXPECT_EQ(rv::CalculateFeaturePoint(s, none, rv::FeatureType(0), alloc_).x, -DBL_MAX);
  other.kind = 1;
  rotest::ExpectFailures(
      {{"region of another kind", [&] { rv::CalculateFeaturePoint(s, other, rv::FeatureType(0)); },
        -996, 2542}},
      "Geometry/Geometry");
}

}  // namespace
