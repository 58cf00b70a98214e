#include <RoVision/Filter/PointsFromRoi.h>
#include <RoVision/Filter/ThresholdPercentile.h>

#include <algorithm>
#include <cfloat>
#include <random>

#include "support/RegionCases.h"
#include "support/TestSupport.h"

// Exact equality of world points (found by argument lookup, so it lives beside the type).
inline bool operator==(const zPoint3d64f& a, const zPoint3d64f& b) {
  return a.x == b.x && a.y == b.y && a.z == b.z;
}

namespace {

using Ro::Vision::GetPointsFromROI;
using Ro::Vision::Rect2d;
using Ro::Vision::Surface;
using Ro::Vision::ThresholdPercentile;
constexpr short N = -32768;
constexpr char kPoints[] = "Ro::Vision::GetPointsFromROI";
constexpr char kThreshold[] = "Ro::Vision::ThresholdPercentile";

Surface MakeSurface(Ty::Object<void*> heights) {
  Surface s;
  s.scale = {0.5, 0.25, 0.01};
  s.offset = {100, -20, 3};
  s.layers.push_back(std::move(heights));
  return s;
}

Rect2d<int> Rect(int x, int y, int w, int h) {
  Rect2d<int> r;
  r.x = x, r.y = y, r.width = w, r.height = h;
  return r;
}

std::vector<zPoint3d64f> ReadPoints(void* list) {
  const auto* data = static_cast<const zPoint3d64f*>(zArrayList_Data(list));
  return {data, data + zArrayList_Count(list)};
}

class PointsFromRoiTest : public rotest::LeakCheckedTest {};

// A random map and mask: the list is exactly the masked valid cells in row order, whatever the
// number of tasks.
TEST_F(PointsFromRoiTest, ExactlyTheMaskedValidCellsForAnyTaskCount) {
  std::mt19937 random(5);
  const int rows = 61, columns = 47;
  std::vector<std::vector<short>> map(rows, std::vector<short>(columns));
  for (auto& row : map) {
    for (short& h : row) h = random() % 10 == 0 ? N : static_cast<short>(random() % 2000 - 1000);
  }
  const Surface surface = MakeSurface(rotest::MakeArray2<short>(zTypeOf(z16s), map));
  const Rect2d<int> rect = Rect(5, 3, 30, 50);
  std::vector<std::vector<unsigned char>> bits(50, std::vector<unsigned char>(30));
  for (auto& row : bits) {
    for (auto& b : row) b = random() % 3 ? 1 : 0;
  }
  const auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), bits);
  std::vector<zPoint3d64f> expected;
  for (int r = 0; r < 50; ++r) {
    for (int c = 0; c < 30; ++c) {
      const short h = map[r + 3][c + 5];
      if (!bits[r][c] || h == N) continue;
      expected.push_back({100 + (c + 5) * 0.5, -20 + (r + 3) * 0.25, 3 + h * 0.01});
    }
  }
  ASSERT_GT(expected.size(), 500u);
  for (zSize tasks : {1, 2, 8}) {
    zThreadPool pool = nullptr;
    ASSERT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
    Ty::Object<void*> owner(pool);
    Ty::Object<void*> points;
    GetPointsFromROI(surface, rect, mask, points, alloc_, pool);
    EXPECT_EQ(zArrayList_ItemType(points), zTypeOf(zPoint3d64f));
    EXPECT_TRUE(ReadPoints(points) == expected) << tasks << " tasks";
  }
  // A null mask takes the whole rectangle.
  Ty::Object<void*> all;
  GetPointsFromROI(surface, Rect(0, 0, 2, 1), Ty::Object<void*>(), all, alloc_);
  std::vector<zPoint3d64f> firstTwo;
  for (int c = 0; c < 2; ++c) {
    if (map[0][c] != N) firstTwo.push_back({100 + c * 0.5, -20, 3 + map[0][c] * 0.01});
  }
  EXPECT_TRUE(ReadPoints(all) == firstTwo);
}

