#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Filter/Threshold.h>
#include <RoVision/Geometry/PolygonContainment.h>
#include <RoVision/Geometry/SectorContainment.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <TyApi/TyLogging.h>
#include <gtest/gtest.h>
#include <support/RegionCases.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = -DBL_MAX;
using Grid = std::vector<std::vector<unsigned char>>;
using Inside = std::function<bool(double x, double y)>;
using Box = std::array<int, 4>;  // x, y, width, height
using Polygon = std::vector<rv::Point2d<double>>;
using rotest::CentreRect;

Grid Filled(size_t rows, size_t columns, unsigned char v) {
  return Grid(rows, std::vector<unsigned char>(columns, v));
}

// Each cell replaced by f(r, c, cell).
template <class F>
Grid MapCells(Grid g, F f) {
  for (size_t r = 0; r < g.size(); ++r)
    for (size_t c = 0; c < g[r].size(); ++c) g[r][c] = f(r, c, g[r][c]);
  return g;
}

Box B(const rv::Rect2d<int>& b) {
  return {b.x, b.y, b.width, b.height};
}

// A height map whose every 7th sample is null, with a slope so thresholds have something to cut.
rv::Surface MakeHeightMap(int rows, int columns, zAlloc alloc, zPoint3d64f offset = {-3.05, 1.7, 0},
                          zPoint3d64f scale = {0.1, 0.125, 0.01}) {
  std::vector<std::vector<short>> h(rows, std::vector<short>(columns));
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < columns; ++c) h[r][c] = (r * columns + c) % 7 == 3 ? -32768 : r * 3 - c;
  return rotest::MakeSurface(h, offset, scale, alloc);
}

// A point cloud on the grid, jittered, with a null x every 5th point and a null z after it.
rv::Surface MakeCloud(int rows, int columns, zAlloc alloc) {
  rv::Surface s;
  s.offset = {-2, -1, 0};
  s.scale = {0.05, 0.04, 0.01};
  Ty::Object<void*> points;
  EXPECT_EQ(zArray2_Construct(points.Address(), zTypeOf(zPoint3d16s), rows, columns, alloc), zOK);
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> jitter(-1, 1);
  for (int r = 0; r < rows; ++r) {
    auto* p = static_cast<zPoint3d16s*>(zArray2_Row(points, r));
    for (int c = 0; c < columns; ++c) {
      p[c] = zPoint3d16s{short(c * 2 + jitter(rng)), short(r * 2 + jitter(rng)), short(r + c)};
      const int k = (r * columns + c) % 5;
      if (k == 1) p[c].x = -32768;
      if (k == 2) p[c].z = -32768;
    }
  }
  s.layers.push_back(points);
  return s;
}

bool IsCloud(const rv::Surface& s) {
  return zArray2_ItemType(s.layers[0]) == zTypeOf(zPoint3d16s);
}

// The raw height; a cloud point counts as valid by its z alone.
short HeightAt(const rv::Surface& s, size_t r, size_t c) {
  if (IsCloud(s)) return static_cast<const zPoint3d16s*>(zArray2_Row(s.layers[0], r))[c].z;
  return static_cast<const short*>(zArray2_Row(s.layers[0], r))[c];
}

bool ValidSample(const rv::Surface& s, size_t r, size_t c) {
  return HeightAt(s, r, c) != -32768;
}

// The brute-force mask: every sample's world position through the containment test.
Grid Reference(const rv::Surface& s, const Inside& inside) {
  void* l0 = s.layers[0];
  return MapCells(Filled(zArray2_Rows(l0), zArray2_Columns(l0), 0), [&](size_t r, size_t c, int) {
    if (!IsCloud(s))
      return inside(s.offset.x + double(c) * s.scale.x, s.offset.y + double(r) * s.scale.y);
    const zPoint3d16s p = static_cast<const zPoint3d16s*>(zArray2_Row(l0, r))[c];
    if (p.x == -32768 || p.y == -32768 || p.z == -32768) return false;
    return inside(s.offset.x + p.x * s.scale.x, s.offset.y + p.y * s.scale.y);
  });
}

// The reference limited to a box: the mask never reaches outside the bounding box, whose index
// rule (a division) may drop a sample lying on the shape's extent that the containment test (a
// multiplication) keeps.
Grid InBox(const Grid& g, const Box& b) {
  return MapCells(g, [&](int r, int c, int v) {
    return r >= b[1] && r < b[1] + b[3] && c >= b[0] && c < b[0] + b[2] ? v : 0;
  });
}

