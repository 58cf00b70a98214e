#include <RoVision/Fitting/MinimumCircles.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zArrayList.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "FittingTestSupport.h"

namespace rv = Ro::Vision;

namespace {

using rotest::kPi;
// Brute forces build their circles from the same double arithmetic: agreement to rounding.
constexpr double kExact = 1e-12;
// Circles rebuilt through projections into a fitted plane lose a few digits to the eigenvectors.
constexpr double kProjected = 1e-9;
// OpenCV's enclosing circle is computed in single precision.
constexpr double kSingle = 2e-6;

using Points = std::vector<zPoint64f>;

Points RandomPoints(int count, unsigned seed, double spread = 10) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> u(-spread, spread);
  Points points(static_cast<std::size_t>(count), zPoint64f{0, 0});
  for (zPoint64f& p : points) p = {u(random), u(random)};
  return points;
}

// Points on r(t) = radius + lobe * cos(3 t) about (cx, cy), t = 2 pi k / count (count a multiple
// of 6 so that every crest and every trough is sampled). By symmetry all three reference circles
// are centred at (cx, cy): MCC radius + lobe, MIC radius - lobe, minimum zone between them.
Points Trilobe(double cx, double cy, double radius, double lobe, int count) {
  Points points;
  for (int k = 0; k < count; ++k) {
    const double t = 2 * kPi * k / count, r = radius + lobe * std::cos(3 * t);
    points.push_back({cx + r * std::cos(t), cy + r * std::sin(t)});
  }
  return points;
}

double Dist(const zPoint64f& a, const zPoint64f& b) {
  return std::hypot(a.x - b.x, a.y - b.y);
}

struct Circle {
  zPoint64f center{0, 0};
  double radius = HUGE_VAL;
};

void ExpectCircle(const Circle& c, double x, double y, double r, double radiusTolerance,
                  double centreTolerance, const std::string& what = "") {
  rotest::ExpectCircle(c.center, c.radius, x, y, r, radiusTolerance, centreTolerance, what);
}

bool Encloses(const Points& pts, const zPoint64f& c, double r) {
  for (const zPoint64f& p : pts) {
    if (Dist(p, c) > r * (1 + 1e-12)) return false;
  }
  return true;
}

bool Circumcentre(const zPoint64f& a, const zPoint64f& b, const zPoint64f& c, zPoint64f& out) {
  const double bx = b.x - a.x, by = b.y - a.y, cx = c.x - a.x, cy = c.y - a.y;
  const double d = 2 * (bx * cy - by * cx);
  if (d == 0) return false;
  const double b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
  out = {a.x + (cy * b2 - by * c2) / d, a.y + (bx * c2 - cx * b2) / d};
  return true;
}

// The smallest enclosing circle over all pairs and triples.
Circle BruteMcc(const Points& pts) {
  Circle best;
  const std::size_t n = pts.size();
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) {
      const zPoint64f m{(pts[i].x + pts[j].x) / 2, (pts[i].y + pts[j].y) / 2};
      const double r = Dist(m, pts[i]);
      if (r < best.radius && Encloses(pts, m, r)) best = {m, r};
      for (std::size_t k = j + 1; k < n; ++k) {
        zPoint64f c;
        if (!Circumcentre(pts[i], pts[j], pts[k], c)) continue;
        const double rc = Dist(c, pts[i]);
        if (rc < best.radius && Encloses(pts, c, rc)) best = {c, rc};
      }
    }
  }
  return best;
}

Circle FitMcc(const Points& pts) {
  Circle out;
  rv::FitCircle_MCC(pts.data(), nullptr, pts.size(), out.center, out.radius);
  return out;
}

Circle FitMic(const Points& pts) {
  Circle out;
  rv::FitCircle_MIC(pts.data(), nullptr, pts.size(), out.center, out.radius);
  return out;
}

