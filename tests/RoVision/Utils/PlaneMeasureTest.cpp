#include <RoVision/Fitting/PlaneFit.h>
#include <RoVision/Utils/PlaneMeasure.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>
#include <zApi/zArrayList.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "../Geometry/GeometryTestSupport.h"

namespace rv = Ro::Vision;
using geotest::Fields;
using geotest::Values;

namespace {

constexpr double kNull = -DBL_MAX;
constexpr double kPi = 3.14159265358979323846;
// Distances and angles of exact models agree to rounding.
constexpr double kExact = 1e-12;
constexpr char kAverage[] = "Ro::Vision::ComputeAverageDistanceFromPlane";
constexpr char kPercentile[] = "Ro::Vision::ComputePercentileHeightFromPlane";

Ty::Object<void*> List(const std::vector<zPoint3d64f>& points) {
  void* list = nullptr;
  EXPECT_EQ(zArrayList_Construct(&list, zTypeOf(zPoint3d64f), points.size(), nullptr), zOK);
  EXPECT_EQ(zArrayList_AppendN(list, points.data(), points.size()), zOK);
  return Ty::Object<void*>(list);
}

// A plane of known tilt: unit normal n from the angles (degrees) about X and Y, through p0.
// In-plane axes: e1 is +x projected into the plane, e2 = n x e1.
struct TiltedPlane {
  zPoint3d64f n, p0, e1, e2;
  zPlane3d64f plane;
  TiltedPlane(double tiltX, double tiltY, zPoint3d64f origin) : p0(origin) {
    const double ax = tiltX * kPi / 180, ay = tiltY * kPi / 180;
    n = {std::sin(ay) * std::cos(ax), -std::sin(ax), std::cos(ay) * std::cos(ax)};
    plane = {n.x, n.y, n.z, -(n.x * p0.x + n.y * p0.y + n.z * p0.z)};
    const zPoint3d64f x0{1 - n.x * n.x, -n.x * n.y, -n.x * n.z};
    const double length = std::sqrt(x0.x * x0.x + x0.y * x0.y + x0.z * x0.z);
    e1 = {x0.x / length, x0.y / length, x0.z / length};
    e2 = {n.y * e1.z - n.z * e1.y, n.z * e1.x - n.x * e1.z, n.x * e1.y - n.y * e1.x};
  }
  // The point at in-plane coordinates (u, v) and height h along the normal.
  zPoint3d64f At(double u, double v, double h) const {
    return {p0.x + u * e1.x + v * e2.x + h * n.x, p0.y + u * e1.y + v * e2.y + h * n.y,
            p0.z + u * e1.z + v * e2.z + h * n.z};
  }
};

TEST(PlaneMeasure, AverageDistanceIsSignedAndSkipsNulls) {
  const TiltedPlane t(12, -25, {3, 4, 5});
  std::vector<zPoint3d64f> pts{
      t.At(0, 0, 1), t.At(5, -2, -3), t.At(-1, 7, 0.5), {1, 2, kNull}, t.At(2, 2, 2)};
  Ty::Object<void*> list = List(pts);
  zPoint3d64f least, greatest;
  const double average =
      rv::ComputeAverageDistanceFromPlane(t.plane, list.Get(), &least, &greatest);
  EXPECT_NEAR(average, (1 - 3 + 0.5 + 2) / 4.0, kExact);
  EXPECT_EQ(least.x, pts[1].x);
  EXPECT_EQ(greatest.y, pts[4].y);
  // Scaling the plane's equation changes nothing.
  const zPlane3d64f scaled{-4 * t.plane.a, -4 * t.plane.b, -4 * t.plane.c, -4 * t.plane.d};
  EXPECT_NEAR(rv::ComputeAverageDistanceFromPlane(scaled, list.Get(), nullptr, nullptr), -average,
              kExact);
}

TEST(PlaneMeasure, AverageDistanceEdgeCases) {
  const zPlane3d64f flat{0, 0, 1, -2};
  Ty::Object<void*> onlyNulls = List({{1, 1, kNull}});
  zPoint3d64f least{0, 0, 0};
  EXPECT_EQ(rv::ComputeAverageDistanceFromPlane(flat, onlyNulls.Get(), &least, nullptr), kNull);
  EXPECT_EQ(least.x, kNull);
  Ty::Object<void*> one = List({{1, 1, 5}});
  EXPECT_EQ(rv::ComputeAverageDistanceFromPlane({0, 0, 0, 1}, one.Get(), nullptr, nullptr), kNull);
  EXPECT_EQ(rv::ComputeAverageDistanceFromPlane({kNull, 0, 1, 1}, one.Get(), nullptr, nullptr),
            kNull);
  EXPECT_TY_THROW(rv::ComputeAverageDistanceFromPlane(flat, nullptr, nullptr, nullptr), -997,
                  kAverage);
  void* other = nullptr;
  ASSERT_EQ(zArrayList_Construct(&other, zTypeOf(zPoint64f), 0, nullptr), zOK);
  Ty::Object<void*> held(other);
  EXPECT_TY_THROW(rv::ComputeAverageDistanceFromPlane(flat, other, nullptr, nullptr), -984,
                  kAverage);
  EXPECT_TY_THROW(rv::ComputePercentileHeightFromPlane(flat, other, 50), -984, kPercentile);
}

TEST(PlaneMeasure, PercentileInterpolatesBetweenRanks) {
  const TiltedPlane t(-7, 31, {0, -2, 8});
  const std::vector<double> heights{4, -1, 10, 2, 7, kNull};  // sorted: -1 2 4 7 10
  std::vector<zPoint3d64f> pts;
  for (std::size_t i = 0; i < heights.size(); ++i) {
    pts.push_back(heights[i] == kNull ? zPoint3d64f{0, 0, kNull}
                                      : t.At(double(i), -double(i), heights[i]));
  }
  Ty::Object<void*> list = List(pts);
  const struct {
    double percent, expected;
  } cases[] = {{0, -1}, {100, 10}, {50, 4}, {25, 2}, {30, 2 + 0.2 * 2}, {90, 7 + 0.6 * 3}};
  for (const auto& c : cases) {
    EXPECT_NEAR(rv::ComputePercentileHeightFromPlane(t.plane, list.Get(), c.percent), c.expected,
                1e-9)
        << c.percent;
  }
  for (double bad : {-0.1, 100.5, std::nan("")}) {
    EXPECT_TY_THROW(rv::ComputePercentileHeightFromPlane(t.plane, list.Get(), bad), -997,
                    kPercentile);
  }
}

TEST(PlaneMeasure, AnglesBringTheNormalOntoZ) {
  for (double tx : {-60.0, -10.0, 0.0, 25.0, 80.0}) {
    for (double ty : {-45.0, 0.0, 5.0, 70.0}) {
      const TiltedPlane t(tx, ty, {1, 2, 3});
      double rx, ry;
      rv::NormalToAngles(t.n, &rx, &ry);
      rv::RefFrame frame;
      frame.RotateXYZ(rx, ry, 0);
      geotest::ExpectFieldsNear(frame.Apply(t.n), {0, 0, 1}, kExact,
                                std::to_string(tx) + " " + std::to_string(ty));
      double px, py;
      rv::CalculateYXAngleRotation(rv::PlaneParams<double>{3 * t.n.x, 3 * t.n.y, 3 * t.n.z, 7}, &px,
                                   &py);
      geotest::ExpectNear({px, py}, {rx, ry}, kExact);
    }
  }
  double rx = 0, ry = 0;
  rv::NormalToAngles({0, 0, 0}, &rx, &ry);
  EXPECT_EQ((Values{rx, ry}), (Values{kNull, kNull}));
  rv::NormalToAngles({0, 1, 0}, &rx, &ry);  // +y is lifted by 90 degrees about X
  EXPECT_NEAR(rx, 90, kExact);
}

TEST(PlaneMeasure, LevellingMakesHeightsTheZAndRefitsFlat) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> u(-20, 20), h(-0.5, 0.5);
  for (const auto& tilt : {std::pair<double, double>{15, -20}, {-3, 40}, {0, 0}, {60, 10}}) {
    const TiltedPlane t(tilt.first, tilt.second, {100, -50, 30});
    std::vector<zPoint3d64f> pts;
    std::vector<double> heights;
    for (int i = 0; i < 200; ++i) {
      heights.push_back(h(random));
      pts.push_back(t.At(u(random), u(random), heights.back()));
    }
    Ty::Object<void*> list = List(pts);
    rv::PlaneParams<double> fitted;
    rv::FitPlanePoints(list.Get(), &fitted, nullptr);
    const rv::RefFrame frame = rv::GetRotationTransform(t.plane);
    std::vector<zPoint3d64f> levelled(pts.size());
    frame.ApplyN(pts.data(), levelled.data(), pts.size());
    for (std::size_t i = 0; i < pts.size(); ++i) ASSERT_NEAR(levelled[i].z, heights[i], 1e-12);
    // Levelled by its own fitted plane, the points fit a plane with normal +z.
    frame.ApplyN(pts.data(), levelled.data(), 0);
    rv::GetRotationTransform(fitted).ApplyN(pts.data(), levelled.data(), pts.size());
    Ty::Object<void*> levelledList = List(levelled);
    rv::PlaneParams<double> again;
    rv::FitPlanePoints(levelledList.Get(), &again, nullptr);
    geotest::ExpectFieldsNear(again, {0, 0, 1, 0}, 1e-12);
  }
  EXPECT_TRUE(rv::GetRotationTransform(zPlane3d64f{0, 0, 0, 1}).IsIdentity());
}

