#include <RoVision/Fitting/PlaneFit.h>
#include <RoVision/Fitting/PolynomialFit.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#ifdef RO_HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = -DBL_MAX;
// Exact points: the normal agrees with the model to rounding.
constexpr double kExact = 1e-9;

Ty::Object<void*> MakeList(const std::vector<zPoint3d64f>& points, zType type = nullptr) {
  Ty::Object<void*> list;
  EXPECT_EQ(zArrayList_Construct(list.Address(), type ? type : zTypeOf(zPoint3d64f), 1, nullptr),
            zOK);
  if (!type) {
    EXPECT_EQ(zArrayList_Import(list, points.data(), points.size()), zOK);
  }
  return list;
}

TEST(FitPlanePoints, FourPointsFitThreeDoNot) {
  std::vector<zPoint3d64f> points = {{0, 0, 2}, {1, 0, 2}, {0, 1, 2}, {1, 1, 2}};
  rv::PlaneParams<double> plane;
  zPoint3d64f center{};
  rv::FitPlanePoints(MakeList(points), &plane, &center);
  // Horizontal: the normal is +Z and d is minus the mean height.
  EXPECT_NEAR(plane.a, 0, kExact);
  EXPECT_NEAR(plane.b, 0, kExact);
  EXPECT_EQ(plane.c, 1);
  EXPECT_EQ(plane.d, -2);
  EXPECT_EQ(center.x, 0.5);
  points.pop_back();
  rv::FitPlanePoints(MakeList(points), &plane, &center);
  EXPECT_EQ(plane.a, kNull);
  EXPECT_EQ(plane.d, kNull);
  EXPECT_EQ(center.z, kNull);
}

TEST(FitPlanePoints, NoisyTiltedPlaneAndEigenReference) {
  // z = 0.2 x - 0.1 y + 5 with noise, far from the origin.
  std::mt19937 random(3);
  std::normal_distribution<double> noise(0, 0.01);
  std::vector<zPoint3d64f> points;
  for (int i = 0; i < 40; ++i) {
    for (int j = 0; j < 30; ++j) {
      const double x = 1e4 + i * 0.5, y = -2e3 + j * 0.5;
      points.push_back({x, y, 0.2 * x - 0.1 * y + 5 + noise(random)});
    }
  }
  rv::PlaneParams<double> plane;
  rv::FitPlanePoints(MakeList(points), &plane, nullptr);
  // Normal of z = 0.2x - 0.1y + 5 is (-0.2, 0.1, 1) / |.|, with c > 0.
  const double norm = std::sqrt(0.04 + 0.01 + 1);
  // 1200 points over 20 x 15 units with sigma 0.01 pin the slopes to about 1e-4.
  EXPECT_NEAR(plane.a, -0.2 / norm, 2e-4);
  EXPECT_NEAR(plane.b, 0.1 / norm, 2e-4);
  EXPECT_NEAR(plane.c, 1 / norm, 2e-4);
#ifdef RO_HAVE_EIGEN
  Eigen::MatrixXd m(3, points.size());
  for (size_t i = 0; i < points.size(); ++i) m.col(i) << points[i].x, points[i].y, points[i].z;
  const Eigen::Vector3d mean = m.rowwise().mean();
  const Eigen::MatrixXd centred = m.colwise() - mean;
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(centred * centred.transpose());
  Eigen::Vector3d normal = solver.eigenvectors().col(0);
  if (normal.z() < 0) normal = -normal;
  EXPECT_NEAR(plane.a, normal.x(), 1e-9);
  EXPECT_NEAR(plane.b, normal.y(), 1e-9);
  EXPECT_NEAR(plane.c, normal.z(), 1e-9);
  EXPECT_NEAR(plane.d, -normal.dot(mean), 1e-6);
#endif
}