TEST(FitCircleMcc, EqualsBruteForceOnRandomSets) {
  for (int n : {2, 3, 4, 5, 10, 50, 200}) {
    for (unsigned seed = 1; seed <= 4; ++seed) {
      const Points pts = RandomPoints(n, seed * 31 + unsigned(n));
      const Circle brute = BruteMcc(pts);
      ExpectCircle(FitMcc(pts), brute.center.x, brute.center.y, brute.radius, kExact * brute.radius,
                   kExact * 10, std::to_string(n) + " points, seed " + std::to_string(seed));
    }
  }
}

TEST(FitCircleMcc, AgreesWithOpenCvOnWellSpreadSets) {
  for (unsigned seed = 1; seed <= 5; ++seed) {
    const Points pts = RandomPoints(1000, seed, 100);
    std::vector<cv::Point2f> cvPts;
    for (const zPoint64f& p : pts) cvPts.emplace_back(float(p.x), float(p.y));
    cv::Point2f c;
    float r;
    cv::minEnclosingCircle(cvPts, c, r);
    ExpectCircle(FitMcc(pts), c.x, c.y, r, kSingle * r, kSingle * 100);
  }
}

// The inputs that have broken other enclosing-circle codes, each with its known circle.
TEST(FitCircleMcc, HardCases) {
  struct Case {
    const char* name;
    Points points;
    zPoint64f center;
    double radius;
  };
  // Near duplicates: a cloud of copies within 1e-14 of two points.
  Points duplicates;
  for (int i = 0; i < 50; ++i) {
    duplicates.insert(duplicates.end(), {{-1 + i * 1e-16, 0}, {1 - i * 1e-16, i * 1e-16}});
  }
  const Case cases[] = {
      // The middle point lies 1e-12 off the chord; the circle is the diametral one.
      {"nearly collinear", {{0, 0}, {1, 1e-12}, {2, 0}}, {1, 0}, 1},
      {"collinear", {{0, 0}, {3, 3}, {1, 1}, {2, 2}}, {1.5, 1.5}, 1.5 * std::sqrt(2.0)},
      {"near duplicates", duplicates, {0, 0}, 1},
      // Every triple gives the same circle.
      {"cocircular", Trilobe(3, -2, 5, 0, 360), {3, -2}, 5},
      // The digits live in the last places of the coordinates.
      {"far and tiny", Trilobe(1e6, 1e6, 1e-3, 0, 60), {1e6, 1e6}, 1e-3},
  };
  for (const Case& c : cases) {
    // The model's own points are rounded to the coordinates' last place (1.2e-10 at 1e6).
    const double rounding = 4 * std::max(std::fabs(c.center.x), 1.0) * DBL_EPSILON;
    const double tolerance = 1e-9 * c.radius + rounding;
    const Circle fit = FitMcc(c.points);
    ExpectCircle(fit, c.center.x, c.center.y, c.radius, tolerance, tolerance, c.name);
    if (c.points.size() <= 100) {
      EXPECT_NEAR(fit.radius, BruteMcc(c.points).radius, 1e-12 * c.radius + rounding) << c.name;
    }
    for (const zPoint64f& p : c.points) EXPECT_LE(Dist(p, fit.center), fit.radius) << c.name;
  }
}

TEST(FitCircleMcc, MillionPointsAllInsideAndDeterministic) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> angle(0, 2 * kPi), unit(0, 1);
  Points pts(1000000);
  for (zPoint64f& p : pts) {
    const double t = angle(random), r = 50 * std::sqrt(unit(random));
    p = {12 + r * std::cos(t), -7 + r * std::sin(t)};
  }
  pts[17] = {12 + 50, -7};  // the disc's boundary is reached at three known places
  pts[99] = {12 - 25, -7 + 25 * std::sqrt(3.0)};
  pts[500000] = {12 - 25, -7 - 25 * std::sqrt(3.0)};
  const Circle fit = FitMcc(pts);
  ExpectCircle(fit, 12, -7, 50, 1e-12 * 62, 1e-12 * 62);
  for (const zPoint64f& p : pts) ASSERT_LE(Dist(p, fit.center), fit.radius);
  const Circle again = FitMcc(pts);
  EXPECT_EQ(again.radius, fit.radius);
  EXPECT_EQ(again.center.x, fit.center.x);
}

