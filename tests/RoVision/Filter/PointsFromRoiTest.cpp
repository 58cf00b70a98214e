#include <RoVision/Filter/PointsFromRoi.h>
#include <RoVision/Filter/ThresholdPercentile.h>

#include <cfloat>

#include "FilterTestSupport.h"
#include "support/RegionCases.h"

// Exact equality of world points (found by argument lookup, so it lives beside the type).
inline bool operator==(const zPoint3d64f& a, const zPoint3d64f& b) {
  return a.x == b.x && a.y == b.y && a.z == b.z;
}

namespace {

using namespace filtertest;
using Ro::Vision::GetPointsFromROI;
using Ro::Vision::IsNull;
using Ro::Vision::Rect2d;
using Ro::Vision::Surface;
using Ro::Vision::ThresholdPercentile;
using Points = std::vector<zPoint3d64f>;
constexpr char kPoints[] = "Ro::Vision::GetPointsFromROI";
constexpr char kThreshold[] = "Ro::Vision::ThresholdPercentile";

// Cell (c, r) with raw height h lies at (100 + 0.5 c, -20 + 0.25 r, 3 + 0.01 h).
Surface MakeSurface(Ty::Object<void*> layer) {
  Surface s;
  s.scale = {0.5, 0.25, 0.01};
  s.offset = {100, -20, 3};
  s.layers.push_back(std::move(layer));
  return s;
}

Rect2d<int> Rect(int x, int y, int w, int h) {
  Rect2d<int> r;
  r.x = x, r.y = y, r.width = w, r.height = h;
  return r;
}

Points ReadPoints(void* list) {
  const auto* data = static_cast<const zPoint3d64f*>(zArrayList_Data(list));
  return {data, data + zArrayList_Count(list)};
}

Ty::Object<void*> RunList(const std::vector<Ro::Vision::RunRecord>& runs, zAlloc alloc) {
  Ty::Object<void*> list;
  EXPECT_EQ(zArrayList_Construct(list.Address(), Ro::Vision::RunRecordType(), 0, alloc), zOK);
  if (!runs.empty()) {
    EXPECT_EQ(zArrayList_Import(list, runs.data(), runs.size()), zOK);
  }
  return list;
}

class PointsFromRoiTest : public rotest::LeakCheckedTest {};

// The list is exactly the masked valid cells in row order, whatever the number of tasks; a null
// mask takes the whole rectangle.
TEST_F(PointsFromRoiTest, ExactlyTheMaskedValidCellsForAnyTaskCount) {
  const Heights map = RandomGrid(61, 47, 0.1, 5, -1000, 999);
  const Bytes bits = RandomGrid<unsigned char>(50, 30, 0, 6, 0, 1, 0);
  const Surface surface = MakeSurface(H(map));
  Points expected, firstTwo;
  for (int r = 0; r < 50; ++r) {
    for (int c = 0; c < 30; ++c) {
      const short h = map[r + 3][c + 5];
      if (bits[r][c] && h != N)
        expected.push_back({100 + (c + 5) * 0.5, -20 + (r + 3) * 0.25, 3 + h * 0.01});
    }
  }
  for (int c = 0; c < 2; ++c) {
    if (map[0][c] != N) firstTwo.push_back({100 + c * 0.5, -20, 3 + map[0][c] * 0.01});
  }
  ASSERT_GT(expected.size(), 500u);
  for (zSize tasks : {1, 2, 8}) {
    Ty::Object<void*> points, all;
    GetPointsFromROI(surface, Rect(5, 3, 30, 50), B(bits), points, alloc_, Pool(tasks));
    EXPECT_EQ(zArrayList_ItemType(points), zTypeOf(zPoint3d64f));
    EXPECT_TRUE(ReadPoints(points) == expected) << tasks << " tasks";
    GetPointsFromROI(surface, Rect(0, 0, 2, 1), Ty::Object<void*>(), all, alloc_, Pool(tasks));
    EXPECT_TRUE(ReadPoints(all) == firstTwo);
  }
}

// Point grids are taken as world points: integer ones through the scale and offset (the null z
// dropped), double ones as they are (a -DBL_MAX z is null).
TEST_F(PointsFromRoiTest, PointClouds) {
  const int nullInt = -2147483647 - 1;
  Surface ints = MakeSurface(rotest::MakeArray2<zPoint3d32s>(
      zTypeOf(zPoint3d32s), {{{1, 2, 3}, {4, 5, nullInt}}, {{-7, 8, 9}, {0, 0, 0}}}));
  Ty::Object<void*> points;
  GetPointsFromROI(ints, Rect(0, 0, 2, 2), Ty::Object<void*>(), points, alloc_);
  const Points got = ReadPoints(points),
               expected = {{100.5, -19.5, 3.03}, {96.5, -18, 3.09}, {100, -20, 3}};
  ASSERT_EQ(got.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_DOUBLE_EQ(got[i].x, expected[i].x);
    EXPECT_DOUBLE_EQ(got[i].y, expected[i].y);
    EXPECT_DOUBLE_EQ(got[i].z, expected[i].z);
  }
  Surface doubles = MakeSurface(rotest::MakeArray2<zPoint3d64f>(
      zTypeOf(zPoint3d64f), {{{1.5, 2, 3}, {4, 5, -DBL_MAX}, {7, 8, 9}}}));
  GetPointsFromROI(doubles, Rect(0, 0, 3, 1), B({{1, 1, 0}}), points, alloc_);
  EXPECT_TRUE(ReadPoints(points) == (Points{{1.5, 2, 3}}));
}

TEST_F(PointsFromRoiTest, BadArgumentsAndFailingAllocations) {
  const Surface surface = MakeSurface(H({{1, 2, 3}, {4, 5, 6}}));
  const Surface bytes = MakeSurface(B({{1}})), none;
  const auto mask = B({{1, 1}});
  Ty::Object<void*> points;
  const auto call = [&](const Surface& s, Rect2d<int> rect, Ty::Object<void*> m) {
    return [&, rect, m] { GetPointsFromROI(s, rect, m, points, nullptr); };
  };
  ExpectRefusals({{"no layers", call(none, Rect(0, 0, 1, 1), mask)},
                  {"past the right edge", call(surface, Rect(2, 0, 2, 1), mask)},
                  {"above the top", call(surface, Rect(0, -1, 2, 1), mask)},
                  {"mask of another size", call(surface, Rect(0, 0, 2, 2), mask)},
                  {"mask not z8u", call(surface, Rect(0, 0, 2, 1), H({{1, 1}})), 0, -984},
                  {"bytes are no heights", call(bytes, Rect(0, 0, 1, 1), {}), 0, -996}},
                 kPoints);
  const auto pool = Pool(2);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    Ty::Object<void*> gathered;
    GetPointsFromROI(surface, Rect(0, 0, 3, 2), Ty::Object<void*>(), gathered, alloc_, pool);
    EXPECT_EQ(zArrayList_Count(gathered), 6u);
  });
}