// The region-to-index rule on an extent, clipped, written out independently.
Box ExpectedBox(const rv::Surface& s, double x0, double x1, double y0, double y1) {
  auto axis = [](double lo, double hi, double o, double sc, long long n, int* first, int* count) {
    long long f = (long long)std::ceil((lo - o) / sc);
    long long k = (long long)std::floor((hi - o) / sc) - f + 1;
    if (f > n - 1) k = 0;
    if (f < 0) k = std::max(k + f, 0LL), f = 0;
    if (f + k > n) k = n - f;
    *first = int(f);
    *count = int(std::max(k, 0LL));
  };
  Box b{};
  axis(x0, x1, s.offset.x, s.scale.x, (long long)zArray2_Columns(s.layers[0]), &b[0], &b[2]);
  axis(y0, y1, s.offset.y, s.scale.y, (long long)zArray2_Rows(s.layers[0]), &b[1], &b[3]);
  return b[2] == 0 || b[3] == 0 ? Box{} : b;
}

std::array<double, 4> ExtentOf(const Polygon& poly) {  // x0, x1, y0, y1
  std::array<double, 4> e{poly[0].x, poly[0].x, poly[0].y, poly[0].y};
  for (const auto& p : poly)
    e = {std::min(e[0], p.x), std::max(e[1], p.x), std::min(e[2], p.y), std::max(e[3], p.y)};
  return e;
}

Box ExpectedBox(const rv::Surface& s, const Polygon& poly) {
  const auto e = ExtentOf(poly);
  return ExpectedBox(s, e[0], e[1], e[2], e[3]);
}

// Counts differing cells and names the first.
::testing::AssertionResult SameMask(void* mask, const Grid& want) {
  if (!mask) return ::testing::AssertionFailure() << "no mask";
  if (zArray2_Rows(mask) != want.size() || (want.size() && zArray2_Columns(mask) != want[0].size()))
    return ::testing::AssertionFailure() << "size differs";
  const Grid got = rotest::ReadArray2<unsigned char>(mask);
  size_t wrong = 0;
  std::string first;
  for (size_t r = 0; r < want.size(); ++r)
    for (size_t c = 0; c < want[r].size(); ++c)
      if (got[r][c] != want[r][c] && !wrong++)
        first = "(" + std::to_string(r) + ", " + std::to_string(c) + ")";
  if (wrong) return ::testing::AssertionFailure() << wrong << " cells differ, first " << first;
  return ::testing::AssertionSuccess();
}

Inside InPolygon(Polygon poly) {
  return [poly](double x, double y) { return rv::IsPointInPolygon(poly, {x, y}) != 0; };
}

// One shape of each kind, overlapping one another.
std::vector<std::shared_ptr<rv::RoiSurface>> EveryShape(const rv::Surface& s, zAlloc alloc) {
  const rv::EllipticalSector2d<double> e{0.5, 1, 1.5, 2.5, 200, 250, {0.2, 0.1}, 35};
  const rv::AnnularSector2d<double> a{0.2, 1.1, 330, 100, {-0.5, 0.3}};
  const Polygon poly{{-1.5, -0.5}, {1, -1}, {0.2, 1.1}, {-0.3, 0}};
  return {std::make_shared<rv::RectangleRoiSurface>(s, CentreRect(0.1, 0.2, 1.7, 0.9, 30), alloc),
          std::make_shared<rv::PolygonRoiSurface>(s, poly, alloc),
          std::make_shared<rv::EllipseRoiSurface>(s, e, alloc),
          std::make_shared<rv::CircleRoiSurface>(s, a, alloc)};
}

Inside InsideOf(rv::RoiSurface& roi) {
  if (auto* r = dynamic_cast<rv::RectangleRoiSurface*>(&roi)) {
    Polygon poly;
    rv::ExtractPolygonFromRect(r->GetShape(), &poly);
    return InPolygon(poly);
  }
  if (auto* p = dynamic_cast<rv::PolygonRoiSurface*>(&roi)) return InPolygon(p->GetShape());
  if (auto* c = dynamic_cast<rv::CircleRoiSurface*>(&roi)) {
    auto a = c->GetShape();
    return [a](double x, double y) { return rv::IsPointInAnnularSector(a, {x, y}) != 0; };
  }
  auto e = dynamic_cast<rv::EllipseRoiSurface&>(roi).GetShape();
  return [e](double x, double y) { return rv::IsPointInEllipticalSector(e, {x, y}) != 0; };
}

