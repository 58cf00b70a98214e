// GetBoundingBox over regions of interest and run-length regions, held against the rectangle
// form on the same cells (the box-sized copy of the region's mask).
#include <RoVision/Geometry/BoundingBox.h>
#include <gtest/gtest.h>
#include <zApi/zArrayList.h>
#include <zApi/zParallel.h>

#include <cfloat>
#include <string>
#include <vector>

#include "GeometryTestSupport.h"
#include "support/RegionCases.h"
#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using geotest::ExpectAllNull;
using geotest::Fields;

namespace {

constexpr char kName[] = "Ro::Vision::GetBoundingBox";

Ty::Object<void*> RunList(const std::vector<rv::RunRecord>& runs, zAlloc alloc) {
  Ty::Object<void*> list;
  EXPECT_EQ(zArrayList_Construct(list.Address(), rv::RunRecordType(), 0, alloc), zOK);
  if (!runs.empty()) {
    EXPECT_EQ(zArrayList_Import(list, runs.data(), runs.size()), zOK);
  }
  return list;
}

class BoundingBoxRegion : public rotest::LeakCheckedTest {};

TEST_F(BoundingBoxRegion, RegionsEqualTheRectangleFormForAnyTaskCount) {
  const rv::Surface s = rotest::RegionTestSurface(alloc_);
  for (const rotest::RegionCase& region : rotest::RegionCases(s, alloc_)) {
    const rv::Region3d<double> expected = rv::GetBoundingBox(
        s, region.roi->GetBoundingBox(), rotest::BoxMaskOf(*region.roi, alloc_).Get());
    ASSERT_GT(expected.width, 0) << region.name;
    ASSERT_GT(expected.height, 0) << region.name;
    const rv::RectRegionRLE* rle = region.roi->GetRectRegionRLE();
    // Field by field, exactly: both forms run the same scan and search over the same cells.
    if (rle) {
      EXPECT_EQ(Fields(rv::GetBoundingBox(s, *rle)), Fields(expected)) << region.name;
    }
    for (zSize tasks : {1, 2, 8}) {
      zThreadPool pool = nullptr;
      ASSERT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
      Ty::Object<void*> owner(pool);
      region.roi->SetThreadPool(pool);
      EXPECT_EQ(Fields(rv::GetBoundingBox(*region.roi)), Fields(expected))
          << region.name << " " << tasks;
      region.roi->SetThreadPool(nullptr);
    }
  }
}

// A region over nulls only, one beside the surface and a run list without runs have no valid
// cell; a single valid cell gives a box of size zero at that cell.
TEST_F(BoundingBoxRegion, EmptyAndSingleCellRegions) {
  const rv::Surface s = rotest::RegionTestSurface(alloc_);
  rv::RectangleRoiSurface nulls(s, rotest::CentreRect(-0.05, -0.05, 0.8, 0.2, 0), alloc_);
  ASSERT_GT(nulls.GetBoundingBox().width, 0);
  ExpectAllNull(rv::GetBoundingBox(nulls));
  rv::RectangleRoiSurface away(s, rotest::CentreRect(50, 50, 1, 1, 0), alloc_);
  ExpectAllNull(rv::GetBoundingBox(away));
  rv::RectRegionRLE rle;
  ExpectAllNull(rv::GetBoundingBox(s, rle));  // no run list at all
  rle.runs = RunList({}, alloc_);
  ExpectAllNull(rv::GetBoundingBox(s, rle));

  // A valid cell taken alone by runs.
  const auto heights = rotest::ReadArray2<short>(s.layers[0]);
  int row = 5, column = 0;
  while (heights[row][column] == -32768) ++column;
  rle.runs = RunList({{row, column, 1}}, alloc_);
  geotest::ExpectBox(rv::GetBoundingBox(s, rle),
                     {-2.5 + column * 0.1, -2 + row * 0.1, 1 + heights[row][column] * 0.002},
                     {0, 0, 0, 0, 0, 0}, 1e-15);
}

TEST_F(BoundingBoxRegion, BadRegionsRaise) {
  const rv::Surface s = rotest::RegionTestSurface(alloc_);
  rv::RectRegionRLE rle;
  rle.runs = RunList({{39, 48, 3}}, alloc_);  // past the last column
  EXPECT_TY_THROW(rv::GetBoundingBox(s, rle), -997, kName);
  rle.runs = RunList({{0, 0, -2}}, alloc_);
  EXPECT_TY_THROW(rv::GetBoundingBox(s, rle), -997, kName);
  rle.kind = 0;
  EXPECT_TY_THROW(rv::GetBoundingBox(s, rle), -996, kName);
  rv::RectRegionRLE points;
  ASSERT_EQ(zArrayList_Construct(points.runs.Address(), zTypeOf(zPoint3d64f), 0, alloc_), zOK);
  EXPECT_TY_THROW(rv::GetBoundingBox(s, points), -984, kName);
  // A point grid builds a mask but has no heights to bound.
  rv::Surface cloud = s;
  cloud.layers[0] = rotest::MakeArray2<zPoint3d16s>(zTypeOf(zPoint3d16s), {{{0, 0, 1}}}, alloc_);
  rv::RectangleRoiSurface onCloud(cloud, alloc_);
  EXPECT_TY_THROW(rv::GetBoundingBox(onCloud), -996, kName);
}

TEST_F(BoundingBoxRegion, RunsRaiseFailingAllocations) {
  // The inputs come from the default allocator: only the expanded mask is counted.
  const rv::Surface s = rotest::RegionTestSurface();
  rv::RectRegionRLE rle;
  rle.runs = RunList({{1, 0, 3}, {2, 2, 4}}, nullptr);
  const auto box = [&] { rv::GetBoundingBox(s, rle, alloc_); };
  EXPECT_GT(rotest::ExpectEveryAllocationFailureRaised(alloc_, box), 0u);
}

}  // namespace
