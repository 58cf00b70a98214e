#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Filter/Threshold.h>
#include <RoVision/Geometry/PolygonContainment.h>
#include <RoVision/Geometry/SectorContainment.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <TyApi/TyLogging.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

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

// A height map whose every 7th sample is null, with a slope so thresholds have something to cut.
rv::Surface MakeHeightMap(int rows, int columns, zAlloc alloc, zPoint3d64f offset = {-3.05, 1.7, 0},
                          zPoint3d64f scale = {0.1, 0.125, 0.01}) {
  rv::Surface s;
  s.offset = offset;
  s.scale = scale;
  Ty::Object<void*> heights;
  EXPECT_EQ(zArray2_Construct(heights.Address(), zTypeOf(z16s), rows, columns, alloc), zOK);
  for (int r = 0; r < rows; ++r) {
    short* h = static_cast<short*>(zArray2_Row(heights, r));
    for (int c = 0; c < columns; ++c) h[c] = (r * columns + c) % 7 == 3 ? -32768 : short(r * 3 - c);
  }
  s.layers.push_back(heights);
  return s;
}

// A point cloud on the grid, jittered, with a null component every 5th point.
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

// The brute-force mask: every sample's world position through the containment test.
Grid Reference(const rv::Surface& s, const Inside& inside) {
  void* l0 = s.layers[0];
  Grid g(zArray2_Rows(l0), std::vector<unsigned char>(zArray2_Columns(l0), 0));
  for (size_t r = 0; r < g.size(); ++r) {
    for (size_t c = 0; c < g[r].size(); ++c) {
      if (IsCloud(s)) {
        const zPoint3d16s p = static_cast<const zPoint3d16s*>(zArray2_Row(l0, r))[c];
        if (p.x == -32768 || p.y == -32768 || p.z == -32768) continue;
        g[r][c] = inside(s.offset.x + p.x * s.scale.x, s.offset.y + p.y * s.scale.y);
      } else {
        g[r][c] = inside(s.offset.x + double(c) * s.scale.x, s.offset.y + double(r) * s.scale.y);
      }
    }
  }
  return g;
}

// The reference limited to a box: the mask never reaches outside the bounding box, whose index
// rule (a division) may drop a sample lying on the shape's extent that the containment test (a
// multiplication) keeps.
Grid InBox(Grid g, const rv::Rect2d<int>& b) {
  for (int r = 0; r < int(g.size()); ++r)
    for (int c = 0; c < int(g[r].size()); ++c)
      if (r < b.y || r >= b.y + b.height || c < b.x || c >= b.x + b.width) g[r][c] = 0;
  return g;
}

bool ValidSample(const rv::Surface& s, size_t r, size_t c) {
  if (IsCloud(s))
    return static_cast<const zPoint3d16s*>(zArray2_Row(s.layers[0], r))[c].z != -32768;
  return static_cast<const short*>(zArray2_Row(s.layers[0], r))[c] != -32768;
}

short HeightAt(const rv::Surface& s, size_t r, size_t c) {
  if (IsCloud(s)) return static_cast<const zPoint3d16s*>(zArray2_Row(s.layers[0], r))[c].z;
  return static_cast<const short*>(zArray2_Row(s.layers[0], r))[c];
}

// The region-to-index rule on an extent, clipped, written out independently.
rv::Rect2d<int> ExpectedBox(const rv::Surface& s, double x0, double x1, double y0, double y1) {
  auto axis = [](double lo, double hi, double o, double sc, long long n, int* first, int* count) {
    long long f = (long long)std::ceil((lo - o) / sc);
    long long k = (long long)std::floor((hi - o) / sc) - f + 1;
    if (f > n - 1) k = 0;
    if (f < 0) {
      k = std::max(k + f, 0LL);
      f = 0;
    }
    if (f + k > n) k = n - f;
    *first = int(f);
    *count = int(std::max(k, 0LL));
  };
  rv::Rect2d<int> b{0, 0, 0, 0};
  axis(x0, x1, s.offset.x, s.scale.x, (long long)zArray2_Columns(s.layers[0]), &b.x, &b.width);
  axis(y0, y1, s.offset.y, s.scale.y, (long long)zArray2_Rows(s.layers[0]), &b.y, &b.height);
  if (b.width == 0 || b.height == 0) b = rv::Rect2d<int>{0, 0, 0, 0};
  return b;
}