class MaskSurface : public rotest::LeakCheckedTest {};

TEST_F(MaskSurface, RectanglesMatchTheirPolygonAtEveryAngle) {
  const rv::Surface s = MakeHeightMap(40, 60, alloc_);
  for (double angle : {0.0, 30.0, 90.0, 180.0, -45.0, 1e-8, -270.0, 90.001}) {
    SCOPED_TRACE(angle);
    const rv::Region2d<double> region = CentreRect(-0.05, 4.0, 2.6, 1.25, angle);
    rv::RectangleRoiSurface roi(s, region, alloc_);
    const bool rotated = angle == 30 || angle == -45 || angle == 90.001;
    EXPECT_EQ(roi.GetShapeType(),
              rotated ? rv::MaskType::RotatedRectangle : rv::MaskType::Rectangle);
    Polygon poly;
    rv::ExtractPolygonFromRect(region, &poly);
    const auto extent = ExtentOf(poly);
    EXPECT_EQ(B(roi.GetBoundingBox()), ExpectedBox(s, poly));
    EXPECT_DOUBLE_EQ(roi.GetBoundingRegion().x, extent[0]);
    EXPECT_DOUBLE_EQ(roi.GetBoundingRegion().length, extent[3] - extent[2]);
    EXPECT_TRUE(
        SameMask(roi.GetMask(), InBox(Reference(s, InPolygon(poly)), ExpectedBox(s, poly))));
  }
}

TEST_F(MaskSurface, AxisAlignedRectangleHoldsExactlyItsIndexBox) {
  // Edges fall exactly on samples (x = 5 - 2 = 3 = 6 * 0.5 ...): both ends are inside.
  const rv::Surface s = MakeHeightMap(30, 40, alloc_, {0, 0, 0}, {0.5, 0.25, 1});
  rv::RectangleRoiSurface roi(s, CentreRect(5.0, 3.0, 4.0, 2.0, 0), alloc_);
  EXPECT_EQ(B(roi.GetBoundingBox()), (Box{6, 8, 9, 9}));
  EXPECT_TRUE(SameMask(roi.GetMask(), InBox(Filled(30, 40, 1), {6, 8, 9, 9})));
}

TEST_F(MaskSurface, PolygonSpansEqualTheContainmentTest) {
  // Random polygons, some with corners exactly on samples and edges along rows (integer
  // coordinates on a unit grid), some self-intersecting.
  std::mt19937 rng(11);
  for (int trial = 0; trial < 60; ++trial) {
    SCOPED_TRACE(trial);
    const bool onGrid = trial % 2 == 0;
    const rv::Surface s = onGrid ? MakeHeightMap(50, 70, alloc_, {0, 0, 0}, {1, 1, 1})
                                 : MakeHeightMap(50, 70, alloc_);
    std::uniform_real_distribution<double> angle(0, 2 * M_PI), radius(3, 25);
    Polygon poly;
    const int corners = 3 + trial % 12;
    const double cx = onGrid ? 35 : 0.4, cy = onGrid ? 25 : 4.8, unit = onGrid ? 1 : 0.1;
    for (int i = 0; i < corners; ++i) {
      const double t = trial % 3 == 0 ? angle(rng) : 2 * M_PI * i / corners;
      double x = cx + unit * radius(rng) * std::cos(t), y = cy + unit * radius(rng) * std::sin(t);
      poly.push_back(onGrid ? rv::Point2d<double>{std::round(x), std::round(y)}
                            : rv::Point2d<double>{x, y});
    }
    if (onGrid && corners > 4) poly[1].y = poly[0].y;  // a horizontal edge on a row
    rv::PolygonRoiSurface roi(s, poly, alloc_);
    EXPECT_EQ(B(roi.GetBoundingBox()), ExpectedBox(s, poly));
    EXPECT_TRUE(SameMask(roi.GetMask(), Reference(s, InPolygon(poly))));
  }
}

