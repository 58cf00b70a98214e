#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Geometry/FeaturePoint.h>
#include <gtest/gtest.h>
#include <support/RegionCases.h>
#include <support/TestSupport.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace rv = Ro::Vision;
using rv::FeatureType;

namespace {

constexpr short N = -32768;
using Grid = std::vector<std::vector<short>>;
using Bytes = std::vector<std::vector<unsigned char>>;
// World values are sums of a few products of short decimals.
constexpr double kTolerance = 1e-9;

const zPoint3d64f kScale{0.5, 2, 0.1};
const zPoint3d64f kOffset{10, 20, -1};

const zPoint3d64f kNullPoint{rv::kNullDouble, rv::kNullDouble, rv::kNullDouble};

rv::Surface MakeSurface(const Grid& heights) {
  return rotest::MakeSurface(heights, kOffset, kScale);
}

Ty::Object<void*> Mask(const Bytes& cells) {
  return rotest::MakeArray2<unsigned char>(zTypeOf(z8u), cells);
}

zPoint3d64f World(double column, double row, double height) {
  return {kOffset.x + column * kScale.x, kOffset.y + row * kScale.y, kOffset.z + height * kScale.z};
}

// Against the null point the check is exact: any real coordinate is far from -DBL_MAX.
void ExpectPoint(const zPoint3d64f& actual, const zPoint3d64f& expected,
                 const std::string& what = "") {
  rotest::ExpectNear3(actual, expected.x, expected.y, expected.z, kTolerance, what);
}

// Columns 0..4, rows 0..3; the region is columns 1..3 of rows 1..2. Counted: (1,1,7), (3,1,9),
// (1,2,12), (3,2,14); (2,1) is null and (2,2) is masked off.
const Grid kHeights = {
    {1, 2, 3, 4, 5}, {6, 7, N, 9, 10}, {11, 12, 13, 14, 15}, {16, 17, 18, 19, 20}};
const rv::Rect2d<int> kRect{1, 1, 3, 2};
const Bytes kMask = {{1, 1, 1}, {1, 0, 1}};

using FeaturePointTest = rotest::LeakCheckedTest;

TEST_F(FeaturePointTest, EveryTypeOnAHandMadeRegion) {
  const rv::Surface surface = MakeSurface(kHeights);
  const Ty::Object<void*> mask = Mask(kMask);
  constexpr double kNull = rv::kNullDouble;
  struct Case {
    const char* name;
    FeatureType type;
    zPoint3d64f expected;
    double low = 0, high = 0, zMin = kNull, zMax = kNull;
  };
  const Case cases[] = {
      {"centroid", FeatureType::Centroid, World(2, 1.5, 10.5)},
      // Columns {1,1,3,3} -> 2; rows {1,1,2,2} -> (1 + 2) / 2 truncated = 1; heights
      // {7,9,12,14} -> (9 + 12) / 2 truncated = 10.
      {"median", FeatureType::Median, World(2, 1, 10)},
      {"offset", FeatureType::Offset, World(0, 0, 0)},
      // z0 = 10 raw steps (world 0). Depths -3, -1, 2, 4: W = 10; the unit-step columns put
      // -6 - 1 + 3 + 10 = 6 steps-weighted height above z0.
      {"volume centroid", FeatureType::VolumeCentroid, World(2.0, 1.6, 10.6)},
      {"max x", FeatureType::MaxX, World(3, 2, 14)},  // ties with (3,1): the later row wins
      {"min x", FeatureType::MinX, World(1, 2, 12)},
      {"max y", FeatureType::MaxY, World(3, 2, 14)},
      {"min y", FeatureType::MinY, World(3, 1, 9)},
      {"max z", FeatureType::MaxZ, World(3, 2, 14)},
      {"min z", FeatureType::MinZ, World(1, 1, 7)},
      {"offset 10", FeatureType::Offset10, World(0, 0, 0)},
      // Band 25%..75%: targets 1 and 3 of 4 give heights 7 and 12; the cells 7, 9, 12 inside.
      {"band", FeatureType::PercentileBand, World(5.0 / 3, 4.0 / 3, 28.0 / 3), 25, 75},
      // 50%..55%: targets 2 and 2 both land on height 9: the band has no width.
      {"band without width", FeatureType::PercentileBand, kNullPoint, 50, 55},
      {"band of one percent", FeatureType::PercentileBand, kNullPoint, 40, 40},
      {"band upside down", FeatureType::PercentileBand, kNullPoint, 70, 30},
      // World heights of 7, 9, 12, 14 are -0.3, -0.1, 0.2, 0.4; the window [-0.1, 0.2] keeps 9, 12.
      {"height window", FeatureType::Centroid, World(2, 1.5, 10.5), 0, 0, -0.1, 0.2},
      {"window open below", FeatureType::MinZ, World(1, 1, 7), 0, 0, kNull, 0.0},
      {"window open above", FeatureType::MinZ, World(1, 2, 12), 0, 0, 0.0, kNull},
      {"window above every cell", FeatureType::MaxZ, kNullPoint, 0, 0, 5, 6},
  };
  for (const Case& k : cases) {
    ExpectPoint(rv::CalculateFeaturePoint(surface, kRect, mask, k.low, k.high, k.type, alloc_,
                                          k.zMin, k.zMax),
                k.expected, k.name);
  }
}

TEST_F(FeaturePointTest, ExtremeTiesGoToTheCellScannedLast) {
  const rv::Surface surface = MakeSurface({{5, 9, 1}, {9, 2, 1}, {3, 1, 7}});
  const Ty::Object<void*> mask = Mask({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}});
  const std::pair<FeatureType, zPoint3d64f> cases[] = {{FeatureType::MaxZ, World(0, 1, 9)},
                                                       {FeatureType::MinZ, World(1, 2, 1)},
                                                       {FeatureType::MaxX, World(2, 2, 7)},
                                                       {FeatureType::MinX, World(0, 2, 3)},
                                                       {FeatureType::MinY, World(2, 0, 1)}};
  for (const auto& [type, expected] : cases) {
    SCOPED_TRACE(int(type));
    ExpectPoint(rv::CalculateFeaturePoint(surface, {0, 0, 3, 3}, mask, 0, 0, type), expected);
  }
}