void ExpectBox(const rv::Rect2d<int>& got, const rv::Rect2d<int>& want) {
  EXPECT_EQ(got.x, want.x);
  EXPECT_EQ(got.y, want.y);
  EXPECT_EQ(got.width, want.width);
  EXPECT_EQ(got.height, want.height);
}

// Counts differing cells and names the first.
::testing::AssertionResult SameMask(void* mask, const Grid& want) {
  if (!mask) return ::testing::AssertionFailure() << "no mask";
  if (zArray2_Rows(mask) != want.size() || (want.size() && zArray2_Columns(mask) != want[0].size()))
    return ::testing::AssertionFailure() << "size differs";
  size_t wrong = 0;
  std::string first;
  for (size_t r = 0; r < want.size(); ++r) {
    const unsigned char* m = static_cast<const unsigned char*>(zArray2_Row(mask, r));
    for (size_t c = 0; c < want[r].size(); ++c) {
      if (m[c] != want[r][c]) {
        if (!wrong++) first = "(" + std::to_string(r) + ", " + std::to_string(c) + ")";
      }
    }
  }
  if (wrong) return ::testing::AssertionFailure() << wrong << " cells differ, first " << first;
  return ::testing::AssertionSuccess();
}

Grid ReadMask(void* mask) {
  return rotest::ReadArray2<unsigned char>(mask);
}

rv::Region2d<double> Rect(double x, double y, double w, double l, double a) {
  return rv::Region2d<double>{x, y, w, l, a};
}

void ExtentOf(const std::vector<rv::Point2d<double>>& poly, double* x0, double* x1, double* y0,
              double* y1) {
  *x0 = *x1 = poly[0].x;
  *y0 = *y1 = poly[0].y;
  for (const auto& p : poly) {
    *x0 = std::min(*x0, p.x);
    *x1 = std::max(*x1, p.x);
    *y0 = std::min(*y0, p.y);
    *y1 = std::max(*y1, p.y);
  }
}

class MaskSurface : public rotest::LeakCheckedTest {};

TEST_F(MaskSurface, RectanglesMatchTheirPolygonAtEveryAngle) {
  const rv::Surface s = MakeHeightMap(40, 60, alloc_);
  struct Case {
    double angle;
    rv::MaskType type;
  };
  for (const Case& k :
       {Case{0, rv::MaskType::Rectangle}, Case{30, rv::MaskType::RotatedRectangle},
        Case{90, rv::MaskType::Rectangle}, Case{180, rv::MaskType::Rectangle},
        Case{-45, rv::MaskType::RotatedRectangle}, Case{1e-8, rv::MaskType::Rectangle},
        Case{-270, rv::MaskType::Rectangle}, Case{90.001, rv::MaskType::RotatedRectangle}}) {
    SCOPED_TRACE(k.angle);
    const rv::Region2d<double> region = Rect(-0.05, 4.0, 2.6, 1.25, k.angle);
    rv::RectangleRoiSurface roi(s, region, alloc_);
    EXPECT_EQ(roi.GetShapeType(), k.type);
    std::vector<rv::Point2d<double>> poly;
    rv::ExtractPolygonFromRect(region, &poly);
    double x0, x1, y0, y1;
    ExtentOf(poly, &x0, &x1, &y0, &y1);
    const rv::Rect2d<int> box = ExpectedBox(s, x0, x1, y0, y1);
    ExpectBox(roi.GetBoundingBox(), box);
    EXPECT_DOUBLE_EQ(roi.GetBoundingRegion().x, x0);
    EXPECT_DOUBLE_EQ(roi.GetBoundingRegion().length, y1 - y0);
    EXPECT_TRUE(
        SameMask(roi.GetMask(), InBox(Reference(s,
                                                [&](double x, double y) {
                                                  return rv::IsPointInPolygon(poly, {x, y}) != 0;
                                                }),
                                      box)));
  }
}