TEST(FitPlanePoints, VerticalPlaneFlipsToNegativeSideAndBadInput) {
  // x = 3: the normal is (+-1, 0, 0) with c = 0, which the sign rule negates.
  std::vector<zPoint3d64f> wall = {{3, 0, 0}, {3, 1, 0}, {3, 0, 1}, {3, 1, 1}, {3, 2, 5}};
  rv::PlaneParams<double> plane;
  rv::FitPlanePoints(MakeList(wall), &plane, nullptr);
  EXPECT_NEAR(std::fabs(plane.a), 1, kExact);
  EXPECT_NEAR(plane.d, -3 * plane.a, kExact);

  rv::PlaneParams<double> untouched;
  untouched.a = 5;
  rv::FitPlanePoints(nullptr, &untouched, nullptr);
  EXPECT_EQ(untouched.a, 5);
  rv::FitPlanePoints(MakeList(wall), nullptr, nullptr);
  rotest::ExpectFailures(
      {{"2D list", [&] { rv::FitPlanePoints(MakeList({}, zTypeOf(zPoint64f)), &plane, nullptr); },
        -996, 266, "Ro::Vision::FitPlanePoints"}});
  wall[2].z = std::nan("");
  rv::FitPlanePoints(MakeList(wall), &plane, nullptr);
  EXPECT_EQ(plane.a, kNull);
}

// A height map of heights 3 c - 7 r over scale (0.05, 0.1, 0.002), with a ripple of 20 counts
// and a share of nulls where asked.
rv::Surface PlaneSurface(int rows, int columns, bool ripple = false, double nullFraction = 0) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> unit(0, 1);
  std::vector<std::vector<short>> heights(rows, std::vector<short>(columns));
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      const double h = 3 * c - 7 * r + (ripple ? 20 * std::sin(c * 0.1) + 100 : 0);
      heights[r][c] = unit(random) < nullFraction ? short(-32768) : short(std::lround(h));
    }
  }
  return rotest::MakeSurface(heights, {-12.5, 300.25, 40}, {0.05, 0.1, 0.002});
}

Ty::Object<void*> GatherCells(const rv::Surface& surface, const rv::Rect2d<int>& rect, void* mask) {
  std::vector<zPoint3d64f> points;
  void* heights = surface.layers[0].Get();
  for (int r = 0; r < rect.height; ++r) {
    const short* row = static_cast<const short*>(zArray2_Row(heights, rect.y + r));
    for (int c = 0; c < rect.width; ++c) {
      const short h = row[rect.x + c];
      if (h == -32768) continue;
      if (mask && static_cast<const unsigned char*>(zArray2_Row(mask, r))[c] == 0) continue;
      points.push_back({surface.offset.x + double(rect.x + c) * surface.scale.x,
                        surface.offset.y + double(rect.y + r) * surface.scale.y,
                        surface.offset.z + double(h) * surface.scale.z});
    }
  }
  return MakeList(points);
}

TEST(FitPlane, GridPathGivesTheBitsOfTheListPath) {
  const rv::Surface s = PlaneSurface(60, 90, true, 0.05);
  rv::Rect2d<int> rect{7, 3, 70, 50};  // 3500 cells: many blocks of 128 and a tail
  std::vector<std::vector<unsigned char>> cells(50, std::vector<unsigned char>(70));
  for (int r = 0; r < 50; ++r)
    for (int c = 0; c < 70; ++c) cells[r][c] = (r * 7 + c * 3) % 11 != 0;
  auto mask = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), cells);
  for (void* m : {static_cast<void*>(nullptr), mask.Get()}) {
    rv::PlaneParams<double> fromGrid, fromList;
    zPoint3d64f gridCenter{}, listCenter{};
    rv::FitPlane(s, rect, m, &fromGrid, &gridCenter);
    rv::FitPlanePoints(GatherCells(s, rect, m), &fromList, &listCenter);
    ASSERT_NE(fromGrid.a, kNull);
    EXPECT_EQ(std::memcmp(&fromGrid, &fromList, sizeof fromGrid), 0);
    EXPECT_EQ(std::memcmp(&gridCenter, &listCenter, sizeof gridCenter), 0);
  }
}

