#include <RoVision/Fitting/CircleFit.h>
#include <RoVision/Fitting/FitPrivate.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>

#include "FittingTestSupport.h"

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <tuple>
#include <vector>

namespace rv = Ro::Vision;
using Point = rv::Point2d<double>;

namespace {

using rotest::ExpectCircle;
using rotest::ExpectNullCircle;
using rotest::kNullFit;
using rotest::kPi;
// Three-point and algebraic fits of exact points agree with the model to rounding.
constexpr double kExact = 1e-9;
// 200 points on a full circle of radius 20 with noise sigma 0.05: the centre and radius are
// known to about sigma / sqrt(n) * a few.
constexpr double kNoisy = 0.03;

std::vector<zPoint64f> NoisyCircle(double cx, double cy, double r, int count, double sigma,
                                   unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0, sigma);
  std::vector<zPoint64f> points;
  for (int i = 0; i < count; ++i) {
    const double t = 2 * kPi * i / count;
    const double rr = r + noise(random);
    points.push_back({cx + rr * std::cos(t), cy + rr * std::sin(t)});
  }
  return points;
}

std::vector<Point> AsPoints(const std::vector<zPoint64f>& points) {
  std::vector<Point> out;
  for (const auto& p : points) out.push_back(Point{p.x, p.y});
  return out;
}

TEST(FitCircleThreePoints, ExactAndCollinear) {
  Point center;
  double radius = 0;
  rv::FitCircleThreePoints(Point{5, 0}, Point{0, 5}, Point{-5, 0}, &center, &radius);
  ExpectCircle(center, radius, 0, 0, 5, kExact, kExact);
  // Far from the origin the determinant is large and the same circle comes back.
  rv::FitCircleThreePoints(Point{1e3 + 3, 2e3}, Point{1e3, 2e3 + 3}, Point{1e3, 2e3 - 3}, &center,
                           &radius);
  ExpectCircle(center, radius, 1e3, 2e3, 3, 1e-6, 1e-6);
  rv::FitCircleThreePoints(Point{0, 0}, Point{1, 1}, Point{2, 2}, &center, &radius);
  ExpectNullCircle(center, radius);
  rv::FitCircleThreePoints(Point{5, 0}, Point{0, 5}, Point{-5, 0}, nullptr, &radius);
  EXPECT_NEAR(radius, 5, kExact);
}

TEST(FitCircleAlgebraic, NoisyCircleAndDegenerateInput) {
  const auto points = AsPoints(NoisyCircle(-7, 12, 20, 200, 0.05, 1));
  Point center;
  double radius = 0;
  rv::FitCircleAlgebraic(points.data(), points.size(), &center, &radius);
  ExpectCircle(center, radius, -7, 12, 20, kNoisy, kNoisy);
  const std::vector<Point> line = {Point{0, 0}, Point{1, 1}, Point{2, 2}, Point{3, 3}};
  for (size_t count : {size_t(0), size_t(2), line.size()}) {
    rv::FitCircleAlgebraic(line.data(), count, &center, &radius);
    ExpectNullCircle(center, radius, std::to_string(count));
  }
  rv::FitCircleAlgebraic(nullptr, 5, &center, &radius);
  EXPECT_EQ(radius, kNullFit);
}

TEST(GetNRandomPoints, DistinctSubsetsAndBounds) {
  const auto points = AsPoints(NoisyCircle(0, 0, 1, 10, 0, 1));
  std::vector<Point> out(10);
  rv::GetNRandomPoints(points.data(), 10, out.data(), 10);
  for (size_t i = 0; i < 10; ++i) EXPECT_EQ(out[i].x, points[i].x);  // input order
  std::srand(3);
  std::set<double> seen;
  for (int trial = 0; trial < 200; ++trial) {
    rv::GetNRandomPoints(points.data(), 10, out.data(), 4);
    std::set<double> distinct;
    for (int k = 0; k < 4; ++k) {
      distinct.insert(out[k].x + 10 * out[k].y);
      seen.insert(out[k].x + 10 * out[k].y);
    }
    EXPECT_EQ(distinct.size(), 4u);
  }
  EXPECT_EQ(seen.size(), 10u);  // the first and the last index are reachable
  rotest::ExpectFailures(
      {{"more than there are", [&] { rv::GetNRandomPoints(points.data(), 3, out.data(), 4); }, -984,
        1662, "Ro::Vision::GetNRandomPoints"}});
  rv::GetNRandomPoints(points.data(), 3, out.data(), 0);  // returns instead of spinning
}

struct RltsResult {
  zPoint64f center{7, 7};
  double radius = 7;
  std::vector<int> flags;
};

RltsResult Rlts(const std::vector<zPoint64f>& points, double percent, unsigned seed,
                int useWeights) {
  RltsResult result;
  result.flags.assign(points.size(), 9);
  rv::FitCircleByRLTS(points.data(), points.size(), percent, result.center, result.radius,
                      result.flags.data(), &seed, useWeights);
  return result;
}

auto Outputs(const RltsResult& r) {
  return std::make_tuple(r.center.x, r.center.y, r.radius, r.flags);
}