TEST_F(MaskSurface, AxisAlignedRectangleHoldsExactlyItsIndexBox) {
  // Edges fall exactly on samples (x = -3.05 + 5 * 0.1 = -2.55 ... ): both ends are inside.
  const rv::Surface s = MakeHeightMap(30, 40, alloc_, {0, 0, 0}, {0.5, 0.25, 1});
  rv::RectangleRoiSurface roi(s, Rect(5.0, 3.0, 4.0, 2.0, 0), alloc_);
  const rv::Rect2d<int> box = roi.GetBoundingBox();
  ExpectBox(box, rv::Rect2d<int>{6, 8, 9, 9});
  Grid want(30, std::vector<unsigned char>(40, 0));
  for (int r = box.y; r < box.y + box.height; ++r)
    for (int c = box.x; c < box.x + box.width; ++c) want[r][c] = 1;
  EXPECT_TRUE(SameMask(roi.GetMask(), want));
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
    std::vector<rv::Point2d<double>> poly;
    const int corners = 3 + trial % 12;
    const double cx = onGrid ? 35 : 0.4, cy = onGrid ? 25 : 4.8, unit = onGrid ? 1 : 0.1;
    for (int i = 0; i < corners; ++i) {
      const double t = trial % 3 == 0 ? angle(rng) : 2 * M_PI * i / corners;
      double x = cx + unit * radius(rng) * std::cos(t), y = cy + unit * radius(rng) * std::sin(t);
      if (onGrid) {
        x = std::round(x);
        y = std::round(y);
      }
      poly.push_back({x, y});
    }
    if (onGrid && corners > 4) poly[1].y = poly[0].y;  // a horizontal edge on a row
    rv::PolygonRoiSurface roi(s, poly, alloc_);
    double x0, x1, y0, y1;
    ExtentOf(poly, &x0, &x1, &y0, &y1);
    ExpectBox(roi.GetBoundingBox(), ExpectedBox(s, x0, x1, y0, y1));
    EXPECT_TRUE(SameMask(roi.GetMask(), Reference(s, [&](double x, double y) {
                           return rv::IsPointInPolygon(poly, rv::Point2d<double>{x, y}) != 0;
                         })));
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
                           return rv::IsPointInEllipticalSector(e, rv::Point2d<double>{x, y}) != 0;
                         })));

    rv::AnnularSector2d<double> a;
    a.center = e.center;
    a.outerRadius = e.outerWidth / 2;
    a.innerRadius = trial % 4 == 1 ? 0 : a.outerRadius * u(rng);
    a.startAngle = e.startAngle;
    a.angleSpan = e.angleSpan;
    rv::CircleRoiSurface circle(s, a, alloc_);
    EXPECT_EQ(circle.GetShapeType(), rv::MaskType::Circle);
    ExpectBox(circle.GetBoundingBox(),
              ExpectedBox(s, a.center.x - a.outerRadius, a.center.x + a.outerRadius,
                          a.center.y - a.outerRadius, a.center.y + a.outerRadius));
    EXPECT_TRUE(SameMask(circle.GetMask(), Reference(s, [&](double x, double y) {
                           return rv::IsPointInAnnularSector(a, rv::Point2d<double>{x, y}) != 0;
                         })));
  }
}

