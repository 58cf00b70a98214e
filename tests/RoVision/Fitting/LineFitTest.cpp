#include <RoVision/Fitting/LineFit.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = -DBL_MAX;
// Least squares over exact points agrees with the model to rounding.
constexpr double kExact = 1e-9;
// Slope / intercept recovered from 200 points with noise sigma 0.05 over x in [-50, 50].
constexpr double kNoisySlope = 2e-3;
constexpr double kNoisyIntercept = 2e-2;

std::vector<zPoint64f> NoisyLine(double slope, double intercept, int count, double sigma,
                                 unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0, sigma);
  std::vector<zPoint64f> points;
  for (int i = 0; i < count; ++i) {
    const double x = -50 + 100.0 * i / (count - 1);
    points.push_back({x, slope * x + intercept + noise(random)});
  }
  return points;
}

struct Line {
  double slope = 7, intercept = 7;
};

Line Fit(const std::vector<zPoint64f>& points, const int* mask = nullptr) {
  Line line;
  rv::FitLine(points.data(), mask, points.size(), &line.slope, &line.intercept);
  return line;
}

TEST(FitLine, AgreesWithOpenCvOnNoisyLines) {
  // cv::fitLine with DIST_L2 minimises perpendicular distances; for gentle slopes and small noise
  // that differs from the vertical regression by far less than the noise.
  for (double slope : {-0.8, -0.1, 0.0, 0.3, 0.9}) {
    const auto points = NoisyLine(slope, 4, 200, 0.05, 11);
    std::vector<cv::Point2f> cvPoints;
    for (const auto& p : points) cvPoints.emplace_back(float(p.x), float(p.y));
    cv::Vec4f cvLine;
    cv::fitLine(cvPoints, cvLine, cv::DIST_L2, 0, 0.01, 0.01);
    const double cvSlope = cvLine[1] / cvLine[0];
    const double cvIntercept = cvLine[3] - cvSlope * cvLine[2];
    const Line line = Fit(points);
    EXPECT_NEAR(line.slope, cvSlope, 1e-3) << slope;
    EXPECT_NEAR(line.intercept, cvIntercept, 1e-2) << slope;
    EXPECT_NEAR(line.slope, slope, kNoisySlope);
    EXPECT_NEAR(line.intercept, 4, kNoisyIntercept);
  }
}

TEST(FitLine, ExactLines) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    const char* name;
    std::vector<zPoint64f> points;
    std::vector<int> mask;
    double slope, intercept, slopeTolerance, interceptTolerance;
  };
  std::vector<zPoint64f> steep;
  for (int i = 0; i < 20; ++i) steep.push_back({0.01 * i + 3, double(i)});
  const std::vector<zPoint64f> skipped = {{0, 1}, {1, 3}, {2, 100}, {kNull, 0}, {3, 7}, {nan, 1}};
  const Case cases[] = {
      // x = 0.01 y + 3: a regression of y on x would be badly conditioned; x on y is exact.
      {"steep", steep, {}, 100, -300, 1e-7, 1e-6},
      {"horizontal: Dy = 0 but Dx > 0", {{0, 3}, {1, 3}, {5, 3}}, {}, 0, 3, 0, 0},
      {"masked, null and NaN points skipped", skipped, {0, 0, 1, 0, 0, 0}, 2, 1, kExact, kExact},
  };
  for (const Case& c : cases) {
    const Line line = Fit(c.points, c.mask.empty() ? nullptr : c.mask.data());
    EXPECT_NEAR(line.slope, c.slope, c.slopeTolerance) << c.name;
    EXPECT_NEAR(line.intercept, c.intercept, c.interceptTolerance) << c.name;
  }
}

