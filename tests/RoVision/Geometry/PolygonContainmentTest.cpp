#include <RoVision/Geometry/PolygonContainment.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <RoVision/Utils/RegionConversion.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace rv = Ro::Vision;

namespace {

using Polygon = std::vector<rv::Point2d<double>>;

// Edges and corners count as inside, also for the degenerate polygons.
TEST(IsPointInPolygon, EdgesCornersAndDegeneratePolygons) {
  const Polygon square = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
  const Polygon none, single = {{1, 1}}, segment = {{0, 0}, {2, 2}};
  // An L-shaped (concave) polygon and a self-crossing star.
  const Polygon ell = {{0, 0}, {4, 0}, {4, 1}, {1, 1}, {1, 4}, {0, 4}};
  Polygon star;
  for (int i = 0; i < 5; ++i) {
    const double t = (90 + 144 * i) * M_PI / 180;
    star.push_back(rv::Point2d<double>{10 * std::cos(t), 10 * std::sin(t)});
  }
  struct Case {
    const char* name;
    const Polygon* polygon;
    rv::Point2d<double> point;
    int inside;
  };
  const std::vector<Case> cases = {
      {"interior", &square, {2, 2}, 1},
      {"left edge", &square, {0, 2}, 1},
      {"right edge", &square, {4, 2}, 1},
      {"bottom edge", &square, {2, 0}, 1},
      {"top edge", &square, {2, 4}, 1},
      {"corner", &square, {4, 4}, 1},
      {"first corner", &square, {0, 0}, 1},
      {"just outside right", &square, {4.000001, 2}, 0},
      {"outside level with the top", &square, {5, 4}, 0},
      {"outside level with a corner", &square, {-1, 0}, 0},
      {"concave notch", &ell, {2, 2}, 0},
      {"concave arm", &ell, {0.5, 3}, 1},
      {"inner corner", &ell, {1, 1}, 1},
      {"inner edge", &ell, {1, 2.5}, 1},
      {"star point", &star, {0, 8}, 1},
      {"star centre is outside by even-odd", &star, {0, 0}, 0},
      {"outside the star", &star, {9, 9}, 0},
      {"empty polygon", &none, {0, 0}, 0},
      {"on a one-point polygon", &single, {1, 1}, 1},
      {"off a one-point polygon", &single, {1, 2}, 0},
      {"on a segment", &segment, {1, 1}, 1},
      {"beside a segment", &segment, {1, 0.5}, 0},
      {"beyond a segment's end", &segment, {3, 3}, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(rv::IsPointInPolygon(*c.polygon, c.point), c.inside) << c.name;
    std::vector<rv::PointXZ<double>> xz;
    for (const auto& p : *c.polygon) xz.push_back(rv::PointXZ<double>{p.x, p.y});
    EXPECT_EQ(rv::IsPointInPolygon(xz, rv::PointXZ<double>{c.point.x, c.point.y}), c.inside)
        << c.name;
  }
}

TEST(IsPointInPolygon, RectanglePolygonHoldsExactlyItsIndexBox) {
  // Samples at offset + index * scale; the rectangle's edges fall on samples and between them.
  const zPoint64f offset{-3, 1}, scale{0.25, 0.5};
  const int columns = 60, rows = 40;
  const std::vector<rv::Region2d<double>> regions = {
      {2, 6, 4, 5, 0}, {-1.125, 9.25, 2.5, 3, 0}, {0, 0, 40, 40, 0}, {5, 10, 0, 0, 0}};
  for (const rv::Region2d<double>& region : regions) {
    rv::Rect2d<int> box;
    rv::GetRegionPixel(columns, rows, offset, scale, &region, &box);
    Polygon corners;
    rv::ExtractPolygonFromRect(region, &corners);
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < columns; ++c) {
        const rv::Point2d<double> p{offset.x + c * scale.x, offset.y + r * scale.y};
        const bool inBox =
            c >= box.x && c < box.x + box.width && r >= box.y && r < box.y + box.height;
        ASSERT_EQ(rv::IsPointInPolygon(corners, p), inBox ? 1 : 0)
            << "region at " << region.x << ", " << region.y << " sample " << c << ", " << r;
      }
    }
  }
}

TEST(IsPointInPolygon, TurnedRectangleAgreesWithItsOwnFrame) {
  const rv::Region2d<double> region{1, 2, 6, 3, 35};
  Polygon corners;
  rv::ExtractPolygonFromRect(region, &corners);
  std::mt19937 random(4);
  std::uniform_real_distribution<double> coordinate(-5, 7);
  const double t = -region.angle * M_PI / 180;
  int inside = 0;
  for (int i = 0; i < 5000; ++i) {
    const rv::Point2d<double> p{coordinate(random), coordinate(random)};
    const double u = std::cos(t) * (p.x - 1) - std::sin(t) * (p.y - 2);
    const double v = std::sin(t) * (p.x - 1) + std::cos(t) * (p.y - 2);
    // Keep clear of the edges, where rounding decides.
    if (std::fabs(std::fabs(u) - 3) < 1e-9 || std::fabs(std::fabs(v) - 1.5) < 1e-9) continue;
    const int expected = std::fabs(u) < 3 && std::fabs(v) < 1.5;
    ASSERT_EQ(rv::IsPointInPolygon(corners, p), expected) << p.x << ", " << p.y;
    inside += expected;
  }
  EXPECT_GT(inside, 200);
}

}  // namespace
