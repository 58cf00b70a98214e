#include <RoVision/Fitting/SphereFit.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = -DBL_MAX;
constexpr double kPi = 3.14159265358979323846;

class FitSphereTest : public rotest::LeakCheckedTest {};

// Points spread over a sphere, with every tenth point pushed 2 to 5 units off the surface.
std::vector<zPoint3d64f> NoisySphere(std::vector<bool>* isOutlier) {
  std::mt19937 random(5);
  std::normal_distribution<double> noise(0, 0.01);
  std::uniform_real_distribution<double> unit(0, 1), push(2, 5);
  std::vector<zPoint3d64f> points;
  isOutlier->clear();
  for (int i = 0; i < 500; ++i) {
    const double z = 2 * unit(random) - 1, t = 2 * kPi * unit(random);
    const bool outlier = i % 10 == 3;
    const double r = 25 + noise(random) + (outlier ? (i % 20 == 3 ? 1 : -1) * push(random) : 0);
    const double s = std::sqrt(1 - z * z);
    points.push_back({10 + r * s * std::cos(t), -5 + r * s * std::sin(t), 1e3 + r * z});
    isOutlier->push_back(outlier);
  }
  return points;
}

TEST_F(FitSphereTest, RejectsOutliersAndRecoversTheSphere) {
  std::vector<bool> isOutlier;
  const auto points = NoisySphere(&isOutlier);
  zPoint3d64f center;
  double radius;
  std::vector<zPoint3d64f> outliers, inliers;
  rv::FitSphere(points.data(), points.size(), &center, &radius, alloc_, 0.5, &outliers, &inliers);
  // 450 inliers with sigma 0.01: the centre and radius are known to about 0.002.
  rotest::ExpectNear3(center, 10, -5, 1e3, 5e-3);
  EXPECT_NEAR(radius, 25, 5e-3);
  ASSERT_EQ(outliers.size(), 50u);
  ASSERT_EQ(inliers.size(), 450u);
  size_t o = 0, k = 0;
  for (size_t i = 0; i < points.size(); ++i) {
    const zPoint3d64f& expected = points[i];
    const zPoint3d64f& got = isOutlier[i] ? outliers[o++] : inliers[k++];
    EXPECT_EQ(got.x, expected.x) << i;
  }
  // Without rejection the outliers pull the fit.
  rv::FitSphere(points.data(), points.size(), &center, &radius, alloc_, kNull, &outliers, nullptr);
  EXPECT_TRUE(outliers.empty());
  EXPECT_GT(std::fabs(radius - 25), 5e-3);
}

TEST_F(FitSphereTest, BadInput) {
  zPoint3d64f center;
  double radius;
  // Unusable points do not count (NaN, infinite, null z): six points hold three usable ones,
  // seven hold four.
  const std::vector<zPoint3d64f> three = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  std::vector<zPoint3d64f> six = three, flat;
  six.insert(six.end(), {{std::nan(""), 0, 0}, {0, 0, kNull}, {0, HUGE_VAL, 0}});
  std::vector<zPoint3d64f> seven = six;
  seven.push_back({-1, 0, 0});
  for (int i = 0; i < 20; ++i) flat.push_back({std::cos(i * 0.3), std::sin(i * 0.3), 7});
  auto fit = [&](const std::vector<zPoint3d64f>* p, double distance, zPoint3d64f* c) {
    return [&, p, distance, c] {
      radius = 0;
      rv::FitSphere(p ? p->data() : nullptr, p ? p->size() : 5, c, &radius, alloc_, distance,
                    nullptr, nullptr);
    };
  };
  const double nan = std::nan("");
  rotest::ExpectFailures({
      {"three of six usable", fit(&six, 1, &center), -996},
      {"coplanar: a circle has no sphere", fit(&flat, 1, &center), -996},
      {"distance 0", fit(&seven, 0, &center), -997},
      {"distance -1", fit(&seven, -1, &center), -997},
      {"distance NaN", fit(&seven, nan, &center), -997},
      {"null points", fit(nullptr, 1, &center), -997},
      {"null centre", fit(&seven, 1, nullptr), -997},
      {"three points", fit(&three, 1, &center), -996, 3019, "Ro::Vision::FitSphere"},
  });
  EXPECT_EQ(radius, kNull);
  fit(&seven, 1, &center)();
  EXPECT_NEAR(radius, 1, 1e-12);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, fit(&seven, 1, &center));
}

// A spherical cap as a height map: radius 5 world units, centre 3 units below the surface.
rv::Surface Cap(short spikeValue) {
  std::vector<std::vector<short>> heights(161, std::vector<short>(161));
  for (int r = 0; r < 161; ++r) {
    for (int c = 0; c < 161; ++c) {
      const double x = -4 + 0.05 * c, y = -4 + 0.05 * r;
      const double h2 = 25 - x * x - y * y;
      heights[r][c] = h2 < 9 ? short(-32768) : short(std::lround((std::sqrt(h2) - 3) / 0.001));
    }
  }
  heights[80][80] = spikeValue;
  return rotest::MakeSurface(heights, {-4, -4, 0}, {0.05, 0.05, 0.001});
}

TEST_F(FitSphereTest, SurfaceCapWithASpike) {
  const rv::Surface cap = Cap(short(15000));  // one cell 13 units too high
  zPoint3d64f center;
  double radius;
  std::vector<zPoint3d64f> outliers, inliers;
  rv::FitSphere(cap, {0, 0, 161, 161}, nullptr, &center, &radius, outliers, 0.01, &inliers, 0);
  // Heights quantised to 0.001 on a cap of half-angle 37 degrees: a few thousandths.
  EXPECT_NEAR(center.x, 0, 1e-3);
  EXPECT_NEAR(center.y, 0, 1e-3);
  EXPECT_NEAR(center.z, -3, 5e-3);
  EXPECT_NEAR(radius, 5, 5e-3);
  ASSERT_EQ(outliers.size(), 1u);
  EXPECT_NEAR(outliers[0].z, 15, 1e-9);
  // One round only: the first fit, pulled by the spike, rejects far more than the spike, and no
  // second round lets those points back.
  rv::FitSphere(cap, {0, 0, 161, 161}, nullptr, &center, &radius, outliers, 0.01, nullptr, 1);
  EXPECT_GT(outliers.size(), 1u);

  auto fit = [&](rv::Rect2d<int> rect) {
    return [&, rect] {
      rv::FitSphere(cap, rect, nullptr, &center, &radius, outliers, 0.01, nullptr, 0);
    };
  };
  rotest::ExpectFailures({{"too few cells", fit({0, 0, 3, 3}), -996, 3277},
                          {"rectangle outside", fit({0, 0, 162, 3}), -997}});
}

}  // namespace
