#include <RoVision/Fitting/EllipseFit.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = -DBL_MAX;
constexpr double kPi = 3.14159265358979323846;
constexpr double kRad = kPi / 180;
// Exact conic points: axes and angle come back to rounding of the normal equations.
constexpr double kExact = 1e-7;

struct Ellipse {
  double cx, cy, a, b, phi;  // phi: major axis, degrees counter-clockwise from +X (y up)
};

struct Samples {
  std::vector<double> x, y;
};

Samples Sample(const Ellipse& e, int count, double sigma, unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0, sigma);
  Samples s;
  for (int i = 0; i < count; ++i) {
    const double t = 2 * kPi * i / count;
    const double u = e.a * std::cos(t), v = e.b * std::sin(t);
    s.x.push_back(e.cx + u * std::cos(e.phi * kRad) - v * std::sin(e.phi * kRad) + noise(random));
    s.y.push_back(e.cy + u * std::sin(e.phi * kRad) + v * std::cos(e.phi * kRad) + noise(random));
  }
  return s;
}

struct Result {
  int status = 7;
  double cx = 0, cy = 0;
  double major = 7, minor = 7, mean = 7, flattening = 7, angle = 7, sigma = 7;
};

Result Fit(Samples s, double cx, double cy, int fixCenter, int fixAngle = 0, int fixRatio = 0,
           double angle = 0, double flattening = 0) {
  Result r;
  r.cx = cx;
  r.cy = cy;
  r.angle = angle;
  r.flattening = flattening;
  r.status =
      rv::FitEllipse(s.x.data(), s.y.data(), int(s.x.size()), &r.cx, &r.cy, fixCenter, fixAngle,
                     fixRatio, &r.major, &r.minor, &r.mean, &r.flattening, &r.angle, &r.sigma);
  return r;
}

// |a - b| on a circle of `period` degrees.
double AngleGap(double a, double b, double period) {
  const double d = std::fmod(std::fabs(a - b), period);
  return std::min(d, period - d);
}

// The free form reports the major axis clockwise from +X: (-phi) modulo 180.
double FreeAngle(double phi) {
  return std::fmod(360 - phi, 180);
}

TEST(FitEllipseCore, NoisyEllipsesAgainstTruthAndOpenCv) {
  // 300 points with sigma 0.01 on axes of 12 and 5: the conic recovers the shape to about 0.01.
  constexpr double kNoisy = 0.01, kNoisyAngle = 0.1;
  for (double phi : {0.0, 30.0, 75.0, 120.0, 160.0}) {
    const Ellipse e{30, -20, 12, 5, phi};
    const Samples s = Sample(e, 300, 0.01, 4);
    // The fit starts from a centre that is off by a few units.
    const Result r = Fit(s, 27, -18, 0);
    ASSERT_EQ(r.status, 1) << phi;
    EXPECT_NEAR(r.cx, 30, kNoisy);
    EXPECT_NEAR(r.cy, -20, kNoisy);
    EXPECT_NEAR(r.major, 12, kNoisy);
    EXPECT_NEAR(r.minor, 5, kNoisy);
    EXPECT_NEAR(r.mean, std::sqrt(60), kNoisy);
    EXPECT_NEAR(r.flattening, 1 - 5.0 / 12, 1e-3);
    EXPECT_NEAR(r.angle, FreeAngle(phi), kNoisyAngle) << phi;
    EXPECT_LT(r.sigma, 0.01);

    // OpenCV on the same points: same axes and centre; its major axis direction is phi.
    std::vector<cv::Point2f> points;
    for (size_t i = 0; i < s.x.size(); ++i) points.emplace_back(float(s.x[i]), float(s.y[i]));
    const cv::RotatedRect cvEllipse = cv::fitEllipse(points);
    const bool widthIsMajor = cvEllipse.size.width >= cvEllipse.size.height;
    const double cvPhi = cvEllipse.angle + (widthIsMajor ? 0 : 90);
    EXPECT_NEAR(r.major, std::max(cvEllipse.size.width, cvEllipse.size.height) / 2, 0.01);
    EXPECT_NEAR(r.minor, std::min(cvEllipse.size.width, cvEllipse.size.height) / 2, 0.01);
    EXPECT_NEAR(r.cx, cvEllipse.center.x, 0.01);
    EXPECT_NEAR(r.cy, cvEllipse.center.y, 0.01);
    const double difference = std::fmod(r.angle + cvPhi + 720, 180);
    EXPECT_NEAR(std::min(difference, 180 - difference), 0, 0.1) << phi;
  }
}