TEST_F(PointsFromRoiTest, PointClouds) {
  const int nullInt = -2147483647 - 1;
  Surface ints = MakeSurface(rotest::MakeArray2<zPoint3d32s>(
      zTypeOf(zPoint3d32s), {{{1, 2, 3}, {4, 5, nullInt}}, {{-7, 8, 9}, {0, 0, 0}}}));
  Ty::Object<void*> points;
  GetPointsFromROI(ints, Rect(0, 0, 2, 2), Ty::Object<void*>(), points, alloc_);
  const std::vector<zPoint3d64f> expectedInts = {
      {100.5, -19.5, 3.03}, {96.5, -18, 3.09}, {100, -20, 3}};
  const auto gotInts = ReadPoints(points);
  ASSERT_EQ(gotInts.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_DOUBLE_EQ(gotInts[i].x, expectedInts[i].x);
    EXPECT_DOUBLE_EQ(gotInts[i].y, expectedInts[i].y);
    EXPECT_DOUBLE_EQ(gotInts[i].z, expectedInts[i].z);
  }
  Surface doubles = MakeSurface(rotest::MakeArray2<zPoint3d64f>(
      zTypeOf(zPoint3d64f), {{{1.5, 2, 3}, {4, 5, -DBL_MAX}, {7, 8, 9}}}));
  const auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1, 0}});
  GetPointsFromROI(doubles, Rect(0, 0, 3, 1), mask, points, alloc_);
  EXPECT_TRUE(ReadPoints(points) == (std::vector<zPoint3d64f>{{1.5, 2, 3}}));
  points.Reset();
}

TEST_F(PointsFromRoiTest, BadArgumentsAndFailingAllocations) {
  const Surface surface =
      MakeSurface(rotest::MakeArray2<short>(zTypeOf(z16s), {{1, 2, 3}, {4, 5, 6}}));
  const auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1}});
  const auto wideMask = rotest::MakeArray2<short>(zTypeOf(z16s), {{1, 1}});
  Ty::Object<void*> points;
  EXPECT_TY_THROW(GetPointsFromROI(Surface(), Rect(0, 0, 1, 1), mask, points, nullptr), -997,
                  kPoints);
  EXPECT_TY_THROW(GetPointsFromROI(surface, Rect(2, 0, 2, 1), mask, points, nullptr), -997,
                  kPoints);
  EXPECT_TY_THROW(GetPointsFromROI(surface, Rect(0, -1, 2, 1), mask, points, nullptr), -997,
                  kPoints);
  EXPECT_TY_THROW(GetPointsFromROI(surface, Rect(0, 0, 2, 2), mask, points, nullptr), -997,
                  kPoints);
  EXPECT_TY_THROW(GetPointsFromROI(surface, Rect(0, 0, 2, 1), wideMask, points, nullptr), -984,
                  kPoints);
  const Surface bytes = MakeSurface(rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1}}));
  EXPECT_TY_THROW(GetPointsFromROI(bytes, Rect(0, 0, 1, 1), Ty::Object<void*>(), points, nullptr),
                  -996, kPoints);
  zThreadPool pool = nullptr;
  ASSERT_EQ(zThreadPool_Construct(&pool, 2, nullptr), zOK);
  Ty::Object<void*> owner(pool);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    Ty::Object<void*> gathered;
    GetPointsFromROI(surface, Rect(0, 0, 3, 2), Ty::Object<void*>(), gathered, alloc_, pool);
    EXPECT_EQ(zArrayList_Count(gathered), 6u);
  });
}

class ThresholdPercentileTest : public rotest::LeakCheckedTest {};