TEST(FitCircleMcc, FormsAndMaskAgree) {
  const Points pts = RandomPoints(40, 3);
  std::vector<int> mask(pts.size(), 0);
  Points kept;
  std::vector<double> xs, ys;
  std::vector<rv::Point2d<double>> records;
  for (std::size_t i = 0; i < pts.size(); ++i) {
    mask[i] = i % 3 == 0;  // non-zero excludes, as in the line fits
    if (!mask[i]) kept.push_back(pts[i]);
    xs.push_back(pts[i].x);
    ys.push_back(pts[i].y);
    records.push_back({pts[i].x, pts[i].y});
  }
  const Circle expected = FitMcc(kept);
  Circle a, b, c, d;
  rv::FitCircle_MCC(pts.data(), mask.data(), pts.size(), a.center, a.radius);
  rv::FitCircle_MCC(xs.data(), ys.data(), mask.data(), pts.size(), b.center, b.radius);
  rv::FitCircle_MCC(records.data(), mask.data(), pts.size(), c.center, c.radius);
  Ty::Object<void*> list;
  ASSERT_EQ(zArrayList_Construct(list.Address(), zTypeOf(zPoint64f), 0, nullptr), zOK);
  ASSERT_EQ(zArrayList_AppendN(list, pts.data(), pts.size()), zOK);
  rv::FitCircle_MCC(list, mask.data(), d.center, d.radius);
  for (const Circle& m : {a, b, c, d}) {
    EXPECT_NEAR(m.radius, expected.radius, kExact * expected.radius);
    EXPECT_NEAR(m.center.x, expected.center.x, kExact * 10);
  }
}

// ---- Maximum inscribed circle

Points Hull(const Points& pts) {
  std::vector<cv::Point2f> f, h;
  for (const zPoint64f& p : pts) f.emplace_back(float(p.x), float(p.y));
  cv::convexHull(f, h);
  Points hull;
  for (const cv::Point2f& p : h) hull.push_back({p.x, p.y});
  return hull;
}

