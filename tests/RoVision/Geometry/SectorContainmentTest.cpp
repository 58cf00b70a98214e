#include <RoVision/Geometry/SectorContainment.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = rv::kNullDouble;

// A point at `radius` from the centre (2, -1) in direction `degrees`.
rv::Point2d<double> Polar(double radius, double degrees) {
  const double t = degrees * M_PI / 180;
  return rv::Point2d<double>{2 + radius * std::cos(t), -1 + radius * std::sin(t)};
}

rv::AnnularSector2d<double> Annular(double inner, double outer, double start, double span) {
  return rv::AnnularSector2d<double>{inner, outer, start, span, rv::Point2d<double>{2, -1}};
}

TEST(IsPointInAnnularSector, RadialAndAngularLimits) {
  struct Case {
    const char* name;
    rv::AnnularSector2d<double> sector;
    rv::Point2d<double> point;
    int inside;
  };
  const std::vector<Case> cases = {
      {"between the circles", Annular(1, 3, 0, 90), Polar(2, 45), 1},
      {"on the inner circle", Annular(1, 3, 0, 90), rv::Point2d<double>{2, 0}, 1},
      {"on the outer circle", Annular(1, 3, 0, 90), rv::Point2d<double>{5, -1}, 1},
      {"inside the inner circle", Annular(1, 3, 0, 90), Polar(0.99, 45), 0},
      {"beyond the outer circle", Annular(1, 3, 0, 90), Polar(3.01, 45), 0},
      {"before the start", Annular(1, 3, 10, 90), Polar(2, 5), 0},
      {"past the end", Annular(1, 3, 10, 90), Polar(2, 101), 0},
      {"direction below the x axis", Annular(1, 3, 180, 120), Polar(2, -80), 1},
      {"negative span wraps: 315", Annular(1, 3, 45, -90), Polar(2, 316), 1},
      {"negative span wraps: 0", Annular(1, 3, 45, -90), Polar(2, 0), 1},
      {"negative span wraps: 44", Annular(1, 3, 45, -90), Polar(2, 44), 1},
      {"negative span wraps: outside", Annular(1, 3, 45, -90), Polar(2, 50), 0},
      {"negative span wraps: outside low", Annular(1, 3, 45, -90), Polar(2, 300), 0},
      {"start past 360", Annular(1, 3, 370, 20), Polar(2, 25), 1},
      {"negative start", Annular(1, 3, -30, 20), Polar(2, 340), 1},
      {"negative start, outside", Annular(1, 3, -30, 20), Polar(2, 5), 0},
      {"span 360 accepts every angle", Annular(1, 3, 123, 360), Polar(2, 100), 1},
      {"span -360 too", Annular(1, 3, 123, -360), Polar(2, 100), 1},
      {"span 360 keeps the radial test", Annular(1, 3, 0, 360), Polar(4, 100), 0},
      {"unset span", Annular(1, 3, 0, kNull), Polar(2, 200), 1},
      {"unset start counts as 0", Annular(1, 3, kNull, 30), Polar(2, 20), 1},
      {"unset inner radius", Annular(kNull, 3, 0, 360), Polar(0.1, 20), 1},
      {"unset outer radius", Annular(1, kNull, 0, 360), Polar(1e6, 20), 1},
      {"zero inner radius holds the centre", Annular(0, 3, 0, 360), rv::Point2d<double>{2, -1}, 1},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(rv::IsPointInAnnularSector(c.sector, c.point), c.inside) << c.name;
    // The XZ form is the same test with z in place of y.
    const rv::AnnularSectorXZ<double> xz{c.sector.innerRadius, c.sector.outerRadius,
                                         c.sector.startAngle, c.sector.angleSpan,
                                         rv::PointXZ<double>{2, -1}};
    EXPECT_EQ(rv::IsPointInAnnularSector(xz, rv::PointXZ<double>{c.point.x, c.point.y}), c.inside)
        << c.name;
  }
}

TEST(IsPointInAnnularSector, SpaceFormChecksTheHeightOnRequest) {
  const rv::AnnularSector3d<double> sector{1, 3, 0, 90, 4, rv::Point3d<double>{2, -1, 10}};
  const rv::Point2d<double> p = Polar(2, 45);
  EXPECT_EQ(rv::IsPointInAnnularSector(sector, rv::Point3d<double>{p.x, p.y, 12}, 1), 1);
  EXPECT_EQ(rv::IsPointInAnnularSector(sector, rv::Point3d<double>{p.x, p.y, 8}, 1), 1);
  EXPECT_EQ(rv::IsPointInAnnularSector(sector, rv::Point3d<double>{p.x, p.y, 12.01}, 1), 0);
  EXPECT_EQ(rv::IsPointInAnnularSector(sector, rv::Point3d<double>{p.x, p.y, 7.99}, 1), 0);
  EXPECT_EQ(rv::IsPointInAnnularSector(sector, rv::Point3d<double>{p.x, p.y, 100}, 0), 1);
  const rv::Point2d<double> q = Polar(2, 135);
  EXPECT_EQ(rv::IsPointInAnnularSector(sector, rv::Point3d<double>{q.x, q.y, 10}, 1), 0);
}