class ThresholdPercentileTest : public rotest::LeakCheckedTest {};

// Heights 0..9 (world 3 + h * 0.01) and one null: the 10th and 90th percentiles sit at
// positions 0.9 and 8.1, so raw 0.9 and 8.1; cells 1..8 are kept. Percentiles 0 and 100 include
// their ends and keep every valid masked cell.
TEST_F(ThresholdPercentileTest, HandCheckedPercentilesAndMasks) {
  const Surface surface = MakeSurface(H({{0, 1, 2, 3}, {4, 5, N, 6}, {7, 8, 9, 0}}));
  auto mask = B({{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 0}}), full = B(Bytes(3, {1, 1, 1, 1}));
  double low = 0, high = 0;
  ThresholdPercentile(surface, 10, 90, Rect(0, 0, 4, 3), mask, &low, &high);
  EXPECT_NEAR(low, 3 + 0.9 * 0.01, 1e-12);
  EXPECT_NEAR(high, 3 + 8.1 * 0.01, 1e-12);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask),
            (Bytes{{0, 1, 1, 1}, {1, 1, 0, 1}, {1, 1, 0, 0}}));
  ThresholdPercentile(surface, 0, 100, Rect(0, 0, 4, 3), full, &low, &high);
  EXPECT_DOUBLE_EQ(low, 3);
  EXPECT_DOUBLE_EQ(high, 3.09);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(full),
            (Bytes{{1, 1, 1, 1}, {1, 1, 0, 1}, {1, 1, 1, 1}}));
}