// Heights 0..9 (world 3 + h * 0.01) and one null under a full mask: the 10th and 90th
// percentiles sit at positions 0.9 and 8.1, so raw 0.9 and 8.1; cells 1..8 are kept.
TEST_F(ThresholdPercentileTest, HandCheckedPercentilesAndMask) {
  const Surface surface = MakeSurface(
      rotest::MakeArray2<short>(zTypeOf(z16s), {{0, 1, 2, 3}, {4, 5, N, 6}, {7, 8, 9, 0}}));
  auto mask =
      rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 0}});
  double low = 0, high = 0;
  ThresholdPercentile(surface, 10, 90, Rect(0, 0, 4, 3), mask, &low, &high);
  EXPECT_NEAR(low, 3 + 0.9 * 0.01, 1e-12);
  EXPECT_NEAR(high, 3 + 8.1 * 0.01, 1e-12);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask),
            (std::vector<std::vector<unsigned char>>{{0, 1, 1, 1}, {1, 1, 0, 1}, {1, 1, 0, 0}}));
  // Ends are included: percentiles 0 and 100 keep every valid masked cell.
  auto full =
      rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}});
  ThresholdPercentile(surface, 0, 100, Rect(0, 0, 4, 3), full, &low, &high);
  EXPECT_DOUBLE_EQ(low, 3);
  EXPECT_DOUBLE_EQ(high, 3.09);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(full),
            (std::vector<std::vector<unsigned char>>{{1, 1, 1, 1}, {1, 1, 0, 1}, {1, 1, 1, 1}}));
}

TEST_F(ThresholdPercentileTest, EmptyRegionsGiveNullResults) {
  const Surface surface = MakeSurface(rotest::MakeArray2<short>(zTypeOf(z16s), {{N, 5}, {N, 6}}));
  auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1}, {1}});
  double low = 0, high = 0;
  ThresholdPercentile(surface, 10, 90, Rect(0, 0, 1, 2), mask, &low, &high);
  EXPECT_EQ(low, -DBL_MAX);
  EXPECT_EQ(high, -DBL_MAX);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask),
            (std::vector<std::vector<unsigned char>>{{0}, {0}}));
  // A null mask or a surface without heights: null results, nothing raised.
  ThresholdPercentile(surface, 10, 90, Rect(0, 0, 1, 2), Ty::Object<void*>(), &low, &high);
  EXPECT_EQ(low, -DBL_MAX);
  ThresholdPercentile(Surface(), 10, 90, Rect(0, 0, 1, 2), mask, &low, &high);
  EXPECT_EQ(high, -DBL_MAX);
}

TEST_F(ThresholdPercentileTest, BadArguments) {
  const Surface surface = MakeSurface(rotest::MakeArray2<short>(zTypeOf(z16s), {{1, 2}}));
  const auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1}});
  double low = 0, high = 0;
  EXPECT_TY_THROW(ThresholdPercentile(surface, 50, 50, Rect(0, 0, 2, 1), mask, &low, &high), -997,
                  kThreshold);
  EXPECT_TY_THROW(ThresholdPercentile(surface, 60, 40, Rect(0, 0, 2, 1), mask, &low, &high), -997,
                  kThreshold);
  EXPECT_TY_THROW(ThresholdPercentile(surface, -1, 40, Rect(0, 0, 2, 1), mask, &low, &high), -997,
                  kThreshold);
  EXPECT_TY_THROW(ThresholdPercentile(surface, 10, 101, Rect(0, 0, 2, 1), mask, &low, &high), -997,
                  kThreshold);
  EXPECT_TY_THROW(ThresholdPercentile(surface, 10, 90, Rect(0, 0, 2, 1), mask, nullptr, &high),
                  -997, kThreshold);
  EXPECT_TY_THROW(ThresholdPercentile(surface, 10, 90, Rect(1, 0, 2, 1), mask, &low, &high), -997,
                  kThreshold);
  EXPECT_TY_THROW(ThresholdPercentile(surface, 10, 90, Rect(0, 0, 1, 1), mask, &low, &high), -997,
                  kThreshold);
  const Surface cloud =
      MakeSurface(rotest::MakeArray2<zPoint3d64f>(zTypeOf(zPoint3d64f), {{{1, 2, 3}, {1, 2, 3}}}));
  EXPECT_TY_THROW(ThresholdPercentile(cloud, 10, 90, Rect(0, 0, 2, 1), mask, &low, &high), -996,
                  kThreshold);
}

// The region overloads against the rectangle form on the box-sized copy of the region's mask.
class RegionOverloadsTest : public rotest::LeakCheckedTest {};