// Medians against sorting, on random regions with nulls, holes in the mask and negative heights.
TEST_F(FeaturePointTest, MedianAgreesWithSorting) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<int> value(-300, 300);
  std::bernoulli_distribution keep(0.7);
  for (int trial = 0; trial < 50; ++trial) {
    Grid g(7, std::vector<short>(9));
    for (auto& row : g)
      for (auto& v : row) v = keep(rng) ? short(value(rng)) : N;
    Bytes m(5, std::vector<unsigned char>(6));
    for (auto& row : m)
      for (auto& v : row) v = keep(rng);
    const rv::Rect2d<int> rect{2, 1, 6, 5};
    std::vector<int> columns, rows, heights;
    for (int r = 0; r < 5; ++r) {
      for (int c = 0; c < 6; ++c) {
        const short h = g[rect.y + r][rect.x + c];
        if (!m[r][c] || h == N) continue;
        columns.push_back(rect.x + c), rows.push_back(rect.y + r), heights.push_back(h);
      }
    }
    auto median = [](std::vector<int> v) {
      std::sort(v.begin(), v.end());
      const size_t n = v.size();
      return n % 2 ? double(v[n / 2]) : std::floor((v[n / 2 - 1] + v[n / 2]) / 2.0);
    };
    const rv::Surface surface = MakeSurface(g);
    const Ty::Object<void*> mask = Mask(m);
    const zPoint3d64f p = rv::CalculateFeaturePoint(surface, rect, mask, 0, 0, FeatureType::Median);
    SCOPED_TRACE(trial);
    ExpectPoint(
        p, heights.empty() ? kNullPoint : World(median(columns), median(rows), median(heights)));
  }
}