// Only nulls under the mask (which is cleared), a null mask or a surface without heights: null
// results, nothing raised.
TEST_F(ThresholdPercentileTest, EmptyRegionsGiveNullResults) {
  const Surface nullColumn = MakeSurface(H({{N, 5}, {N, 6}})), noHeights;
  auto mask = B({{1}, {1}});
  using Case = std::pair<const Surface*, Ty::Object<void*>>;
  for (auto [surface, m] :
       std::vector<Case>{{&nullColumn, mask}, {&nullColumn, {}}, {&noHeights, mask}}) {
    double low = 0, high = 0;
    ThresholdPercentile(*surface, 10, 90, Rect(0, 0, 1, 2), m, &low, &high);
    EXPECT_EQ(low, -DBL_MAX);
    EXPECT_EQ(high, -DBL_MAX);
    EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), (Bytes{{0}, {0}}));
  }
}

TEST_F(ThresholdPercentileTest, BadArguments) {
  const Surface surface = MakeSurface(H({{1, 2}}));
  const Surface cloud =
      MakeSurface(rotest::MakeArray2<zPoint3d64f>(zTypeOf(zPoint3d64f), {{{1, 2, 3}, {1, 2, 3}}}));
  const auto mask = B({{1, 1}});
  double low = 0, high = 0;
  const auto call = [&](const Surface& s, double lowP, double highP, Rect2d<int> rect,
                        double* lowOut) {
    return [&, lowP, highP, rect, lowOut] {
      ThresholdPercentile(s, lowP, highP, rect, mask, lowOut, &high);
    };
  };
  ExpectRefusals({{"equal percentiles", call(surface, 50, 50, Rect(0, 0, 2, 1), &low)},
                  {"low above high", call(surface, 60, 40, Rect(0, 0, 2, 1), &low)},
                  {"negative low", call(surface, -1, 40, Rect(0, 0, 2, 1), &low)},
                  {"high above 100", call(surface, 10, 101, Rect(0, 0, 2, 1), &low)},
                  {"null low output", call(surface, 10, 90, Rect(0, 0, 2, 1), nullptr)},
                  {"past the edge", call(surface, 10, 90, Rect(1, 0, 2, 1), &low)},
                  {"mask of another size", call(surface, 10, 90, Rect(0, 0, 1, 1), &low)},
                  {"a point cloud", call(cloud, 10, 90, Rect(0, 0, 2, 1), &low), 0, -996}},
                 kThreshold);
}

// The region overloads against the rectangle form on the box-sized copy of the region's mask.
class RegionOverloadsTest : public rotest::LeakCheckedTest {};