TEST_F(MaskSurface, SectorSpansEqualTheContainmentTests) {
  const rv::Surface s = MakeHeightMap(60, 80, alloc_);
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> u(0, 1);
  for (int trial = 0; trial < 60; ++trial) {
    SCOPED_TRACE(trial);
    rv::EllipticalSector2d<double> e;
    e.center = {-3.05 + 8 * u(rng), 1.7 + 7.5 * u(rng)};
    e.outerWidth = 1 + 6 * u(rng);
    e.outerLength = 1 + 6 * u(rng);
    e.innerWidth = trial % 4 == 0 ? kNull : e.outerWidth * u(rng);
    e.innerLength = trial % 4 == 0 ? kNull : e.outerLength * u(rng);
    e.startAngle = trial % 3 == 0 ? 300 : 360 * u(rng) - 180;  // 300 + span wraps past 0
    e.angleSpan = trial % 5 == 0 ? kNull : (trial % 2 ? -1 : 1) * 400 * u(rng);
    e.angle = trial % 6 == 0 ? 0 : 360 * u(rng);
    rv::EllipseRoiSurface ellipse(s, e, alloc_);
    EXPECT_EQ(ellipse.GetShapeType(), rv::MaskType::Ellipse);
    EXPECT_TRUE(SameMask(ellipse.GetMask(), Reference(s, [&](double x, double y) {
                           return rv::IsPointInEllipticalSector(e, {x, y}) != 0;
                         })));

    const double radius = e.outerWidth / 2;
    const rv::AnnularSector2d<double> a{trial % 4 == 1 ? 0 : radius * u(rng), radius, e.startAngle,
                                        e.angleSpan, e.center};
    rv::CircleRoiSurface circle(s, a, alloc_);
    EXPECT_EQ(circle.GetShapeType(), rv::MaskType::Circle);
    EXPECT_EQ(B(circle.GetBoundingBox()), ExpectedBox(s, a.center.x - radius, a.center.x + radius,
                                                      a.center.y - radius, a.center.y + radius));
    EXPECT_TRUE(SameMask(circle.GetMask(), Reference(s, [&](double x, double y) {
                           return rv::IsPointInAnnularSector(a, {x, y}) != 0;
                         })));
  }
}

TEST_F(MaskSurface, CircleOnSamplesIncludesBothRings) {
  // Radius 3 on a unit grid: (3, 0), (0, 3) and the inner ring's samples are all inside.
  const rv::Surface s = MakeHeightMap(21, 21, alloc_, {-10, -10, 0}, {1, 1, 1});
  // Starting at -90 wraps past 0: 270 .. 360 and 0 .. 10.
  rv::CircleRoiSurface roi(s, rv::AnnularSector2d<double>{2, 3, -90, 100, {0, 0}}, alloc_);
  const Grid m = rotest::ReadArray2<unsigned char>(roi.GetMask());
  EXPECT_EQ(m[10][13], 1);  // (3, 0): outer ring, 0 degrees
  EXPECT_EQ(m[10][12], 1);  // (2, 0): inner ring
  EXPECT_EQ(m[7][10], 1);   // (0, -3): 270 degrees
  EXPECT_EQ(m[13][10], 0);  // (0, 3): 90 degrees, outside the span
  EXPECT_EQ(m[10][11], 0);  // (1, 0): inside the inner ring
}

TEST_F(MaskSurface, MasksDoNotDependOnTheNumberOfTasks) {
  const rv::Surface s = MakeHeightMap(64, 48, alloc_, {-2.4, -3.2, 0}, {0.1, 0.1, 0.01});
  std::vector<Ty::Object<void*>> pools(3);
  const zSize tasks[] = {1, 2, 8};
  for (int i : {0, 1, 2})
    ASSERT_EQ(zThreadPool_Construct(pools[i].Address(), tasks[i], alloc_), zOK);
  for (size_t shape = 0; shape < 4; ++shape) {
    Grid first;
    for (auto& pool : pools) {
      auto roi = EveryShape(s, alloc_)[shape];
      roi->SetThreadPool(pool);
      roi->HeightThreshold(-2, 2);  // every valid sample: the threshold drops the nulls
      if (first.empty()) first = rotest::ReadArray2<unsigned char>(roi->GetMask());
      EXPECT_TRUE(SameMask(roi->GetMask(), first));
    }
    size_t ones = 0;
    for (auto& row : first) ones += std::count(row.begin(), row.end(), 1);
    EXPECT_GT(ones, 0u) << shape;
  }
}