TEST_F(MaskSurface, CircleOnSamplesIncludesBothRings) {
  // Radius 3 on a unit grid: (3, 0), (0, 3) and the inner ring's samples are all inside.
  const rv::Surface s = MakeHeightMap(21, 21, alloc_, {-10, -10, 0}, {1, 1, 1});
  rv::AnnularSector2d<double> a;
  a.center = {0, 0};
  a.innerRadius = 2;
  a.outerRadius = 3;
  a.startAngle = -90;  // wrapping past 0: 270 .. 360 and 0 .. 10
  a.angleSpan = 100;
  rv::CircleRoiSurface roi(s, a, alloc_);
  const Grid m = ReadMask(roi.GetMask());
  EXPECT_EQ(m[10][13], 1);  // (3, 0): outer ring, 0 degrees
  EXPECT_EQ(m[10][12], 1);  // (2, 0): inner ring
  EXPECT_EQ(m[7][10], 1);   // (0, -3): 270 degrees
  EXPECT_EQ(m[13][10], 0);  // (0, 3): 90 degrees, outside the span
  EXPECT_EQ(m[10][11], 0);  // (1, 0): inside the inner ring
}

std::vector<std::shared_ptr<rv::RoiSurface>> EveryShape(const rv::Surface& s, zAlloc alloc) {
  rv::EllipticalSector2d<double> e;
  e.center = {0.2, 0.1};
  e.outerWidth = 2.5;
  e.outerLength = 1.5;
  e.innerWidth = 1;
  e.innerLength = 0.5;
  e.startAngle = 200;
  e.angleSpan = 250;
  e.angle = 35;
  rv::AnnularSector2d<double> a;
  a.center = {-0.5, 0.3};
  a.innerRadius = 0.2;
  a.outerRadius = 1.1;
  a.startAngle = 330;
  a.angleSpan = 100;
  return {
      std::make_shared<rv::RectangleRoiSurface>(s, Rect(0.1, 0.2, 1.7, 0.9, 30), alloc),
      std::make_shared<rv::PolygonRoiSurface>(
          s, std::vector<rv::Point2d<double>>{{-1.5, -0.5}, {1, -1}, {0.2, 1.1}, {-0.3, 0}}, alloc),
      std::make_shared<rv::EllipseRoiSurface>(s, e, alloc),
      std::make_shared<rv::CircleRoiSurface>(s, a, alloc)};
}

Inside InsideOf(rv::RoiSurface& roi) {
  if (auto* r = dynamic_cast<rv::RectangleRoiSurface*>(&roi)) {
    auto poly = std::make_shared<std::vector<rv::Point2d<double>>>();
    rv::ExtractPolygonFromRect(r->GetShape(), poly.get());
    return [poly](double x, double y) { return rv::IsPointInPolygon(*poly, {x, y}) != 0; };
  }
  if (auto* p = dynamic_cast<rv::PolygonRoiSurface*>(&roi)) {
    auto poly = p->GetShape();
    return [poly](double x, double y) { return rv::IsPointInPolygon(poly, {x, y}) != 0; };
  }
  if (auto* c = dynamic_cast<rv::CircleRoiSurface*>(&roi)) {
    auto a = c->GetShape();
    return [a](double x, double y) { return rv::IsPointInAnnularSector(a, {x, y}) != 0; };
  }
  auto e = dynamic_cast<rv::EllipseRoiSurface&>(roi).GetShape();
  return [e](double x, double y) { return rv::IsPointInEllipticalSector(e, {x, y}) != 0; };
}

TEST_F(MaskSurface, PointCloudsGetTheFullBoxAndTestEachPoint) {
  const rv::Surface s = MakeCloud(30, 40, alloc_);
  for (auto& roi : EveryShape(s, alloc_)) {
    ExpectBox(roi->GetBoundingBox(), rv::Rect2d<int>{0, 0, 40, 30});
    EXPECT_DOUBLE_EQ(roi->GetBoundingRegion().width, 40 * 0.05);
    EXPECT_TRUE(SameMask(roi->GetMask(), Reference(s, InsideOf(*roi))));
  }
}

