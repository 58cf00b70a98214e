#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Fitting/EllipseFit.h>
#include <RoVision/Fitting/PlaneFit.h>
#include <gtest/gtest.h>
#include <support/RegionCases.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <cstring>

namespace rv = Ro::Vision;

namespace {

class RunRegionFit : public rotest::LeakCheckedTest {};

TEST_F(RunRegionFit, RunsGiveTheBitsOfTheMaskedRectangle) {
  std::vector<std::vector<short>> heights(40, std::vector<short>(40));
  for (int r = 0; r < 40; ++r)
    for (int c = 0; c < 40; ++c)
      heights[r][c] = (r * 7 + c) % 11 == 0 ? -32768 : short(2 * r + c + (r * c) % 3);
  const rv::Surface s = rotest::MakeSurface(heights, {-2, -2, 0.5}, {0.1, 0.1, 0.01}, alloc_);
  // The rectangle region's runs reach the surface's last column: the fits must not need the
  // extra column of RLEToMask's box.
  rv::RectangleRoiSurface roi(s, rv::Region2d<double>{1.2, 0.1, 2.0, 1.3, 25}, alloc_);
  const rv::RectRegionRLE* rle = roi.GetRectRegionRLE();
  ASSERT_GT(zArrayList_Count(rle->runs), 0u);
  const rv::Rect2d<int> box = roi.GetBoundingBox();
  const Ty::Object<void*> cut = rotest::BoxMaskOf(roi, alloc_);

  rv::PlaneParams<double> p1, p2;
  zPoint3d64f c1{}, c2{};
  rv::FitPlane(s, *rle, &p1, &c1);
  rv::FitPlane(s, box, cut, &p2, &c2);
  EXPECT_EQ(std::memcmp(&p1, &p2, sizeof p1), 0);
  EXPECT_EQ(std::memcmp(&c1, &c2, sizeof c1), 0);

  zPoint3d64f e1{}, e2{}, a1{}, a2{};
  double t1 = 0, t2 = 0;
  rv::FitEllipse(s, *rle, 1, 0, &e1, &a1, &t1);
  rv::FitEllipse(s, box, cut, 1, 0, &e2, &a2, &t2);
  EXPECT_EQ(std::memcmp(&e1, &e2, sizeof e1), 0);
  EXPECT_EQ(std::memcmp(&a1, &a2, sizeof a1), 0);
  EXPECT_EQ(t1, t2);

  rv::RectRegionRLE empty;
  EXPECT_TY_THROW(rv::FitPlane(s, empty, &p1, &c1), -997, "Ro::Vision::FitPlane");
  EXPECT_TY_THROW(rv::FitEllipse(s, empty, 0, 0, &e1, &a1, &t1), -997, "Ro::Vision::FitEllipse");
}

}  // namespace