// The elliptical test against its definition: turn the offset into the sector's frame, compare
// the ellipse equations, then the direction in that frame.
int ReferenceElliptical(const rv::EllipticalSector2d<double>& s, const rv::Point2d<double>& p) {
  const double t = s.angle * M_PI / 180;
  const double dx = p.x - s.center.x, dy = p.y - s.center.y;
  const double u = std::cos(t) * dx + std::sin(t) * dy;  // along the sector's own x axis
  const double v = -std::sin(t) * dx + std::cos(t) * dy;
  const auto ratio = [&](double width, double length) {
    return (u / (width / 2)) * (u / (width / 2)) + (v / (length / 2)) * (v / (length / 2));
  };
  if (ratio(s.innerWidth, s.innerLength) < 1 || ratio(s.outerWidth, s.outerLength) > 1) return 0;
  double theta = std::atan2(v, u) * 180 / M_PI;
  if (theta < 0) theta += 360;
  double start = s.startAngle, span = s.angleSpan;
  if (span < 0) start += span, span = -span;
  for (double k = -720; k <= 720; k += 360) {
    if (theta + k >= start && theta + k <= start + span) return 1;
  }
  return 0;
}

TEST(IsPointInEllipticalSector, AgreesWithTheDefinitionOnRandomPoints) {
  std::mt19937 random(9);
  std::uniform_real_distribution<double> coordinate(-12, 12);
  const std::vector<rv::EllipticalSector2d<double>> sectors = {
      {2, 4, 10, 16, 0, 360, {1, 1}, 0},     {2, 4, 10, 16, 30, 100, {1, 1}, 25},
      {6, 2, 12, 8, 300, 120, {-2, 3}, -70}, {0, 0, 20, 10, 45, -90, {0, 0}, 180},
      {4, 4, 10, 10, -100, 50, {0, 0}, 400},
  };
  for (size_t k = 0; k < sectors.size(); ++k) {
    int inside = 0;
    for (int i = 0; i < 3000; ++i) {
      const rv::Point2d<double> p{coordinate(random), coordinate(random)};
      const int expected = ReferenceElliptical(sectors[k], p);
      ASSERT_EQ(rv::IsPointInEllipticalSector(sectors[k], p), expected)
          << "sector " << k << " point " << p.x << ", " << p.y;
      inside += expected;
    }
    EXPECT_GT(inside, 20) << "sector " << k << " is reached by the sample";
  }
}

// Turned by 90 degrees: the width (own x) lies along world y, and own angle 0 points to +y. The
// XZ form reads z for y and the height for the length; the 3D form takes angleZ as the turn.
TEST(IsPointInEllipticalSector, AxesAndAnglesAreInTheSectorsOwnFrame) {
  const rv::EllipticalSector2d<double> s{2, 2, 4, 8, -10, 20, {0, 0}, 90};
  const rv::EllipticalSectorXZ<double> xz{2, 2, 4, 8, -10, 20, {0, 0}, 90};
  const rv::EllipticalSector3d<double> s3{2, 2, 4, 8, -10, 20, 2, {0, 0, 5}, 0, 0, 90};
  const struct {
    const char* name;
    rv::Point2d<double> p;
    int inside;
  } cases[] = {{"inside", {0, 3.9}, 1},           {"on the outer", {0, 4}, 1},
               {"beyond the outer", {0, 4.1}, 0}, {"own -y side", {3.9, 0}, 0},
               {"on the inner", {0, 1}, 1},       {"within the inner", {0, 0.9}, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(rv::IsPointInEllipticalSector(s, c.p), c.inside) << c.name;
    EXPECT_EQ(rv::IsPointInEllipticalSector(xz, rv::PointXZ<double>{c.p.x, c.p.y}), c.inside)
        << c.name;
    EXPECT_EQ(rv::IsPointInEllipticalSector(s3, rv::Point3d<double>{c.p.x, c.p.y, 5}, 1), c.inside)
        << c.name;
  }
  // The height of the 3D form (5 +- 1) counts only on request.
  EXPECT_EQ(rv::IsPointInEllipticalSector(s3, rv::Point3d<double>{0, 3.9, 6}, 1), 1);
  EXPECT_EQ(rv::IsPointInEllipticalSector(s3, rv::Point3d<double>{0, 3.9, 6.5}, 1), 0);
  EXPECT_EQ(rv::IsPointInEllipticalSector(s3, rv::Point3d<double>{0, 3.9, 6.5}, 0), 1);
  // Unset turn counts as 0.
  const rv::EllipticalSector2d<double> plain{2, 2, 4, 8, -10, 20, {0, 0}, kNull};
  EXPECT_EQ(rv::IsPointInEllipticalSector(plain, rv::Point2d<double>{3.9, 0}), 1);
}

}  // namespace