TEST(FitEllipseCore, FixedCentreAngleAndRatio) {
  const Ellipse e{4, 2, 6, 3, 30};
  const Samples s = Sample(e, 100, 0, 1);
  // A centre kept as the true one, a kept angle, or a kept ratio: each recovers the axes. A kept
  // ratio's angle is measured as 90 - phi.
  const Result centred = Fit(s, 4, 2, 1), angled = Fit(s, 0, 0, 0, 1, 0, 150),
               ratio = Fit(s, 0, 0, 0, 0, 1, 0, 0.5);
  for (const Result& r : {centred, angled, ratio}) {
    ASSERT_EQ(r.status, 1);
    EXPECT_NEAR(r.major, 6, kExact);
    EXPECT_NEAR(r.minor, 3, kExact);
  }
  EXPECT_EQ(centred.cx, 4);
  EXPECT_EQ(centred.cy, 2);
  EXPECT_NEAR(centred.angle, 150, kExact);
  EXPECT_EQ(angled.angle, 150);
  EXPECT_EQ(ratio.flattening, 0.5);
  EXPECT_NEAR(ratio.angle, 60, kExact);
}

TEST(FitEllipseCore, FailureStatuses) {
  // An exact circle has no axis direction: -8 (integer points, so the sums are exact).
  Samples circle{{5, -5, 0, 0, 3, 3, -3, -3, 4, 4, -4, -4},
                 {0, 0, 5, -5, 4, -4, 4, -4, 3, -3, 3, -3}};
  EXPECT_EQ(Fit(circle, 0, 0, 0).status, -8);
  // Too few points for five unknowns: the system is singular (-1), or 0 with a fixed centre.
  Samples two = Sample({0, 0, 5, 2, 0}, 2, 0, 1);
  Result fewFree = Fit(two, 0, 0, 0);
  EXPECT_EQ(fewFree.status, -1);
  EXPECT_EQ(fewFree.major, 7);  // untouched
  EXPECT_EQ(Fit(two, 0, 0, 1).status, 0);
  // Points on a line (a degenerate conic) never give status 1.
  Samples line;
  for (int i = 0; i < 20; ++i) line.x.push_back(i), line.y.push_back(2 * i);
  EXPECT_NE(Fit(line, 0, 0, 0).status, 1);
  // Null pointers, no points and NaN coordinates: 0, nothing written.
  Samples s = Sample({0, 0, 5, 2, 10}, 30, 0, 1);
  Result r;
  EXPECT_EQ(rv::FitEllipse(nullptr, s.y.data(), 30, &r.cx, &r.cy, 0, 0, 0, &r.major, &r.minor,
                           &r.mean, &r.flattening, &r.angle, &r.sigma),
            0);
  EXPECT_EQ(rv::FitEllipse(s.x.data(), s.y.data(), 30, &r.cx, &r.cy, 0, 0, 0, nullptr, &r.minor,
                           &r.mean, &r.flattening, &r.angle, &r.sigma),
            0);
  EXPECT_EQ(Fit(Samples{}, 0, 0, 0).status, 0);
  s.x[3] = std::nan("");
  const Result withNaN = Fit(s, 0, 0, 0);
  EXPECT_EQ(withNaN.status, 0);
  EXPECT_EQ(withNaN.major, 7);
}

// A height map with a filled ellipse of the given world size and angle; heights are given by
// `height(u)` with u the world distance along the major axis from the centre.
template <class Height>
rv::Surface RasterEllipse(const Ellipse& e, Height height) {
  std::vector<std::vector<short>> heights(120, std::vector<short>(150));
  for (int r = 0; r < 120; ++r) {
    for (int c = 0; c < 150; ++c) {
      const double x = 5 + 0.1 * c - e.cx, y = -3 + 0.1 * r - e.cy;
      const double u = x * std::cos(e.phi * kRad) + y * std::sin(e.phi * kRad);
      const double v = -x * std::sin(e.phi * kRad) + y * std::cos(e.phi * kRad);
      const bool inside = (u * u) / (e.a * e.a) + (v * v) / (e.b * e.b) <= 1;
      heights[r][c] = inside ? short(height(u)) : short(-32768);
    }
  }
  return rotest::MakeSurface(heights, {5, -3, 2}, {0.1, 0.1, 0.01});
}