// Every shape over a height map and a point cloud: as built, reversed and thresholded.
TEST_F(MaskSurface, ShapesOverMapsAndClouds) {
  for (const rv::Surface& s : {MakeHeightMap(30, 40, alloc_, {-2, -1.5, 0}, {0.1, 0.1, 0.01}),
                               MakeCloud(30, 40, alloc_)}) {
    const auto shapes = EveryShape(s, alloc_), reversed = EveryShape(s, alloc_);
    for (size_t i = 0; i < shapes.size(); ++i) {
      SCOPED_TRACE(::testing::Message() << (IsCloud(s) ? "cloud " : "map ") << i);
      const Grid inside = Reference(s, InsideOf(*shapes[i]));
      EXPECT_TRUE(SameMask(shapes[i]->GetMask(), inside));
      if (IsCloud(s)) {  // a point cloud's box is always the whole surface
        EXPECT_EQ(B(shapes[i]->GetBoundingBox()), (Box{0, 0, 40, 30}));
        EXPECT_DOUBLE_EQ(shapes[i]->GetBoundingRegion().width, 40 * 0.05);
      }
      // A reversed mask flips the valid samples over the whole surface.
      reversed[i]->ReverseMask();
      EXPECT_TRUE(SameMask(reversed[i]->GetMask(), MapCells(inside, [&](size_t r, size_t c, int v) {
                             return ValidSample(s, r, c) ? 1 - v : 0;
                           })));
      EXPECT_EQ(B(reversed[i]->GetBoundingBox()), (Box{0, 0, 40, 30}));
      // Heights are r * 3 - c counts of 0.01; limits -0.125 and 0.305 round to -13 and 31
      // counts (half away from zero).
      shapes[i]->HeightThreshold(-0.125, 0.305);
      EXPECT_TRUE(SameMask(shapes[i]->GetMask(), MapCells(inside, [&](size_t r, size_t c, int v) {
                             const int h = HeightAt(s, r, c);
                             return h == -32768 || h < -13 || h > 31 ? 0 : v;
                           })));
      shapes[i]->HeightThreshold(kNull, 0.305);  // one limit unset: only nulls go
      EXPECT_TRUE(SameMask(shapes[i]->GetMask(), MapCells(inside, [&](size_t r, size_t c, int v) {
                             return ValidSample(s, r, c) ? v : 0;
                           })));
    }
  }
}

// Reaches the protected steps.
class ProbeRectangle : public rv::RectangleRoiSurface {
 public:
  using rv::RectangleRoiSurface::_GetZRange;
  using rv::RectangleRoiSurface::RectangleRoiSurface;
  bool shrink = false;

 protected:
  void _CalculateBoundingBox() override {
    rv::RectangleRoiSurface::_CalculateBoundingBox();
    if (shrink) boundingBox_.width -= 1;
  }
};

TEST_F(MaskSurface, ZRangeRoundsAndClamps) {
  rv::Surface s = MakeHeightMap(4, 4, alloc_, {0, 0, 0.5}, {1, 1, 1});
  ProbeRectangle roi(s, CentreRect(1, 1, 2, 2, 0), alloc_);
  struct Case {
    double low, high;  // NaN: no threshold set
    int wantLow, wantHigh;
  };
  for (const Case& k :
       {Case{NAN, NAN, -32768, 32767}, Case{3.0, -2.0, 3, -3},  // 2.5 -> 3, -2.5 -> -3
        Case{-1e9, 1e9, -32768, 32767}, Case{kNull, 5, -32768, 32767}}) {
    if (!std::isnan(k.low)) roi.HeightThreshold(k.low, k.high);
    int low = 0, high = 0;
    roi._GetZRange(&low, &high);
    EXPECT_EQ(std::pair(low, high), std::pair(k.wantLow, k.wantHigh)) << k.low << " " << k.high;
  }
}

TEST_F(MaskSurface, WholeSurfaceRectangle) {
  const rv::Surface s = MakeHeightMap(10, 12, alloc_);
  rv::RectangleRoiSurface roi(s, alloc_);
  EXPECT_EQ(roi.GetShapeType(), rv::MaskType::Rectangle);
  EXPECT_EQ(B(roi.GetBoundingBox()), (Box{0, 0, 12, 10}));
  const rv::Region2d<double> region = roi.GetBoundingRegion();
  EXPECT_DOUBLE_EQ(region.x, -3.05);
  EXPECT_DOUBLE_EQ(region.y, 1.7);
  EXPECT_DOUBLE_EQ(region.width, 12 * 0.1);
  EXPECT_DOUBLE_EQ(region.length, 10 * 0.125);
  EXPECT_TRUE(SameMask(roi.GetMask(), Filled(10, 12, 1)));
  roi.ReverseMask();  // nothing is left, not even over the nulls
  EXPECT_TRUE(SameMask(roi.GetMask(), Filled(10, 12, 0)));
}