// The volume centroid against stacking the unit steps between z0 and each height one by one.
TEST_F(FeaturePointTest, VolumeCentroidAgreesWithStackedUnitSteps) {
  std::mt19937 rng(9);
  std::uniform_int_distribution<int> value(-20, 40);
  Grid g(4, std::vector<short>(5));
  for (auto& row : g)
    for (auto& v : row) v = short(value(rng));
  const rv::Surface surface = MakeSurface(g);  // offset.z -1, scale.z 0.1: z0 = 10
  const Ty::Object<void*> mask = Mask(Bytes(4, std::vector<unsigned char>(5, 1)));
  double w = 0, sx = 0, sy = 0, sz = 0;
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 5; ++c) {
      const int step = g[r][c] >= 10 ? 1 : -1;
      for (int z = 10 + step; step > 0 ? z <= g[r][c] : z >= g[r][c]; z += step) {
        w += 1, sx += c, sy += r, sz += z - 10;
      }
    }
  }
  ExpectPoint(
      rv::CalculateFeaturePoint(surface, {0, 0, 5, 4}, mask, 0, 0, FeatureType::VolumeCentroid),
      World(sx / w, sy / w, 10 + sz / w));
  // Wholly at z = 0 there is no volume: NaN, not the null point.
  const rv::Surface flat = MakeSurface({{10, 10}});
  const Ty::Object<void*> two = Mask({{1, 1}});
  const zPoint3d64f p =
      rv::CalculateFeaturePoint(flat, {0, 0, 2, 1}, two, 0, 0, FeatureType::VolumeCentroid);
  EXPECT_TRUE(std::isnan(p.x) && std::isnan(p.y) && std::isnan(p.z));
}

// One cell gives the cell; no cell gives the null point, for every type.
TEST_F(FeaturePointTest, SingleCellAndEmptyRegions) {
  const rv::Surface surface = MakeSurface(kHeights), empty;
  const Ty::Object<void*> one = Mask({{0, 0, 0}, {0, 0, 1}}), none = Mask({{0, 0, 0}, {0, 0, 0}});
  for (int t = 0; t <= 11; ++t) {
    const auto type = FeatureType(t);
    SCOPED_TRACE(t);
    // The volume centroid: the cell's column of 4 unit steps above z0 = 10 has its centre 2.5
    // steps up; both band ends fall on the one height.
    const zPoint3d64f expected = type == FeatureType::Offset || type == FeatureType::Offset10
                                     ? World(0, 0, 0)
                                 : type == FeatureType::VolumeCentroid ? World(3, 2, 12.5)
                                 : type == FeatureType::PercentileBand ? kNullPoint
                                                                       : World(3, 2, 14);
    ExpectPoint(rv::CalculateFeaturePoint(surface, kRect, one, 0, 100, type), expected);
    ExpectPoint(rv::CalculateFeaturePoint(surface, kRect, none, 0, 100, type), kNullPoint);
  }
  const Ty::Object<void*> mask = Mask(kMask);
  const FeatureType c = FeatureType::Centroid;
  ExpectPoint(rv::CalculateFeaturePoint(empty, kRect, mask, 0, 0, c), kNullPoint, "no heights");
  ExpectPoint(rv::CalculateFeaturePoint(surface, kRect, nullptr, 0, 0, c), kNullPoint, "no mask");
  ExpectPoint(rv::CalculateFeaturePoint(surface, {1, 1, 0, 2}, mask, 0, 0, c), kNullPoint,
              "no columns");
  ExpectPoint(rv::CalculateFeaturePoint(surface, {1, 1, 2, 3}, mask, 0, 0, c), kNullPoint,
              "mask of another size");
}