TEST(FitLine, DegenerateSets) {
  // Vertical: Dx = 0, Cxy = 0, so the unguarded x-on-y branch divides by zero.
  EXPECT_EQ(std::fabs(Fit({{2, 1}, {2, 5}}).slope), std::numeric_limits<double>::infinity());
  // All equal, none, all masked, all null or NaN: the null line.
  const std::vector<zPoint64f> same = {{1, 1}, {1, 1}, {1, 1}};
  const int allMasked[] = {1, -1, 5};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Line& line : {Fit(same), Fit({}), Fit({{0, 0}, {1, 1}, {2, 2}}, allMasked),
                           Fit({{kNull, 1}, {2, kNull}, {nan, 3}, {4, nan}})}) {
    EXPECT_EQ(line.slope, kNull);
    EXPECT_EQ(line.intercept, kNull);
  }
  Line fromNull;
  rv::FitLine(nullptr, nullptr, 5, &fromNull.slope, &fromNull.intercept);
  EXPECT_EQ(fromNull.slope, kNull);
  rv::FitLine(same.data(), nullptr, 3, nullptr, nullptr);  // nothing to write, no crash
}

class FitLineIterativeTest : public rotest::LeakCheckedTest {};

TEST_F(FitLineIterativeTest, RemovesGrossOutliersFirst) {
  auto points = NoisyLine(0.5, -2, 100, 0.02, 5);
  const std::vector<size_t> bad = {3, 40, 77};
  for (size_t i : bad) points[i].y += 30;
  Line line;
  void* outliers = nullptr;
  rv::FitLineIterative(points.data(), points.size(), 3, &line.slope, &line.intercept, &outliers,
                       alloc_);
  ASSERT_NE(outliers, nullptr);
  ASSERT_EQ(zArrayList_Count(outliers), points.size());
  const zBool* flags = static_cast<const zBool*>(zArrayList_Data(outliers));
  for (size_t i = 0; i < points.size(); ++i) {
    const bool expected = std::find(bad.begin(), bad.end(), i) != bad.end();
    EXPECT_EQ(flags[i], expected ? 1 : 0) << i;
  }
  EXPECT_NEAR(line.slope, 0.5, 1e-3);
  EXPECT_NEAR(line.intercept, -2, 1e-2);
  zObject_Destroy(outliers);
}

TEST_F(FitLineIterativeTest, PercentBounds) {
  const auto points = NoisyLine(1, 0, 10, 0.1, 3);
  const Line plain = Fit(points);
  struct Case {
    double percent;
    size_t removed;
  };
  for (const Case& c : {Case{0, 0}, Case{-5, 0}, Case{std::nan(""), 0}, Case{25, 2}, Case{100, 8},
                        Case{1e300, 8}}) {
    Line line;
    void* outliers = nullptr;
    rv::FitLineIterative(points.data(), points.size(), c.percent, &line.slope, &line.intercept,
                         &outliers, alloc_);
    const zBool* flags = static_cast<const zBool*>(zArrayList_Data(outliers));
    size_t removed = 0;
    for (size_t i = 0; i < points.size(); ++i) removed += flags[i];
    EXPECT_EQ(removed, c.removed) << c.percent;
    if (c.removed == 0) {
      EXPECT_EQ(line.slope, plain.slope);
      EXPECT_EQ(line.intercept, plain.intercept);
    }
    zObject_Destroy(outliers);
  }
  // Two points: nothing can be removed.
  Line two;
  rv::FitLineIterative(points.data(), 2, 100, &two.slope, &two.intercept, nullptr, alloc_);
  EXPECT_EQ(two.slope, Fit({points[0], points[1]}).slope);
}