TEST_F(MaskSurface, LazyStateAndReset) {
  const rv::Surface s = MakeHeightMap(10, 12, alloc_);
  rv::RectangleRoiSurface roi(s, CentreRect(-2.5, 2.2, 0.4, 0.3, 0), alloc_);
  EXPECT_EQ(std::pair(roi.IsBoundingBoxValid(), roi.IsMaskValid()), std::pair(0, 0));
  roi.GetBoundingBox();
  EXPECT_EQ(std::pair(roi.IsBoundingBoxValid(), roi.IsMaskValid()), std::pair(1, 0));
  roi.GetMask();
  EXPECT_EQ(roi.IsMaskValid(), 1);
  rv::RectangleRoiSurface copy = roi;  // shares the mask array
  EXPECT_EQ(copy.GetMask().Get(), roi.GetMask().Get());
  // A rebuild reuses the held array only when nobody else holds it.
  const Ty::Object<void*> held = roi.GetMask();
  const Grid before = rotest::ReadArray2<unsigned char>(held);
  roi.UpdateInputParams(s, CentreRect(-2.0, 2.5, 0.4, 0.3, 0), alloc_);
  EXPECT_NE(roi.GetMask().Get(), held.Get());
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(held), before);
  void* own = roi.GetMask().Get();
  roi.UpdateInputParams(s, CentreRect(-2.5, 2.2, 0.4, 0.3, 0), alloc_);
  EXPECT_EQ(roi.GetMask().Get(), own);  // held alone: zeroed and used again
  roi.UpdateInputParams(s, CentreRect(100, 100, 1, 1, 0), alloc_);  // off the surface
  EXPECT_EQ(roi.IsBoundingBoxValid(), 0);
  EXPECT_EQ(B(roi.GetBoundingBox()), (Box{0, 0, 0, 0}));
  EXPECT_TRUE(SameMask(roi.GetMask(), Filled(10, 12, 0)));
}

TEST_F(MaskSurface, FailureTable) {
  const rv::Surface cloud = MakeCloud(6, 8, alloc_), heights = MakeHeightMap(6, 8, alloc_);
  ProbeRectangle shrunk(cloud, CentreRect(0, 0, 1, 1, 0), alloc_);
  shrunk.shrink = true;
  rv::SurfaceROI surfaceRoi(cloud, heights, alloc_);
  rv::IntensityROI intensityRoi(cloud, heights, 1, 2, alloc_);
  rv::ComposedRoiSurface composed(heights, rv::MaskMode::Include, alloc_);
  rv::ComposedRoiSurface mixed(heights, rv::MaskMode::Include, alloc_);
  mixed.Add(std::make_shared<rv::RectangleRoiSurface>(MakeHeightMap(7, 8, alloc_), alloc_));
  rv::Surface flat = heights;  // an unusable resolution
  flat.scale.x = 0;
  rv::PolygonRoiSurface polygon(flat, {{0, 0}, {1, 0}, {0, 1}}, alloc_);
  rv::Surface onDoubles = heights;  // a layer type no mask takes
  onDoubles.offset = {0, 0, 0}, onDoubles.scale = {1, 1, 1};
  onDoubles.layers[0] = rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}}, alloc_);
  rv::RectangleRoiSurface rectOnDoubles(onDoubles, CentreRect(0, 0, 1, 1, 0), alloc_);

  std::vector<Ty::Logging::DebugRecord> log;
  auto previous =
      Ty::Logging::SetDebugSink([&](const Ty::Logging::DebugRecord& r) { log.push_back(r); });
  rotest::ExpectFailures({{"partial box over a cloud", [&] { shrunk.GetMask(); }, 0, 0,
                           "Ro::Vision::PolygonRoiSurface::_AssignMask",
                           "Bounding Box should be FULL for point cloud format"},
                          {"surface mask over a cloud", [&] { surfaceRoi.GetMask(); }, -984, 0,
                           "Ro::Vision::SurfaceROI::_AssignMask"},
                          {"intensity mask over a cloud", [&] { intensityRoi.GetMask(); }, -984, 0,
                           "Ro::Vision::IntensityROI::_AssignMask"}},
                         "Common/MaskSurface");
  Ty::Logging::SetDebugSink(previous);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].message, "Not support \"Surface\" mask for point cloud.");
  EXPECT_EQ(log[1].message, "Not support \"Intensity\" mask for point cloud.");
  EXPECT_EQ(log[0].options, 0x8000000000000000ull);
  EXPECT_EQ(log[0].file, "Common/MaskSurface");
  EXPECT_EQ(log[1].function, "Ro::Vision::IntensityROI::_AssignMask");

  rotest::ExpectFailures({
      {"sub box index", [&] { composed.GetSubBoundingBox(0); }, -997, 0,
       "Ro::Vision::ComposedRoiSurface::GetSubBoundingBox"},
      {"sub mask index", [&] { composed.GetSubMask(3); }, -997, 0,
       "Ro::Vision::ComposedRoiSurface::GetSubMask"},
      {"sub roi index", [&] { composed.GetSubRoi(0); }, -997},
      {"sub shape index", [&] { composed.GetSubShapeType(0); }, -997},
      {"null member", [&] { composed.Add(nullptr); }, -997},
      {"member over another size", [&] { mixed.GetMask(); }, 0, 0, nullptr,
       "Bounding Box should be the same size as mask for INCLUDE mode"},
      {"zero resolution", [&] { polygon.GetMask(); }, -997},
      {"double layer", [&] { rectOnDoubles.GetMask(); }, -996},
  });
}