TEST(PlaneMeasure, RegionCornersGoCounterClockwiseFromTheLowCorner) {
  rv::Region2d<double> region{10, 20, 4, 2, 90};
  rv::Point2d<double> center, corners[4];
  rv::GetRegionCenterCorner(region, &center, corners);
  EXPECT_EQ(Fields(center), (Values{10, 20}));
  // Turned by 90 degrees, local (-2, -1) goes to (+1, -2) about the centre.
  geotest::ExpectFieldsNear(corners, {11, 18, 11, 22, 9, 22, 9, 18}, kExact);
  region.angle = kNull;  // unset: not turned
  rv::GetRegionCenterCorner(region, nullptr, corners);
  EXPECT_EQ(Fields(corners), (Values{8, 19, 12, 19, 12, 21, 8, 21}));
  region.width = kNull;
  rv::GetRegionCenterCorner(region, &center, corners);
  geotest::ExpectAllNull(center);
  geotest::ExpectAllNull(corners);
}

TEST(PlaneMeasure, ProjectAngleStart) {
  const zPlane3d64f flat{0, 0, 2, -4};
  EXPECT_NEAR(rv::ComputeProjectAngleStart(flat, {1, 1, 5}), 45, kExact);
  EXPECT_NEAR(rv::ComputeProjectAngleStart(flat, {-1, 0, 0}), 180, kExact);
  EXPECT_NEAR(rv::ComputeProjectAngleStart(flat, {0, -3, 0}), -90, kExact);
  // Looking down a downward normal turns the sense.
  EXPECT_NEAR(rv::ComputeProjectAngleStart({0, 0, -1, 0}, {0, 1, 0}), -90, kExact);
  // A tilted plane: the in-plane direction at a known angle from projected +x comes back.
  const TiltedPlane t(20, 35, {0, 0, 0});
  for (double a : {-150.0, -30.0, 0.0, 60.0, 120.0}) {
    // Plus a component along the normal, which the projection drops.
    const zPoint3d64f d = t.At(std::cos(a * kPi / 180), std::sin(a * kPi / 180), 3);
    EXPECT_NEAR(rv::ComputeProjectAngleStart(t.plane, d), a, 1e-9) << a;
  }
  EXPECT_EQ(rv::ComputeProjectAngleStart(flat, {0, 0, 1}), kNull);
  EXPECT_EQ(rv::ComputeProjectAngleStart({1, 0, 0, 0}, {0, 1, 0}), kNull);
  EXPECT_EQ(rv::ComputeProjectAngleStart(flat, {kNull, 1, 0}), kNull);
}

}  // namespace