bool InConvex(const Points& hull, const zPoint64f& p) {
  int sign = 0;
  for (std::size_t i = 0; i < hull.size(); ++i) {
    const zPoint64f& a = hull[i];
    const zPoint64f& b = hull[(i + 1) % hull.size()];
    const double cr = (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
    const int s = cr > 1e-9 ? 1 : cr < -1e-9 ? -1 : 0;  // on an edge counts as inside
    if (s != 0 && sign != 0 && s != sign) return false;
    if (s != 0) sign = s;
  }
  return true;
}

TEST(FitCircleMic, EqualsGridSearchOnSmallSets) {
  constexpr int kGrid = 800;
  for (unsigned seed = 1; seed <= 6; ++seed) {
    // Integer coordinates: the float hull of the brute force is exact.
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> u(-50, 50);
    Points pts(8 + seed);
    for (zPoint64f& p : pts) p = {double(u(random)), double(u(random))};
    const Points hull = Hull(pts);
    double best = 0;
    const double step = 100.0 / kGrid;
    for (int i = 0; i <= kGrid; ++i) {
      for (int j = 0; j <= kGrid; ++j) {
        const zPoint64f c{-50 + i * step, -50 + j * step};
        if (!InConvex(hull, c)) continue;
        double nearest = HUGE_VAL;
        for (const zPoint64f& p : pts) nearest = std::min(nearest, Dist(p, c));
        best = std::max(best, nearest);
      }
    }
    const Circle fit = FitMic(pts);
    EXPECT_TRUE(InConvex(hull, fit.center)) << "seed " << seed;
    EXPECT_GE(fit.radius, best - 1e-9) << "seed " << seed;
    EXPECT_LE(fit.radius, best + step * std::sqrt(0.5)) << "seed " << seed;
    for (const zPoint64f& p : pts) EXPECT_GE(Dist(p, fit.center), fit.radius * (1 - 1e-12));
  }
}

TEST(FitCircleMic, KnownShapes) {
  struct Case {
    std::string name;
    Points points;
    double cx, cy, radius, radiusTolerance, centreTolerance;
  };
  std::vector<Case> cases;
  // The polygon's vertices are the points: the largest empty circle centred in the hull is the
  // circumcircle of the vertices (radius 2), since every vertex lies on it.
  for (int sides : {3, 4, 5, 6, 12, 100}) {
    Points pts;
    for (int k = 0; k < sides; ++k) {
      pts.push_back({1 + 2 * std::cos(2 * kPi * k / sides), 3 + 2 * std::sin(2 * kPi * k / sides)});
    }
    cases.push_back({std::to_string(sides) + " sides", pts, 1, 3, 2, kExact * 10, 1e-9});
  }
  // Points sampled densely along the edges of a regular hexagon of circumradius 2: the inscribed
  // circle of the polygon, radius 2 cos(30 deg), touches every edge at its middle.
  Points edges;
  constexpr int kPerEdge = 60;  // the middle of every edge is a sample
  for (int k = 0; k < 6; ++k) {
    const double a0 = 2 * kPi * k / 6, a1 = 2 * kPi * (k + 1) / 6;
    for (int i = 0; i < kPerEdge; ++i) {
      const double t = double(i) / kPerEdge;
      edges.push_back({2 * ((1 - t) * std::cos(a0) + t * std::cos(a1)),
                       2 * ((1 - t) * std::sin(a0) + t * std::sin(a1))});
    }
  }
  cases.push_back({"hexagon edges", edges, 0, 0, 2 * std::cos(kPi / 6), kExact * 10, 1e-9});
  // A right triangle: the circumcentre is the middle of the hypotenuse, on the hull.
  cases.push_back({"right triangle", {{0, 0}, {8, 0}, {0, 6}}, 4, 3, 5, kExact * 5, kExact * 5});
  for (const Case& c : cases) {
    ExpectCircle(FitMic(c.points), c.cx, c.cy, c.radius, c.radiusTolerance, c.centreTolerance,
                 c.name);
  }
  // An obtuse triangle: the circumcentre (5, -12) is outside; the best centres are where the
  // hull edge (0,0)-(10,0) meets the bisectors of (5,1) with either end: (2.6, 0) or (7.4, 0).
  const Circle o = FitMic({{0, 0}, {10, 0}, {5, 1}});
  EXPECT_NEAR(std::fabs(o.center.x - 5), 2.4, 1e-12);
  EXPECT_NEAR(o.center.y, 0, 1e-12);
  EXPECT_NEAR(o.radius, 2.6, 1e-12);
}

// ---- Minimum zone

struct Mzc {
  zPoint64f center;
  double inner, outer, roundness;
};

Mzc FitMzc(const Points& pts) {
  Mzc out{};
  rv::FitCircle_MZC(pts.data(), nullptr, pts.size(), out.center, out.inner, out.outer,
                    out.roundness);
  return out;
}

double Separation(const Points& pts, const zPoint64f& c) {
  double lo = HUGE_VAL, hi = 0;
  for (const zPoint64f& p : pts) {
    lo = std::min(lo, Dist(p, c));
    hi = std::max(hi, Dist(p, c));
  }
  return hi - lo;
}

bool Bisectors(const zPoint64f& a, const zPoint64f& b, const zPoint64f& c, const zPoint64f& d,
               zPoint64f& out) {
  const double a11 = 2 * (b.x - a.x), a12 = 2 * (b.y - a.y);
  const double a21 = 2 * (d.x - c.x), a22 = 2 * (d.y - c.y);
  const double r1 = b.x * b.x + b.y * b.y - a.x * a.x - a.y * a.y;
  const double r2 = d.x * d.x + d.y * d.y - c.x * c.x - c.y * c.y;
  const double det = a11 * a22 - a12 * a21;
  if (det == 0) return false;
  out = {(r1 * a22 - r2 * a12) / det, (a11 * r2 - a21 * r1) / det};
  return true;
}

// The minimum over every candidate centre: the crossings of all pairs of bisectors and the
// circumcentres of all triples.
double BruteRoundness(const Points& pts) {
  double best = HUGE_VAL;
  const std::size_t n = pts.size();
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = i + 1; j < n; ++j) {
      for (std::size_t k = 0; k < n; ++k) {
        for (std::size_t l = k + 1; l < n; ++l) {
          zPoint64f c;
          if (Bisectors(pts[i], pts[j], pts[k], pts[l], c))
            best = std::min(best, Separation(pts, c));
        }
      }
    }
  }
  return best;
}