Ty::Object<void*> RunList(const std::vector<Ro::Vision::RunRecord>& runs, zAlloc alloc) {
  Ty::Object<void*> list;
  EXPECT_EQ(zArrayList_Construct(list.Address(), Ro::Vision::RunRecordType(), 0, alloc), zOK);
  if (!runs.empty()) {
    EXPECT_EQ(zArrayList_Import(list, runs.data(), runs.size()), zOK);
  }
  return list;
}

TEST_F(RegionOverloadsTest, PointsOfRegionsEqualTheRectangleFormForAnyTaskCount) {
  const Surface s = rotest::RegionTestSurface(alloc_);
  for (const rotest::RegionCase& region : rotest::RegionCases(s, alloc_)) {
    Ty::Object<void*> expected;
    GetPointsFromROI(s, region.roi->GetBoundingBox(), rotest::BoxMaskOf(*region.roi, alloc_),
                     expected, alloc_);
    ASSERT_GT(zArrayList_Count(expected), 10u) << region.name;
    const Ro::Vision::RectRegionRLE* rle = region.roi->GetRectRegionRLE();
    for (zSize tasks : {1, 2, 8}) {
      zThreadPool pool = nullptr;
      ASSERT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
      Ty::Object<void*> owner(pool);
      Ty::Object<void*> fromRoi, fromRuns;
      GetPointsFromROI(*region.roi, fromRoi, alloc_, pool);
      EXPECT_TRUE(ReadPoints(fromRoi) == ReadPoints(expected)) << region.name << tasks;
      if (!rle) continue;  // only rectangles and composed regions have runs
      GetPointsFromROI(s, *rle, fromRuns, alloc_, pool);
      EXPECT_TRUE(ReadPoints(fromRuns) == ReadPoints(expected)) << region.name << tasks;
    }
  }
}

TEST_F(RegionOverloadsTest, PointsOfEmptyAndBadRegions) {
  const Surface s = rotest::RegionTestSurface(alloc_);
  Ty::Object<void*> points;
  // A rectangle beside the surface has an empty box, and no runs: empty lists.
  Ro::Vision::RectangleRoiSurface away(s, rotest::CentreRect(50, 50, 1, 1, 0), alloc_);
  GetPointsFromROI(away, points, alloc_);
  EXPECT_EQ(zArrayList_Count(points), 0u);
  Ro::Vision::RectRegionRLE rle;
  rle.runs = RunList({}, alloc_);
  GetPointsFromROI(s, rle, points, alloc_);
  EXPECT_EQ(zArrayList_Count(points), 0u);
  // Overlapping runs in any order count each cell once, row by row.
  rle.runs = RunList({{3, 5, 2}, {1, 0, 3}, {3, 4, 2}}, alloc_);
  GetPointsFromROI(s, rle, points, alloc_);
  std::vector<zPoint3d64f> expected;
  auto* heights = s.layers[0].Get();
  for (auto cell : {std::pair<int, int>{1, 0}, {1, 1}, {1, 2}, {3, 4}, {3, 5}, {3, 6}}) {
    const short h = static_cast<const short*>(zArray2_Row(heights, cell.first))[cell.second];
    if (h == N) continue;
    expected.push_back({-2.5 + cell.second * 0.1, -2 + cell.first * 0.1, 1 + h * 0.002});
  }
  EXPECT_TRUE(ReadPoints(points) == expected);

  rle.runs = RunList({{39, 48, 3}}, alloc_);  // past the last column
  EXPECT_TY_THROW(GetPointsFromROI(s, rle, points, alloc_), -997, kPoints);
  rle.runs = RunList({{0, 0, -1}}, alloc_);
  EXPECT_TY_THROW(GetPointsFromROI(s, rle, points, alloc_), -997, kPoints);
  rle.kind = 1;
  EXPECT_TY_THROW(GetPointsFromROI(s, rle, points, alloc_), -996, kPoints);
  Ro::Vision::RectRegionRLE points3d;
  points3d.runs = Ty::Object<void*>();
  ASSERT_EQ(zArrayList_Construct(points3d.runs.Address(), zTypeOf(zPoint3d64f), 0, alloc_), zOK);
  EXPECT_TY_THROW(GetPointsFromROI(s, points3d, points, alloc_), -984, kPoints);
  Ro::Vision::RectangleRoiSurface noLayers(Surface(), alloc_);
  EXPECT_TY_THROW(GetPointsFromROI(noLayers, points, alloc_), -997, kPoints);
}