TEST_F(MaskSurface, MasksDoNotDependOnTheNumberOfTasks) {
  const rv::Surface s = MakeHeightMap(64, 48, alloc_, {-2.4, -3.2, 0}, {0.1, 0.1, 0.01});
  std::vector<Ty::Object<void*>> pools;
  for (zSize tasks : {1, 2, 8}) {
    Ty::Object<void*> pool;
    ASSERT_EQ(zThreadPool_Construct(pool.Address(), tasks, alloc_), zOK);
    pools.push_back(pool);
  }
  for (size_t shape = 0; shape < 4; ++shape) {
    std::vector<Grid> masks;
    for (auto& pool : pools) {
      auto roi = EveryShape(s, alloc_)[shape];
      roi->SetThreadPool(pool);
      roi->HeightThreshold(-2, 2);  // every valid sample: the threshold drops the nulls
      masks.push_back(ReadMask(roi->GetMask()));
      EXPECT_TRUE(SameMask(roi->GetMask(), masks[0]));
    }
    size_t ones = 0;
    for (auto& row : masks[0])
      for (auto b : row) ones += b;
    EXPECT_GT(ones, 0u) << shape;
  }
}

TEST_F(MaskSurface, ReversedMasksFlipValidSamplesOverTheWholeSurface) {
  for (const rv::Surface& s :
       {MakeHeightMap(30, 40, alloc_, {-2, -1.5, 0}, {0.1, 0.1, 1}), MakeCloud(30, 40, alloc_)}) {
    for (auto& roi : EveryShape(s, alloc_)) {
      Grid want = Reference(s, InsideOf(*roi));
      for (size_t r = 0; r < want.size(); ++r)
        for (size_t c = 0; c < want[r].size(); ++c)
          want[r][c] = ValidSample(s, r, c) ? 1 - want[r][c] : 0;
      roi->ReverseMask();
      EXPECT_TRUE(SameMask(roi->GetMask(), want));
      ExpectBox(roi->GetBoundingBox(), rv::Rect2d<int>{0, 0, 40, 30});
    }
  }
}

TEST_F(MaskSurface, ReversingAFullRectangleEmptiesIt) {
  const rv::Surface s = MakeHeightMap(10, 12, alloc_);
  rv::RectangleRoiSurface whole(s, alloc_);
  whole.ReverseMask();
  EXPECT_TRUE(SameMask(whole.GetMask(), Grid(10, std::vector<unsigned char>(12, 0))));
}