TEST(FitCircleMzc, EqualsBruteForceOverCandidateCentres) {
  for (unsigned seed = 1; seed <= 8; ++seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> noise(0, 0.05);
    std::uniform_real_distribution<double> angle(0, 2 * kPi);
    Points pts;
    for (int k = 0; k < 10; ++k) {
      const double t = angle(random), r = 1 + noise(random);
      pts.push_back({2 + r * std::cos(t), -1 + r * std::sin(t)});
    }
    const Mzc fit = FitMzc(pts);
    EXPECT_NEAR(fit.roundness, BruteRoundness(pts), 1e-12) << "seed " << seed;
    EXPECT_NEAR(fit.roundness, Separation(pts, fit.center), 1e-12);
    EXPECT_NEAR(fit.outer - fit.inner, fit.roundness, 1e-15);
  }
}

TEST(FitCircleMzcMic, RecoverKnownTrilobe) {
  struct Case {
    double cx, cy, radius, lobe;
  } cases[] = {{0, 0, 10, 0.1}, {-3, 250, 40, 0.004}, {1e6, -1e6, 1e-3, 1e-6}};
  for (const Case& c : cases) {
    const Points pts = Trilobe(c.cx, c.cy, c.radius, c.lobe, 600);
    const double tolerance = 1e-9 * std::max(std::fabs(c.cx), c.radius);
    const Mzc z = FitMzc(pts);
    EXPECT_NEAR(z.center.x, c.cx, tolerance);
    EXPECT_NEAR(z.center.y, c.cy, tolerance);
    EXPECT_NEAR(z.inner, c.radius - c.lobe, tolerance);
    EXPECT_NEAR(z.outer, c.radius + c.lobe, tolerance);
    EXPECT_NEAR(z.roundness, 2 * c.lobe, tolerance);
    ExpectCircle(FitMic(pts), c.cx, c.cy, c.radius - c.lobe, tolerance, tolerance, "MIC");
    ExpectCircle(FitMcc(pts), c.cx, c.cy, c.radius + c.lobe, tolerance, tolerance, "MCC");
  }
}

// ---- 3D forms

TEST(FitCircle3d, TiltedRimIsFittedInItsPlane) {
  // The trilobe in a plane tilted about a skew axis, moved to (5, -4, 30).
  const double ax = 0.3, ay = -0.5;  // tilt angles in radians
  const zPoint3d64f n0{std::sin(ay) * std::cos(ax), -std::sin(ax), std::cos(ay) * std::cos(ax)};
  zPoint3d64f u{std::cos(ay), 0, -std::sin(ay)};
  zPoint3d64f v{n0.y * u.z - n0.z * u.y, n0.z * u.x - n0.x * u.z, n0.x * u.y - n0.y * u.x};
  std::vector<zPoint3d64f> pts;
  for (const zPoint64f& p : Trilobe(0, 0, 8, 0.05, 120)) {
    pts.push_back(
        {5 + p.x * u.x + p.y * v.x, -4 + p.x * u.y + p.y * v.y, 30 + p.x * u.z + p.y * v.z});
  }
  zPoint3d64f c, n;
  double r, inner, outer, roundness;
  rv::FitCircle_MCC(pts.data(), nullptr, pts.size(), c, r, n);
  EXPECT_NEAR(r, 8.05, kProjected);
  rotest::ExpectNear3(c, 5, -4, 30, kProjected, "MCC centre");
  rotest::ExpectNear3(n, n0.x, n0.y, n0.z, kProjected, "MCC normal");
  rv::FitCircle_MIC(pts.data(), nullptr, pts.size(), c, r, n);
  EXPECT_NEAR(r, 7.95, kProjected);
  EXPECT_NEAR(c.z, 30, kProjected);
  rv::FitCircle_MZC(pts.data(), nullptr, pts.size(), c, inner, outer, roundness, n);
  EXPECT_NEAR(roundness, 0.1, kProjected);
  EXPECT_NEAR(c.x, 5, kProjected);
}