TEST_F(RegionOverloadsTest, PointsOfRunsRaiseFailingAllocations) {
  // The inputs come from the default allocator: only the mask and the lists are counted.
  const Surface s = rotest::RegionTestSurface();
  Ro::Vision::RectRegionRLE rle;
  rle.runs = RunList({{1, 0, 3}, {2, 2, 4}}, nullptr);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    Ty::Object<void*> points;
    GetPointsFromROI(s, rle, points, alloc_);
  });
}

TEST_F(RegionOverloadsTest, PercentilesOfRegionsEqualTheRectangleForm) {
  const Surface s = rotest::RegionTestSurface(alloc_);
  for (const rotest::RegionCase& region : rotest::RegionCases(s, alloc_)) {
    const Ty::Object<void*> boxMask = rotest::BoxMaskOf(*region.roi, alloc_);
    double expectedLow, expectedHigh, low, high;
    ThresholdPercentile(s, 20, 75, region.roi->GetBoundingBox(), boxMask, &expectedLow,
                        &expectedHigh);
    ASSERT_FALSE(Ro::Vision::IsNull(expectedLow)) << region.name;
    ThresholdPercentile(*region.roi, 20, 75, &low, &high);
    EXPECT_EQ(low, expectedLow) << region.name;
    EXPECT_EQ(high, expectedHigh) << region.name;
    // The region's own mask is narrowed in place, exactly as the copy was.
    const auto narrowed = rotest::ReadArray2<unsigned char>(rotest::BoxMaskOf(*region.roi, alloc_));
    EXPECT_EQ(narrowed, rotest::ReadArray2<unsigned char>(boxMask)) << region.name;
  }
}

TEST_F(RegionOverloadsTest, PercentilesOfEmptyAndBadRegions) {
  const Surface s = rotest::RegionTestSurface(alloc_);
  double low = 0, high = 0;
  Ro::Vision::RectangleRoiSurface away(s, rotest::CentreRect(50, 50, 1, 1, 0), alloc_);
  ThresholdPercentile(away, 10, 90, &low, &high);
  EXPECT_TRUE(Ro::Vision::IsNull(low) && Ro::Vision::IsNull(high));
  // Only null heights under the region: null results and a cleared mask.
  Ro::Vision::RectangleRoiSurface nulls(s, rotest::CentreRect(-0.05, -0.05, 0.8, 0.2, 0), alloc_);
  ASSERT_GT(nulls.GetBoundingBox().width, 0);
  ThresholdPercentile(nulls, 10, 90, &low, &high);
  EXPECT_TRUE(Ro::Vision::IsNull(low) && Ro::Vision::IsNull(high));
  for (const auto& row : rotest::ReadArray2<unsigned char>(nulls.GetMask())) {
    for (unsigned char bit : row) EXPECT_EQ(bit, 0);
  }
  low = high = 0;
  Ro::Vision::RectangleRoiSurface noLayers(Surface(), alloc_);
  ThresholdPercentile(noLayers, 10, 90, &low, &high);
  EXPECT_TRUE(Ro::Vision::IsNull(low) && Ro::Vision::IsNull(high));

  Ro::Vision::RectangleRoiSurface roi(s, rotest::CentreRect(0, 0, 1, 1, 0), alloc_);
  EXPECT_TY_THROW(ThresholdPercentile(roi, 60, 40, &low, &high), -997, kThreshold);
  EXPECT_TY_THROW(ThresholdPercentile(roi, 10, 90, nullptr, &high), -997, kThreshold);
  Surface cloud = s;
  cloud.layers[0] = rotest::MakeArray2<zPoint3d16s>(zTypeOf(zPoint3d16s), {{{0, 0, 1}}}, alloc_);
  Ro::Vision::RectangleRoiSurface onCloud(cloud, alloc_);
  EXPECT_TY_THROW(ThresholdPercentile(onCloud, 10, 90, &low, &high), -996, kThreshold);
}

}  // namespace