// A circle with 30% of its points thrown far off: every third point, within +-60 of the centre.
std::vector<zPoint64f> CircleWithGrossOutliers(std::vector<bool>* isOutlier) {
  auto points = NoisyCircle(100, -40, 15, 300, 0.02, 2);
  std::mt19937 random(8);
  std::uniform_real_distribution<double> offset(-60, 60);
  isOutlier->assign(points.size(), false);
  for (size_t i = 0; i < points.size(); i += 10) {
    for (size_t k = i; k < i + 3; ++k) {
      points[k] = {100 + offset(random), -40 + offset(random)};
      // Keep the junk clear of the ring so that the truth is well defined.
      const double r = std::hypot(points[k].x - 100, points[k].y + 40);
      if (std::fabs(r - 15) < 2) points[k].x += 5;
      (*isOutlier)[k] = true;
    }
  }
  return points;
}

TEST(FitCircleByRLTS, RecoversTheCircleWithThirtyPercentGrossOutliers) {
  std::vector<bool> isOutlier;
  const auto points = CircleWithGrossOutliers(&isOutlier);
  for (int useWeights : {0, 1}) {
    const RltsResult result = Rlts(points, 30, 12345, useWeights);
    ExpectCircle(result.center, result.radius, 100, -40, 15, 0.01, 0.01,
                 "weights " + std::to_string(useWeights));
    for (size_t i = 0; i < points.size(); ++i) {
      EXPECT_EQ(result.flags[i], isOutlier[i] ? 1 : 0) << i << " weights " << useWeights;
    }
  }
}

TEST(FitCircleByRLTS, SameSeedSameResult) {
  std::vector<bool> isOutlier;
  auto points = CircleWithGrossOutliers(&isOutlier);
  // Near-outliers make the result depend on the draws.
  for (size_t i = 5; i < points.size(); i += 17) points[i].x += 0.3;
  const RltsResult first = Rlts(points, 40, 99, 1);
  std::srand(1);  // the generator is reseeded by the call, not continued
  const RltsResult second = Rlts(points, 40, 99, 1);
  EXPECT_EQ(Outputs(first), Outputs(second));
  // Above 80 percent the search is that of 80.
  EXPECT_EQ(Outputs(Rlts(points, 95, 5, 0)), Outputs(Rlts(points, 80, 5, 0)));
}

TEST(FitCircleByRLTS, SmallCountsAndPlainFit) {
  auto points = NoisyCircle(3, 4, 5, 40, 0.1, 6);
  // Two points: null circle, flags untouched.
  RltsResult two = Rlts({points[0], points[1]}, 20, 1, 0);
  ExpectNullCircle(two.center, two.radius);
  EXPECT_EQ(two.flags, std::vector<int>(2, 9));
  // Three points: the circle through them, flags untouched; collinear: null.
  const std::vector<zPoint64f> three = {{8, 4}, {3, 9}, {-2, 4}};
  RltsResult exact = Rlts(three, 20, 1, 0);
  ExpectCircle(exact.center, exact.radius, 3, 4, 5, kExact, kExact);
  EXPECT_EQ(exact.flags, std::vector<int>(3, 9));
  EXPECT_EQ(Rlts({{0, 0}, {1, 1}, {2, 2}}, 20, 1, 0).radius, kNullFit);
  // Zero percent: the algebraic fit over everything, all flags 0.
  points[0].x += 50;
  RltsResult plain = Rlts(points, 0, 1, 0);
  Point center;
  double radius;
  const auto asPoints = AsPoints(points);
  rv::FitCircleAlgebraic(asPoints.data(), asPoints.size(), &center, &radius);
  EXPECT_EQ(Outputs(plain),
            std::make_tuple(center.x, center.y, radius, std::vector<int>(points.size(), 0)));
}

TEST(FitCircleByRLTS, BadInput) {
  zPoint64f center;
  double radius;
  EXPECT_TY_THROW(rv::FitCircleByRLTS(nullptr, 10, 20, center, radius, nullptr, nullptr, 0), -997,
                  "Ro::Vision::FitCircleByRLTS");
  const auto points = NoisyCircle(0, 0, 5, 20, 0.01, 1);
  unsigned seed = 1;
  for (double percent : {-10.0, std::nan("")}) {
    EXPECT_TY_STATUS(rv::FitCircleByRLTS(points.data(), points.size(), percent, center, radius,
                                         nullptr, &seed, 0),
                     -997);
  }
  // NaN coordinates sort after every residual and end among the outliers.
  auto withNaN = NoisyCircle(0, 0, 5, 40, 0.01, 1);
  withNaN[7].x = std::numeric_limits<double>::quiet_NaN();
  const RltsResult result = Rlts(withNaN, 10, 3, 1);
  EXPECT_NEAR(result.radius, 5, 0.01);
  EXPECT_EQ(result.flags[7], 1);
  // All points on one line: no trial gives a circle, and the result stays null.
  std::vector<zPoint64f> line;
  for (int i = 0; i < 30; ++i) line.push_back({double(i), 2.0 * i});
  const RltsResult straight = Rlts(line, 20, 3, 0);
  ExpectNullCircle(straight.center, straight.radius);
}

}  // namespace