TEST_F(MaskSurface, HeightThresholdKeepsSamplesWithinTheRoundedLimits) {
  // Heights are r * 3 - c counts of 0.01; limits -0.125 and 0.305 round to -13 and 31 counts
  // (half away from zero).
  for (const rv::Surface& s : {MakeHeightMap(30, 40, alloc_, {-2, -1.5, 0}, {0.1, 0.1, 0.01}),
                               MakeCloud(30, 40, alloc_)}) {
    for (auto& roi : EveryShape(s, alloc_)) {
      Grid want = Reference(s, InsideOf(*roi));
      Grid nullsOnly = want;
      for (size_t r = 0; r < want.size(); ++r) {
        for (size_t c = 0; c < want[r].size(); ++c) {
          const int h = HeightAt(s, r, c);
          if (h == -32768 || h < -13 || h > 31) want[r][c] = 0;
          if (h == -32768) nullsOnly[r][c] = 0;
        }
      }
      roi->HeightThreshold(-0.125, 0.305);
      EXPECT_TRUE(SameMask(roi->GetMask(), want));
      roi->HeightThreshold(kNull, 0.305);  // one limit unset: only nulls go
      EXPECT_TRUE(SameMask(roi->GetMask(), nullsOnly));
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
  ProbeRectangle roi(s, Rect(1, 1, 2, 2, 0), alloc_);
  int low = 0, high = 0;
  roi._GetZRange(&low, &high);
  EXPECT_EQ(low, -32768);
  EXPECT_EQ(high, 32767);
  roi.HeightThreshold(3.0, -2.0);  // 2.5 -> 3, -2.5 -> -3
  roi._GetZRange(&low, &high);
  EXPECT_EQ(low, 3);
  EXPECT_EQ(high, -3);
  roi.HeightThreshold(-1e9, 1e9);
  roi._GetZRange(&low, &high);
  EXPECT_EQ(low, -32768);
  EXPECT_EQ(high, 32767);
  roi.HeightThreshold(kNull, 5);
  roi._GetZRange(&low, &high);
  EXPECT_EQ(low, -32768);
  EXPECT_EQ(high, 32767);
}

TEST_F(MaskSurface, WholeSurfaceRectangle) {
  const rv::Surface s = MakeHeightMap(10, 12, alloc_);
  rv::RectangleRoiSurface roi(s, alloc_);
  EXPECT_EQ(roi.GetShapeType(), rv::MaskType::Rectangle);
  ExpectBox(roi.GetBoundingBox(), rv::Rect2d<int>{0, 0, 12, 10});
  const rv::Region2d<double> region = roi.GetBoundingRegion();
  EXPECT_DOUBLE_EQ(region.x, -3.05);
  EXPECT_DOUBLE_EQ(region.y, 1.7);
  EXPECT_DOUBLE_EQ(region.width, 12 * 0.1);
  EXPECT_DOUBLE_EQ(region.length, 10 * 0.125);
  EXPECT_TRUE(SameMask(roi.GetMask(), Grid(10, std::vector<unsigned char>(12, 1))));
}

TEST_F(MaskSurface, LazyStateAndReset) {
  const rv::Surface s = MakeHeightMap(10, 12, alloc_);
  rv::RectangleRoiSurface roi(s, Rect(-2.5, 2.2, 0.4, 0.3, 0), alloc_);
  EXPECT_EQ(roi.IsBoundingBoxValid(), 0);
  EXPECT_EQ(roi.IsMaskValid(), 0);
  roi.GetBoundingBox();
  EXPECT_EQ(roi.IsBoundingBoxValid(), 1);
  EXPECT_EQ(roi.IsMaskValid(), 0);
  roi.GetMask();
  EXPECT_EQ(roi.IsMaskValid(), 1);
  rv::RectangleRoiSurface copy = roi;  // shares the mask array
  EXPECT_EQ(copy.GetMask().Get(), roi.GetMask().Get());
  // A rebuild reuses the held array only when nobody else holds it.
  const Ty::Object<void*> held = roi.GetMask();
  const Grid before = ReadMask(held);
  roi.UpdateInputParams(s, Rect(-2.0, 2.5, 0.4, 0.3, 0), alloc_);
  EXPECT_NE(roi.GetMask().Get(), held.Get());
  EXPECT_EQ(ReadMask(held), before);
  void* own = roi.GetMask().Get();
  roi.UpdateInputParams(s, Rect(-2.5, 2.2, 0.4, 0.3, 0), alloc_);
  EXPECT_EQ(roi.GetMask().Get(), own);                        // held alone: zeroed and used again
  roi.UpdateInputParams(s, Rect(100, 100, 1, 1, 0), alloc_);  // off the surface
  EXPECT_EQ(roi.IsBoundingBoxValid(), 0);
  ExpectBox(roi.GetBoundingBox(), rv::Rect2d<int>{0, 0, 0, 0});
  EXPECT_TRUE(SameMask(roi.GetMask(), Grid(10, std::vector<unsigned char>(12, 0))));
}

TEST_F(MaskSurface, FailureTable) {
  const rv::Surface cloud = MakeCloud(6, 8, alloc_);
  ProbeRectangle shrunk(cloud, Rect(0, 0, 1, 1, 0), alloc_);
  shrunk.shrink = true;
  auto caught = rotest::CatchTy([&] { shrunk.GetMask(); });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Status(), 0);
  EXPECT_EQ(caught->Message(), "Bounding Box should be FULL for point cloud format");
  EXPECT_EQ(caught->Function(), "Ro::Vision::PolygonRoiSurface::_AssignMask");
  EXPECT_EQ(caught->File(), "Common/MaskSurface");

  // A surface mask over a point cloud: -984 and the debug log.
  std::vector<Ty::Logging::DebugRecord> log;
  auto previous =
      Ty::Logging::SetDebugSink([&](const Ty::Logging::DebugRecord& r) { log.push_back(r); });
  const rv::Surface heights = MakeHeightMap(6, 8, alloc_);
  rv::SurfaceROI surfaceRoi(cloud, heights, alloc_);
  EXPECT_TY_THROW(surfaceRoi.GetMask(), -984, "Ro::Vision::SurfaceROI::_AssignMask");
  rv::IntensityROI intensityRoi(cloud, heights, 1, 2, alloc_);
  EXPECT_TY_THROW(intensityRoi.GetMask(), -984, "Ro::Vision::IntensityROI::_AssignMask");
  Ty::Logging::SetDebugSink(previous);
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].message, "Not support \"Surface\" mask for point cloud.");
  EXPECT_EQ(log[1].message, "Not support \"Intensity\" mask for point cloud.");
  EXPECT_EQ(log[0].options, 0x8000000000000000ull);
  EXPECT_EQ(log[0].file, "Common/MaskSurface");
  EXPECT_EQ(log[1].function, "Ro::Vision::IntensityROI::_AssignMask");

  // Composed accessors beyond the list.
  rv::ComposedRoiSurface composed(heights, rv::MaskMode::Include, alloc_);
  EXPECT_TY_THROW(composed.GetSubBoundingBox(0), -997,
                  "Ro::Vision::ComposedRoiSurface::GetSubBoundingBox");
  EXPECT_TY_THROW(composed.GetSubMask(3), -997, "Ro::Vision::ComposedRoiSurface::GetSubMask");
  EXPECT_TY_STATUS(composed.GetSubRoi(0), -997);
  EXPECT_TY_STATUS(composed.GetSubShapeType(0), -997);
  EXPECT_TY_STATUS(composed.Add(nullptr), -997);

  // A member over a surface of another size.
  const rv::Surface bigger = MakeHeightMap(7, 8, alloc_);
  composed.Add(std::make_shared<rv::RectangleRoiSurface>(bigger, alloc_));
  caught = rotest::CatchTy([&] { composed.GetMask(); });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Status(), 0);
  EXPECT_EQ(caught->Message(), "Bounding Box should be the same size as mask for INCLUDE mode");

  // Unusable resolution and layer type.
  rv::Surface flat = heights;
  flat.scale.x = 0;
  rv::PolygonRoiSurface polygon(flat, {{0, 0}, {1, 0}, {0, 1}}, alloc_);
  EXPECT_TY_STATUS(polygon.GetMask(), -997);
  rv::Surface doubles;
  doubles.offset = {0, 0, 0};
  doubles.scale = {1, 1, 1};
  doubles.layers.push_back(rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}}, alloc_));
  rv::RectangleRoiSurface onDoubles(doubles, Rect(0, 0, 1, 1, 0), alloc_);
  EXPECT_TY_STATUS(onDoubles.GetMask(), -996);
}