TEST_F(FitLineIterativeTest, ReplacesAnOutputObjectAndDestroysTheListWhenNotWanted) {
  const auto points = NoisyLine(1, 0, 10, 0.1, 3);
  Line line;
  void* outliers = nullptr;
  ASSERT_EQ(zArrayList_Construct(&outliers, zTypeOf(z8u), 4, alloc_), zOK);
  rv::FitLineIterative(points.data(), points.size(), 20, &line.slope, &line.intercept, &outliers,
                       alloc_);
  EXPECT_EQ(zArrayList_ItemType(outliers), zTypeOf(zBool));
  zObject_Destroy(outliers);
  // With no output the list is destroyed; the fixture checks that nothing is left.
  rv::FitLineIterative(points.data(), points.size(), 20, &line.slope, &line.intercept, nullptr,
                       alloc_);
}

TEST_F(FitLineIterativeTest, Errors) {
  const auto points = NoisyLine(1, 0, 10, 0.1, 3);
  Line line;
  const char* name = "Ro::Vision::FitLineIterative";
  auto fit = [&](const zPoint64f* p, size_t count, double* slope) {
    return [&, p, count, slope] {
      line = Line{};
      rv::FitLineIterative(p, count, 10, slope, &line.intercept, nullptr, alloc_);
    };
  };
  rotest::ExpectFailures({{"null points", fit(nullptr, 5, &line.slope), -997, 0, name},
                          {"null slope", fit(points.data(), 5, nullptr), -997, 0, name},
                          {"one point", fit(points.data(), 1, &line.slope), -997, 1371, name}},
                         "Fitting/Fit");
  EXPECT_EQ(line.slope, kNull);  // the outputs start at the null line
  // Every list operation's failure is raised with the platform's status and nothing stays
  // alive (the handed-over list is released inside the action once it succeeds).
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    void* outliers = nullptr;
    rv::FitLineIterative(points.data(), points.size(), 20, &line.slope, &line.intercept, &outliers,
                         alloc_);
    zObject_Destroy(outliers);
  });
}

TEST(FitLineRansac, FindsTheLineAmongOutliers) {
  zRandom_Seed(17);
  auto points = NoisyLine(-0.4, 10, 100, 0.01, 9);
  std::mt19937 random(4);
  std::uniform_real_distribution<double> junk(-100, 100);
  for (size_t i = 0; i < points.size(); i += 3) points[i].y = junk(random);  // a third are junk
  Line line;
  rv::FitLineRansac(points.data(), points.size(), 0.02, 200, 0.1, &line.slope, &line.intercept);
  EXPECT_NEAR(line.slope, -0.4, 1e-3);
  EXPECT_NEAR(line.intercept, 10, 1e-2);
}

TEST(FitLineRansac, ThresholdZeroAcceptsNothingAndLeavesOutputs) {
  const auto points = NoisyLine(1, 0, 10, 0, 1);
  Line line;
  rv::FitLineRansac(points.data(), points.size(), 0.5, 20, 0, &line.slope, &line.intercept);
  EXPECT_EQ(line.slope, 7);
  EXPECT_EQ(line.intercept, 7);
  rv::FitLineRansac(points.data(), points.size(), 0.5, 0, 1, &line.slope, &line.intercept);
  EXPECT_EQ(line.slope, 7);
  // A whole-set sample (fraction above 1) on exact points: every point agrees.
  rv::FitLineRansac(points.data(), points.size(), 3, 5, 1e-6, &line.slope, &line.intercept);
  EXPECT_NEAR(line.slope, 1, kExact);
}

TEST(FitLineRansac, Errors) {
  const auto points = NoisyLine(1, 0, 10, 0, 1);
  Line line;
  const char* name = "Ro::Vision::FitLineRansac";
  auto fit = [&](const zPoint64f* p, size_t count, double fraction) {
    return [&, p, count, fraction] {
      rv::FitLineRansac(p, count, fraction, 5, 1, &line.slope, &line.intercept);
    };
  };
  rotest::ExpectFailures({{"two points", fit(points.data(), 2, 0.1), 0, 1442, name},
                          {"null points", fit(nullptr, 10, 0.1), 0, 1441, name},
                          {"NaN fraction", fit(points.data(), 10, std::nan("")), -997}});
}

}  // namespace