TEST_F(FeaturePointTest, BadInputRaises) {
  const char* name = "Ro::Vision::CalculateFeaturePoint";
  const rv::Surface surface = MakeSurface(kHeights);
  const Ty::Object<void*> mask = Mask(kMask);
  const Ty::Object<void*> wide = rotest::MakeArray2<short>(zTypeOf(z16s), {{1, 1, 1}, {1, 0, 1}});
  rv::Surface doubles = surface, unset = surface;
  doubles.layers[0] = rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2, 3}, {4, 5, 6}});
  unset.scale.z = rv::kNullDouble;
  const auto run = [&](const rv::Surface& s, rv::Rect2d<int> rect, void* m, int type) {
    return [&s, rect, m, type] { rv::CalculateFeaturePoint(s, rect, m, 0, 0, FeatureType(type)); };
  };
  rotest::ExpectFailures(
      {{"unknown type", run(surface, kRect, mask, 12), -997, 0, name},
       {"rect past the surface", run(surface, {3, 1, 3, 2}, mask, 0), -997, 0, name},
       {"16-bit mask", run(surface, kRect, wide, 0), -984, 0, name},
       {"double heights", run(doubles, kRect, mask, 0), -996, 0, name},
       {"unset z scale", run(unset, kRect, mask, 0), -997, 0, name}});
}

TEST_F(FeaturePointTest, FailingHistogramAllocationsRaiseThePlatformStatus) {
  const rv::Surface surface = MakeSurface(kHeights);
  const Ty::Object<void*> mask = Mask(kMask);
  auto run = [&](FeatureType type) {
    return rotest::ExpectEveryAllocationFailureRaised(
        alloc_, [&] { rv::CalculateFeaturePoint(surface, kRect, mask, 10, 90, type, alloc_); });
  };
  // Three histograms for the median, one for the band, each as costly as the others.
  const zSize perHistogram = run(FeatureType::PercentileBand);
  EXPECT_EQ(run(FeatureType::Median), 3 * perHistogram);
  alloc_.FailAfter(perHistogram + 1);
  rotest::ExpectFailures(
      {{"the row histogram",
        [&] { rv::CalculateFeaturePoint(surface, kRect, mask, 0, 0, FeatureType::Median, alloc_); },
        zERROR_MEMORY, 1933}},
      "Geometry/Geometry");
  alloc_.FailAfter(0);
}

TEST_F(FeaturePointTest, ImageOverloadUsesPixelUnits) {
  zImage image = nullptr;
  ASSERT_EQ(zImage_Construct(&image, zTypeOf(z16s), 3, 2, alloc_), zOK);
  Ty::Object<void*> hold(image);
  const short pixels[2][3] = {{4, N, 8}, {N, 6, 2}};
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) *static_cast<short*>(zImage_At(image, x, y)) = pixels[y][x];
  ExpectPoint(rv::CalculateFeaturePoint(hold, FeatureType::Centroid, 0, 0),
              (zPoint3d64f{(0 + 2 + 1 + 2) / 4.0, 2 / 4.0, 20 / 4.0}));
  ExpectPoint(rv::CalculateFeaturePoint(hold, FeatureType::MaxZ, 0, 0), (zPoint3d64f{2, 0, 8}));
  ExpectPoint(rv::CalculateFeaturePoint(hold, FeatureType::Median, 0, 0), (zPoint3d64f{1, 0, 5}));
  ExpectPoint(rv::CalculateFeaturePoint(Ty::Object<void*>(), FeatureType::Centroid, 0, 0),
              kNullPoint);
  zImage bytes = nullptr;
  ASSERT_EQ(zImage_Construct(&bytes, zTypeOf(z8u), 3, 2, alloc_), zOK);
  EXPECT_TY_THROW(rv::CalculateFeaturePoint(Ty::Object<void*>(bytes), FeatureType::Centroid, 0, 0),
                  -996, "Ro::Vision::CalculateFeaturePoint");
}

// The runs of a turned rectangle give, bit for bit, the rectangle form over the box-sized copy
// of the region's mask.
TEST_F(FeaturePointTest, RunsGiveTheMaskedRectangleResult) {
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
  ExpectPoint(rv::CalculateFeaturePoint(s, none, rv::FeatureType(0), alloc_), kNullPoint);
  other.kind = 1;
  rotest::ExpectFailures(
      {{"region of another kind", [&] { rv::CalculateFeaturePoint(s, other, rv::FeatureType(0)); },
        -996, 2542}},
      "Geometry/Geometry");
}

}  // namespace