TEST_F(MaskSurface, SurfaceAndIntensityMasks) {
  const rv::Surface s = MakeHeightMap(3, 4, alloc_);
  rv::Surface other = MakeHeightMap(3, 4, alloc_);
  other.layers.push_back(rotest::MakeArray2<unsigned char>(
      zTypeOf(z8u), {{0, 5, 9, 10}, {11, 10, 4, 5}, {7, 7, 200, 0}}, alloc_));
  rv::SurfaceROI surfaceRoi(s, other, alloc_);
  EXPECT_EQ(surfaceRoi.GetShapeType(), rv::MaskType::Surface);
  EXPECT_TRUE(
      SameMask(surfaceRoi.GetMask(), MapCells(Filled(3, 4, 0), [&](size_t r, size_t c, int) {
                 return ValidSample(other, r, c);
               })));
  EXPECT_EQ(B(surfaceRoi.GetBoundingBox()), (Box{0, 0, 4, 3}));

  rv::IntensityROI intensityRoi(s, other, 5, 10, alloc_);
  EXPECT_EQ(intensityRoi.GetShapeType(), rv::MaskType::Intensity);
  EXPECT_TRUE(SameMask(intensityRoi.GetMask(), Grid{{0, 1, 1, 1}, {0, 1, 0, 1}, {1, 1, 0, 0}}));

  rv::IntensityROI withoutLayer(s, s, 5, 10, alloc_);
  EXPECT_TY_STATUS(withoutLayer.GetMask(), -984);
}

TEST_F(MaskSurface, ComposedUnionAndIntersection) {
  const rv::Surface s = MakeHeightMap(30, 40, alloc_, {-2, -1.5, 0}, {0.1, 0.1, 1});
  auto shapes = EveryShape(s, alloc_);
  std::vector<Grid> refs;
  for (auto& roi : shapes) refs.push_back(Reference(s, InsideOf(*roi)));
  // The union and the intersection of the references, with member 1 given as `second`.
  auto combine = [&](const Grid& second, bool unite) {
    return MapCells(refs[0], [&](size_t r, size_t c, int v) {
      for (const Grid* g : {&second, (const Grid*)&refs[2], (const Grid*)&refs[3]})
        v = unite ? v | (*g)[r][c] : v & (*g)[r][c];
      return v;
    });
  };

  rv::ComposedRoiSurface any(s, rv::MaskMode::Include, alloc_);
  rv::ComposedRoiSurface all(s, rv::MaskMode::Exclude, alloc_);
  EXPECT_EQ(any.GetShapeType(), rv::MaskType::Composed);
  EXPECT_TRUE(SameMask(all.GetMask(), Filled(30, 40, 0)));
  for (auto& roi : shapes) any.Add(roi), all.Add(roi);
  EXPECT_EQ(any.GetRoiCount(), 4u);
  EXPECT_EQ(any.GetSubShapeType(2), rv::MaskType::Ellipse);
  EXPECT_EQ(any.GetSubRoi(1), shapes[1]);
  EXPECT_TRUE(SameMask(any.GetMask(), combine(refs[1], true)));
  EXPECT_TRUE(SameMask(all.GetMask(), combine(refs[1], false)));
  EXPECT_TRUE(SameMask(any.GetSubMask(3), refs[3]));
  rv::Rect2d<int> box = any.GetBoundingBox();
  for (size_t i = 0; i < shapes.size(); ++i) {
    const rv::Rect2d<int> b = any.GetSubBoundingBox(i);
    EXPECT_LE(box.x, b.x);
    EXPECT_GE(box.x + box.width, b.x + b.width);
    EXPECT_LE(box.y, b.y);
  }
  // A member changed afterwards: the composition follows.
  shapes[1]->ReverseMask();
  const Grid reversed = MapCells(
      refs[1], [&](size_t r, size_t c, int v) { return ValidSample(s, r, c) ? 1 - v : 0; });
  EXPECT_TRUE(SameMask(any.GetMask(), combine(reversed, true)));
  EXPECT_EQ(B(any.GetBoundingBox()), (Box{0, 0, 40, 30}));
  any.Resize(1);
  EXPECT_TRUE(SameMask(any.GetMask(), refs[0]));
  EXPECT_TY_STATUS(any.Resize(2), -997);
}