TEST(FitPlane, RecoversAPlaneInWorldUnits) {
  // Without the ripple: z/x = 3 * 0.002 / 0.05 = 0.12 and z/y = -7 * 0.002 / 0.1 = -0.14.
  rv::PlaneParams<double> plane;
  // One column: the points lie on a line, the plane through it is not unique but must contain it.
  rv::FitPlane(PlaneSurface(40, 1), {0, 0, 1, 40}, nullptr, &plane, nullptr);
  const double y = 300.25 + 10 * 0.1, z = 40 - 7 * 10 * 0.002;
  EXPECT_NEAR(plane.a * -12.5 + plane.b * y + plane.c * z + plane.d, 0, 1e-9);
  rv::FitPlane(PlaneSurface(20, 20), {0, 0, 20, 20}, nullptr, &plane, nullptr);
  EXPECT_NEAR(-plane.a / plane.c, 0.12, kExact);
  EXPECT_NEAR(-plane.b / plane.c, -0.14, kExact);
}

TEST(FitPlane, BadRegions) {
  const rv::Surface s = PlaneSurface(10, 10, true);
  rv::PlaneParams<double> plane;
  for (const rv::Rect2d<int>& rect : {rv::Rect2d<int>{0, 0, 0, 5}, rv::Rect2d<int>{-1, 0, 5, 5},
                                      rv::Rect2d<int>{6, 0, 5, 5}, rv::Rect2d<int>{0, 8, 5, 5}}) {
    EXPECT_TY_THROW(rv::FitPlane(s, rect, nullptr, &plane, nullptr), -997, "Ro::Vision::FitPlane");
  }
  auto wrongSize = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1}, {1, 1}});
  EXPECT_TY_STATUS(rv::FitPlane(s, {0, 0, 3, 2}, wrongSize, &plane, nullptr), -984);
  auto wrongType = rotest::MakeArray2<short>(zTypeOf(z16s), {{1, 1}, {1, 1}});
  EXPECT_TY_STATUS(rv::FitPlane(s, {0, 0, 2, 2}, wrongType, &plane, nullptr), -984);
  rv::Surface cloud;
  cloud.layers.push_back(rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}}));
  EXPECT_TY_STATUS(rv::FitPlane(cloud, {0, 0, 1, 1}, nullptr, &plane, nullptr), -996);
  EXPECT_TY_STATUS(rv::FitPlane(rv::Surface{}, {0, 0, 1, 1}, nullptr, &plane, nullptr), -996);
  // All cells masked out: the plane stays null.
  auto none = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{0, 0}, {0, 0}});
  rv::FitPlane(s, {0, 0, 2, 2}, none, &plane, nullptr);
  EXPECT_EQ(plane.a, kNull);
}

TEST(FitPolynomial, RecoversACubic) {
  const double c[] = {1.5, -2, 0.25, 0.125};
  std::vector<zPoint64f> points;
  for (int i = 0; i < 30; ++i) {
    const double x = -3 + 0.2 * i;
    points.push_back({x, rv::CalculatePolynomialValue(c, 3, x)});
  }
  EXPECT_EQ(rv::CalculatePolynomialValue(c, 3, 2), 1.5 - 4 + 1 + 1);  // Horner by hand
  EXPECT_EQ(rv::CalculatePolynomialValue(c, 0, 99), 1.5);
  double fitted[4] = {};
  ASSERT_EQ(rv::FitPolynomial(points.data(), points.size(), 3, fitted), 0);
  for (int k = 0; k < 4; ++k) EXPECT_NEAR(fitted[k], c[k], 1e-9) << k;
}

TEST(FitPolynomial, Failures) {
  double coefficients[3] = {7, 7, 7};
  const std::vector<zPoint64f> two = {{1, 3}, {2, 5}};
  ASSERT_EQ(rv::FitPolynomial(two.data(), 2, 1, coefficients), 0);
  EXPECT_NEAR(coefficients[0], 1, 1e-12);
  EXPECT_NEAR(coefficients[1], 2, 1e-12);
  coefficients[0] = coefficients[1] = 7;
  EXPECT_EQ(rv::FitPolynomial(two.data(), 1, 1, coefficients), -1);  // count <= degree
  const std::vector<zPoint64f> repeated = {{2, 1}, {2, 3}, {2, 4}};
  EXPECT_EQ(rv::FitPolynomial(repeated.data(), 3, 1, coefficients), -1);  // pivot test
  EXPECT_EQ(rv::FitPolynomial(nullptr, 3, 1, coefficients), -1);
  EXPECT_EQ(coefficients[0], 7);
  EXPECT_EQ(coefficients[1], 7);
}

}  // namespace