// ---- Bad input

TEST(FitCircleMinimum, BadInputAborts) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Points two{{1, 1}, {2, 2}}, line{{0, 0}, {1, 1}, {2, 2}, {5, 5}};
  const Points withNan{{0, 0}, {1, nan}, {2, 0}}, withInf{{0, 0}, {inf, 1}, {2, 0}};
  const std::vector<zPoint3d64f> three{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  const zPoint64f* noPoints = nullptr;
  const int all[] = {1, 1};  // all points masked: too few
  Ty::Object<void*> list;
  ASSERT_EQ(zArrayList_Construct(list.Address(), zTypeOf(zPoint3d64f), 0, nullptr), zOK);
  zPoint64f c{0, 0};
  zPoint3d64f c3, n3;
  double r = 0, inner = 0, outer = 0, round = 0;
  const char* mcc = "Ro::Vision::FitCircle_MCC";
  const char* mic = "Ro::Vision::FitCircle_MIC";
  const char* mzc = "Ro::Vision::FitCircle_MZC";
  struct Case {
    const char* name;
    const char* function;
    std::function<void()> fit;
    std::vector<double*> nulled = {};  // outputs that must be null after the throw
  };
  const Case cases[] = {
      {"one point", mcc, [&] { rv::FitCircle_MCC(two.data(), nullptr, 1, c, r); }, {&r, &c.x}},
      {"null run", mcc, [&] { rv::FitCircle_MCC(noPoints, nullptr, 5, c, r); }},
      {"NaN", mcc, [&] { rv::FitCircle_MCC(withNan.data(), nullptr, 3, c, r); }},
      {"infinity", mcc, [&] { rv::FitCircle_MCC(withInf.data(), nullptr, 3, c, r); }},
      {"all masked", mcc, [&] { rv::FitCircle_MCC(two.data(), all, 2, c, r); }},
      {"list of 3D points", mcc, [&] { rv::FitCircle_MCC(list, nullptr, c, r); }},
      {"MIC two points", mic, [&] { rv::FitCircle_MIC(two.data(), nullptr, 2, c, r); }},
      {"MIC collinear", mic, [&] { rv::FitCircle_MIC(line.data(), nullptr, 4, c, r); }, {&r}},
      {"MIC NaN", mic, [&] { rv::FitCircle_MIC(withNan.data(), nullptr, 3, c, r); }},
      {"MIC null list", mic,
       [&] { rv::FitCircle_MIC(static_cast<void*>(nullptr), nullptr, c, r); }},
      {"MZC collinear",
       mzc,
       [&] { rv::FitCircle_MZC(line.data(), nullptr, 4, c, inner, outer, round); },
       {&round}},
      {"MZC null runs", mzc,
       [&] { rv::FitCircle_MZC(nullptr, nullptr, nullptr, 3, c, inner, outer, round); }},
      {"3D three points",
       mcc,
       [&] { rv::FitCircle_MCC(three.data(), nullptr, 3, c3, r, n3); },
       {&n3.z}},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    for (double* out : k.nulled) *out = 0;
    EXPECT_TY_THROW(k.fit(), -988, k.function);
    for (double* out : k.nulled) EXPECT_EQ(*out, -DBL_MAX);
  }
  // A masked NaN is not used; two points give the diametral circle.
  const int mask[] = {0, 1, 0};
  rv::FitCircle_MCC(withNan.data(), mask, 3, c, r);
  EXPECT_DOUBLE_EQ(r, 1);
  rv::FitCircle_MCC(two.data(), nullptr, 2, c, r);
  EXPECT_DOUBLE_EQ(r, std::sqrt(0.5));
}

}  // namespace