TEST_F(MaskSurface, SurfaceAndIntensityMasks) {
  const rv::Surface s = MakeHeightMap(3, 4, alloc_);
  rv::Surface other = MakeHeightMap(3, 4, alloc_);
  other.layers.push_back(rotest::MakeArray2<unsigned char>(
      zTypeOf(z8u), {{0, 5, 9, 10}, {11, 10, 4, 5}, {7, 7, 200, 0}}, alloc_));
  rv::SurfaceROI surfaceRoi(s, other, alloc_);
  EXPECT_EQ(surfaceRoi.GetShapeType(), rv::MaskType::Surface);
  Grid want(3, std::vector<unsigned char>(4));
  for (size_t r = 0; r < 3; ++r)
    for (size_t c = 0; c < 4; ++c) want[r][c] = ValidSample(other, r, c);
  EXPECT_TRUE(SameMask(surfaceRoi.GetMask(), want));
  ExpectBox(surfaceRoi.GetBoundingBox(), rv::Rect2d<int>{0, 0, 4, 3});

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

  rv::ComposedRoiSurface any(s, rv::MaskMode::Include, alloc_);
  rv::ComposedRoiSurface all(s, rv::MaskMode::Exclude, alloc_);
  EXPECT_EQ(any.GetShapeType(), rv::MaskType::Composed);
  EXPECT_TRUE(SameMask(all.GetMask(), Grid(30, std::vector<unsigned char>(40, 0))));
  for (auto& roi : shapes) {
    any.Add(roi);
    all.Add(roi);
  }
  EXPECT_EQ(any.GetRoiCount(), 4u);
  EXPECT_EQ(any.GetSubShapeType(2), rv::MaskType::Ellipse);
  EXPECT_EQ(any.GetSubRoi(1), shapes[1]);
  Grid unite = refs[0], meet = refs[0];
  for (size_t i = 1; i < refs.size(); ++i)
    for (size_t r = 0; r < 30; ++r)
      for (size_t c = 0; c < 40; ++c) {
        unite[r][c] |= refs[i][r][c];
        meet[r][c] &= refs[i][r][c];
      }
  EXPECT_TRUE(SameMask(any.GetMask(), unite));
  EXPECT_TRUE(SameMask(all.GetMask(), meet));
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
  for (size_t r = 0; r < 30; ++r)
    for (size_t c = 0; c < 40; ++c) {
      const unsigned char reversed = ValidSample(s, r, c) ? 1 - refs[1][r][c] : 0;
      unite[r][c] = refs[0][r][c] | reversed | refs[2][r][c] | refs[3][r][c];
    }
  EXPECT_TRUE(SameMask(any.GetMask(), unite));
  ExpectBox(any.GetBoundingBox(), rv::Rect2d<int>{0, 0, 40, 30});
  any.Resize(1);
  EXPECT_TRUE(SameMask(any.GetMask(), refs[0]));
  EXPECT_TY_STATUS(any.Resize(2), -997);
}

