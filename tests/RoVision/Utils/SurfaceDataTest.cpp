#include <RoVision/Utils/SurfaceData.h>
#include <TyVision/TyVision.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/TestSupport.h"

namespace rv = Ro::Vision;

namespace {

using SurfaceDataTest = rotest::LeakCheckedTest;

TEST_F(SurfaceDataTest, RetrieveReadsSizesAndBorrowsLayers) {
  rv::Surface surface;
  surface.scale = zPoint3d64f{0.1, 0.2, 0.3};
  surface.offset = zPoint3d64f{1, 2, 3};
  rv::SurfaceInputData data;
  data.width = 99;
  rv::RetrieveSurfaceInputData(surface, &data);
  EXPECT_EQ(data.width, 0u);
  EXPECT_EQ(data.length, 0u);
  EXPECT_EQ(data.heights, nullptr);
  EXPECT_EQ(data.offset.z, 3);
  EXPECT_EQ(data.scale.y, 0.2);

  surface.layers.push_back(rotest::MakeArray2<z16s>(zTypeOf(z16s), {{1, 2, 3}, {4, 5, 6}}, alloc_));
  rv::RetrieveSurfaceInputData(surface, &data);
  EXPECT_EQ(data.width, 3u);
  EXPECT_EQ(data.length, 2u);
  EXPECT_EQ(data.heights, surface.layers[0].Get());
  EXPECT_EQ(data.intensity, nullptr);
  EXPECT_EQ(zObject_RefCount(data.heights), 1) << "no reference is added";

  surface.layers.emplace_back();  // a second layer that holds nothing
  data.intensity = &data;
  rv::RetrieveSurfaceInputData(surface, &data);
  EXPECT_EQ(data.intensity, nullptr);

  EXPECT_TY_THROW(rv::RetrieveSurfaceInputData(surface, nullptr), -997,
                  "Ro::Vision::RetrieveSurfaceInputData");
}

TEST_F(SurfaceDataTest, ItemOffsetFromAMessage) {
  TvMsg msg = nullptr;
  ASSERT_EQ(TvSurfaceMsg_Construct(&msg, 4, 4, 3, 0, alloc_), zOK);
  Ty::Object<void*> hold(msg);
  ASSERT_EQ(TvSurfaceMsg_SetOffsetForRef(msg, 2, zPoint3d64f{5, 6, 7}), zOK);
  const zPoint3d64f offset = rv::GetSurfaceItemOffset(msg, 2);
  EXPECT_EQ((std::vector<double>{offset.x, offset.y, offset.z}), (std::vector<double>{5, 6, 7}));
  EXPECT_TY_THROW(rv::GetSurfaceItemOffset(nullptr, 0), -997, "Ro::Vision::GetSurfaceItemOffset");
  // The accessor's own status passes on unchanged.
  EXPECT_TY_THROW(rv::GetSurfaceItemOffset(msg, 3), zERROR_NOT_FOUND,
                  "Ro::Vision::GetSurfaceItemOffset");
}

TEST(RegionRanges, ValidityAndLimits) {
  const double n = rv::kNullDouble;
  struct Case {
    zRect3d64f box;
    bool valid;
  };
  const Case cases[] = {
      {{0, 0, 0, 1, 1, 1}, true},  {{n, 0, 0, 1, 1, 1}, false},  {{0, 0, n, 1, 1, 1}, false},
      {{0, 0, 0, 0, 1, 1}, false}, {{0, 0, 0, 1, -1, 1}, false}, {{0, 0, 0, 1, 1, NAN}, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(rv::IsValidRegion3d(c.box), c.valid);
    double lo = 0, hi = 0;
    rv::GetRegionRanges(c.box, true, &lo, &hi, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(lo == n, !c.valid);
  }
  std::vector<double> l(6);
  for (const bool centred : {true, false}) {
    rv::GetRegionRanges({10, 20, 30, 2, 4, 6}, centred, &l[0], &l[1], &l[2], &l[3], &l[4], &l[5]);
    EXPECT_EQ(l, centred ? (std::vector<double>{9, 11, 18, 22, 27, 33})
                         : (std::vector<double>{10, 12, 20, 24, 30, 36}));
  }
}

}  // namespace