struct SurfaceResult {
  zPoint3d64f center, axes;
  double angle;
};

SurfaceResult FitSurface(const rv::Surface& s, int useHeights, int signedAngle,
                         void* mask = nullptr, rv::Rect2d<int> rect = {0, 0, 150, 120}) {
  SurfaceResult r{};
  rv::FitEllipse(s, rect, mask, useHeights, signedAngle, &r.center, &r.axes, &r.angle);
  return r;
}

TEST(FitEllipseSurface, FilledEllipsesGiveBackTheirAxesAndAngle) {
  // Cells of 0.1 on semi-axes of 4 and 2: rasterisation moves the moments by well under a cell.
  constexpr double kRaster = 0.03, kRasterAngle = 0.3;
  for (double phi : {0.0, 25.0, 90.0, 115.0, 170.0}) {
    const Ellipse e{12.03, 2.98, 4, 2, phi};
    const rv::Surface s = RasterEllipse(e, [](double) { return 100; });
    const SurfaceResult r = FitSurface(s, 0, 0);
    EXPECT_NEAR(r.center.x, 12.03, kRaster) << phi;
    EXPECT_NEAR(r.center.y, 2.98, kRaster) << phi;
    EXPECT_NEAR(r.axes.x, 4, kRaster) << phi;
    EXPECT_NEAR(r.axes.y, 2, kRaster) << phi;
    EXPECT_GE(r.angle, 0);
    EXPECT_LT(r.angle, 180);
    EXPECT_NEAR(AngleGap(r.angle, phi, 180), 0, kRasterAngle) << phi;
    EXPECT_EQ(r.center.z, 2 + 100 * 0.01);
    EXPECT_EQ(r.axes.z, 0);
    const SurfaceResult signedForm = FitSurface(s, 0, 1);
    EXPECT_GE(signedForm.angle, -90);
    EXPECT_LT(signedForm.angle, 90);
    EXPECT_NEAR(AngleGap(signedForm.angle, phi, 180), 0, kRasterAngle) << phi;
  }
}

TEST(FitEllipseSurface, HeightsGiveTheAxisADirection) {
  const Ellipse e{12, 3, 4, 2, 25};
  // Rising along +major: 25; falling: 205, or -155 in the signed form.
  const rv::Surface rising = RasterEllipse(e, [](double u) { return 1000 + 50 * u; });
  const rv::Surface falling = RasterEllipse(e, [](double u) { return 1000 - 50 * u; });
  EXPECT_NEAR(FitSurface(rising, 1, 0).angle, 25, 0.3);
  EXPECT_NEAR(FitSurface(rising, 1, 1).angle, 25, 0.3);
  EXPECT_NEAR(FitSurface(falling, 1, 0).angle, 205, 0.3);
  EXPECT_NEAR(FitSurface(falling, 1, 1).angle, -155, 0.3);
  EXPECT_NEAR(FitSurface(falling, 0, 0).angle, 25, 0.3);
  // Height outputs: the middle and the span of the height range.
  const SurfaceResult r = FitSurface(rising, 1, 0);
  EXPECT_NEAR(r.center.z, 2 + 1000 * 0.01, 0.01);
  EXPECT_NEAR(r.axes.z, 400 * 0.01, 0.02);
}

TEST(FitEllipseSurface, MaskAndEmptyRegions) {
  const Ellipse e{12, 3, 4, 2, 0};
  const rv::Surface s = RasterEllipse(e, [](double) { return 10; });
  // A mask that keeps the left half of the rectangle moves the centre left.
  std::vector<std::vector<unsigned char>> half(120, std::vector<unsigned char>(150, 0));
  for (auto& row : half) std::fill(row.begin(), row.begin() + 70, 1);  // X < 12
  auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), half);
  const SurfaceResult left = FitSurface(s, 0, 0, mask);
  EXPECT_LT(left.center.x, 12 - 1);
  // No valid cell: every output null.
  const SurfaceResult none = FitSurface(s, 0, 0, nullptr, {0, 0, 5, 5});
  EXPECT_EQ(none.center.x, kNull);
  EXPECT_EQ(none.axes.y, kNull);
  EXPECT_EQ(none.angle, kNull);
  EXPECT_TY_THROW(FitSurface(s, 0, 0, nullptr, {140, 0, 20, 5}), -997, "Ro::Vision::FitEllipse");
}

}  // namespace