// The cells of a run-length region expanded by RLEToMask, in surface indices.
Grid CellsOfRuns(const rv::RectRegionRLE& rle, size_t rows, size_t columns) {
  Grid g(rows, std::vector<unsigned char>(columns, 0));
  void* mask = nullptr;
  rv::Rect2d<int> box;
  rv::RLEToMask(rle.runs, &mask, &box, nullptr);
  if (!mask) return g;
  const Grid m = ReadMask(mask);
  zObject_Destroy(mask);
  for (int r = 0; r < box.height; ++r)
    for (int c = 0; c < box.width; ++c)
      if (m[r][c]) g[box.y + r][box.x + c] = 1;
  return g;
}

TEST_F(MaskSurface, RunLengthRegionsHoldTheMaskCells) {
  const rv::Surface s = MakeHeightMap(30, 40, alloc_, {-2, -1.5, 0}, {0.1, 0.1, 1});
  for (double angle : {0.0, 30.0, 90.0, 180.0, -63.0}) {
    rv::RectangleRoiSurface roi(s, Rect(0.1, 0.2, 2.2, 0.9, angle), alloc_);
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
    auto rect = std::make_shared<rv::RectangleRoiSurface>(s, Rect(0, 0, 1, 1, 20), alloc_.get());
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
  Grid want = Reference(s, InsideOf(roi));
  for (size_t r = 0; r < 30; ++r)
    for (size_t c = 0; c < 40; ++c)
      if (HeightAt(s, r, c) == -32768 || HeightAt(s, r, c) < 0 || HeightAt(s, r, c) > 20)
        want[r][c] = 0;
  rv::ThresholdHeight(s, 0.0, 0.2, roi);
  EXPECT_TRUE(SameMask(roi.GetMask(), want));
}

}  // namespace