// The cells of a run-length region expanded by RLEToMask, in surface indices.
Grid CellsOfRuns(const rv::RectRegionRLE& rle, size_t rows, size_t columns) {
  Ty::Object<void*> mask;
  rv::Rect2d<int> box;
  rv::RLEToMask(rle.runs, mask.Address(), &box, nullptr);
  if (!mask) return Filled(rows, columns, 0);
  const Grid m = rotest::ReadArray2<unsigned char>(mask);
  return MapCells(Filled(rows, columns, 0), [&](int r, int c, int) {
    const int y = r - box.y, x = c - box.x;
    return y >= 0 && y < box.height && x >= 0 && x < box.width && m[y][x];
  });
}

TEST_F(MaskSurface, RunLengthRegionsHoldTheMaskCells) {
  const rv::Surface s = MakeHeightMap(30, 40, alloc_, {-2, -1.5, 0}, {0.1, 0.1, 1});
  for (double angle : {0.0, 30.0, 90.0, 180.0, -63.0}) {
    rv::RectangleRoiSurface roi(s, CentreRect(0.1, 0.2, 2.2, 0.9, angle), alloc_);
    roi.HeightThreshold(-20, 40);
    rv::RectRegionRLE* rle = roi.GetRectRegionRLE();
    ASSERT_NE(rle, nullptr);
    EXPECT_EQ(rle->kind, 2);
    EXPECT_EQ(zArrayList_ItemType(rle->runs), rv::RunRecordType());
    EXPECT_TRUE(SameMask(roi.GetMask(), CellsOfRuns(*rle, 30, 40))) << angle;
  }
  rv::ComposedRoiSurface any(s, rv::MaskMode::Include, alloc_);
  for (auto& roi : EveryShape(s, alloc_)) {
    EXPECT_EQ(roi->GetShapeType() == rv::MaskType::RotatedRectangle,
              roi->GetRectRegionRLE() != nullptr);
    any.Add(roi);
  }
  rv::RectRegionRLE* rle = any.GetRectRegionRLE();
  ASSERT_NE(rle, nullptr);
  EXPECT_TRUE(SameMask(any.GetMask(), CellsOfRuns(*rle, 30, 40)));
}

TEST_F(MaskSurface, FailingAllocationsAreRaised) {
  const rv::Surface s = MakeHeightMap(20, 24, nullptr, {-1, -1, 0}, {0.1, 0.1, 1});
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    rv::ComposedRoiSurface any(s, rv::MaskMode::Include, alloc_.get());
    auto rect =
        std::make_shared<rv::RectangleRoiSurface>(s, CentreRect(0, 0, 1, 1, 20), alloc_.get());
    rect->ReverseMask();
    any.Add(rect);
    any.Add(EveryShape(s, alloc_.get())[2]);
    any.HeightThreshold(-5, 5);
    any.GetRectRegionRLE();
  });
}

TEST_F(MaskSurface, ThresholdHeightOnARegion) {
  const rv::Surface s = MakeHeightMap(30, 40, alloc_, {-2, -1.5, 0}, {0.1, 0.1, 0.01});
  rv::CircleRoiSurface roi(s, rv::AnnularSector2d<double>{0, 1, 0, 360, {0, 0}}, alloc_);
  const Grid want = MapCells(Reference(s, InsideOf(roi)), [&](size_t r, size_t c, int v) {
    const int h = HeightAt(s, r, c);
    return h == -32768 || h < 0 || h > 20 ? 0 : v;
  });
  rv::ThresholdHeight(s, 0.0, 0.2, roi);
  EXPECT_TRUE(SameMask(roi.GetMask(), want));
}

}  // namespace