TEST_F(RegionOverloadsTest, PointsOfRegionsEqualTheRectangleFormForAnyTaskCount) {
  const Surface s = rotest::RegionTestSurface(alloc_);
  for (const rotest::RegionCase& region : rotest::RegionCases(s, alloc_)) {
    Ty::Object<void*> expected;
    GetPointsFromROI(s, region.roi->GetBoundingBox(), rotest::BoxMaskOf(*region.roi, alloc_),
                     expected, alloc_);
    ASSERT_GT(zArrayList_Count(expected), 10u) << region.name;
    const Ro::Vision::RectRegionRLE* rle = region.roi->GetRectRegionRLE();
    for (zSize tasks : {1, 2, 8}) {
      const auto pool = Pool(tasks);
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
  Points expected;
  for (auto [r, c] :
       std::vector<std::pair<int, int>>{{1, 0}, {1, 1}, {1, 2}, {3, 4}, {3, 5}, {3, 6}}) {
    const short h = static_cast<const short*>(zArray2_Row(s.layers[0], r))[c];
    if (h != N) expected.push_back({-2.5 + c * 0.1, -2 + r * 0.1, 1 + h * 0.002});
  }
  EXPECT_TRUE(ReadPoints(points) == expected);

  Ro::Vision::RectRegionRLE pastEnd, negative, otherKind, points3d;
  pastEnd.runs = RunList({{39, 48, 3}}, alloc_);  // past the last column
  negative.runs = RunList({{0, 0, -1}}, alloc_);
  otherKind.runs = RunList({{0, 0, -1}}, alloc_);
  otherKind.kind = 1;
  ASSERT_EQ(zArrayList_Construct(points3d.runs.Address(), zTypeOf(zPoint3d64f), 0, alloc_), zOK);
  Ro::Vision::RectangleRoiSurface noLayers(Surface(), alloc_);
  const auto runs = [&](const Ro::Vision::RectRegionRLE& r) {
    return [&] { GetPointsFromROI(s, r, points, alloc_); };
  };
  ExpectRefusals({{"a run past the last column", runs(pastEnd)},
                  {"a negative run length", runs(negative)},
                  {"runs of another kind", runs(otherKind), 0, -996},
                  {"a list of points", runs(points3d), 0, -984},
                  {"a region without layers", [&] { GetPointsFromROI(noLayers, points, alloc_); }}},
                 kPoints);
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

// The region's own mask is narrowed in place, exactly as the copy was.
TEST_F(RegionOverloadsTest, PercentilesOfRegionsEqualTheRectangleForm) {
  const Surface s = rotest::RegionTestSurface(alloc_);
  for (const rotest::RegionCase& region : rotest::RegionCases(s, alloc_)) {
    const Ty::Object<void*> boxMask = rotest::BoxMaskOf(*region.roi, alloc_);
    double expectedLow, expectedHigh, low, high;
    ThresholdPercentile(s, 20, 75, region.roi->GetBoundingBox(), boxMask, &expectedLow,
                        &expectedHigh);
    ASSERT_FALSE(IsNull(expectedLow)) << region.name;
    ThresholdPercentile(*region.roi, 20, 75, &low, &high);
    EXPECT_EQ(low, expectedLow) << region.name;
    EXPECT_EQ(high, expectedHigh) << region.name;
    EXPECT_EQ(rotest::ReadArray2<unsigned char>(rotest::BoxMaskOf(*region.roi, alloc_)),
              rotest::ReadArray2<unsigned char>(boxMask))
        << region.name;
  }
}

// A region beside the surface, one over nulls only (its mask cleared) and one without layers
// give null results.
TEST_F(RegionOverloadsTest, PercentilesOfEmptyAndBadRegions) {
  const Surface s = rotest::RegionTestSurface(alloc_);
  Ro::Vision::RectangleRoiSurface away(s, rotest::CentreRect(50, 50, 1, 1, 0), alloc_);
  Ro::Vision::RectangleRoiSurface nulls(s, rotest::CentreRect(-0.05, -0.05, 0.8, 0.2, 0), alloc_);
  Ro::Vision::RectangleRoiSurface noLayers(Surface(), alloc_);
  ASSERT_GT(nulls.GetBoundingBox().width, 0);
  for (Ro::Vision::RectangleRoiSurface* roi : {&away, &nulls, &noLayers}) {
    double low = 0, high = 0;
    ThresholdPercentile(*roi, 10, 90, &low, &high);
    EXPECT_TRUE(IsNull(low) && IsNull(high));
  }
  for (const auto& row : rotest::ReadArray2<unsigned char>(nulls.GetMask())) {
    for (unsigned char bit : row) EXPECT_EQ(bit, 0);
  }
  Ro::Vision::RectangleRoiSurface roi(s, rotest::CentreRect(0, 0, 1, 1, 0), alloc_);
  Surface cloud = s;
  cloud.layers[0] = rotest::MakeArray2<zPoint3d16s>(zTypeOf(zPoint3d16s), {{{0, 0, 1}}}, alloc_);
  Ro::Vision::RectangleRoiSurface onCloud(cloud, alloc_);
  double low = 0, high = 0;
  ExpectRefusals(
      {{"low above high", [&] { ThresholdPercentile(roi, 60, 40, &low, &high); }},
       {"null low output", [&] { ThresholdPercentile(roi, 10, 90, nullptr, &high); }},
       {"a point cloud", [&] { ThresholdPercentile(onCloud, 10, 90, &low, &high); }, 0, -996}},
      kThreshold);
}

}  // namespace
