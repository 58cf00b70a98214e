#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Geometry/FeaturePoint.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <cstring>

namespace rv = Ro::Vision;

namespace {

class FeaturePointRuns : public rotest::LeakCheckedTest {};

TEST_F(FeaturePointRuns, RunsGiveTheMaskedRectangleResult) {
  rv::Surface s;
  s.offset = {-1, -1, 0.5};
  s.scale = {0.1, 0.1, 0.01};
  Ty::Object<void*> h;
  ASSERT_EQ(zArray2_Construct(h.Address(), zTypeOf(z16s), 20, 20, alloc_), zOK);
  for (int r = 0; r < 20; ++r)
    for (int c = 0; c < 20; ++c)
      static_cast<short*>(zArray2_Row(h, r))[c] = (r + c) % 6 == 0 ? -32768 : short(r * 4 - c);
  s.layers.push_back(h);
  rv::RectangleRoiSurface roi(s, rv::Region2d<double>{0.1, 0.05, 1.2, 0.7, 35}, alloc_);
  const rv::RectRegionRLE* rle = roi.GetRectRegionRLE();
  const rv::Rect2d<int> box = roi.GetBoundingBox();
  Ty::Object<void*> cut;
  ASSERT_EQ(zArray2_Construct(cut.Address(), zTypeOf(z8u), box.height, box.width, alloc_), zOK);
  for (int r = 0; r < box.height; ++r)
    std::memcpy(zArray2_Row(cut, r),
                static_cast<unsigned char*>(zArray2_Row(roi.GetMask(), box.y + r)) + box.x,
                box.width);
  for (int type = 0; type <= 11; ++type) {
    const zPoint3d64f a = rv::CalculateFeaturePoint(s, *rle, rv::FeatureType(type), alloc_);
    const zPoint3d64f b =
        rv::CalculateFeaturePoint(s, box, cut, 0, 100, rv::FeatureType(type), alloc_);
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << type;
  }
  rv::RectRegionRLE none;
  EXPECT_EQ(rv::CalculateFeaturePoint(s, none, rv::FeatureType(0), alloc_).x, -DBL_MAX);
  rv::RectRegionRLE other;
  other.kind = 1;
  auto caught = rotest::CatchTy([&] { rv::CalculateFeaturePoint(s, other, rv::FeatureType(0)); });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Status(), -996);
  EXPECT_EQ(caught->Line(), 2542);
  EXPECT_EQ(caught->File(), "Geometry/Geometry");
}

}  // namespace
