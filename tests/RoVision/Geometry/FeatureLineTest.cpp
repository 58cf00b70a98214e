#include <RoVision/Geometry/FeatureLine.h>
#include <RoVision/Geometry/LinePlaneIntersection.h>
#include <TyVision/TyVision.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>

#include <cmath>

#include "GeometryTestSupport.h"

namespace rv = Ro::Vision;
using geotest::Fields;
using geotest::Values;

namespace {

constexpr double kNull = rv::kNullDouble;
constexpr double kTolerance = 1e-12;

class FeatureLine : public rotest::LeakCheckedTest {
 protected:
  Ty::Object<void*> Message(zPoint3d64f position, zPoint3d64f direction) {
    void* msg = nullptr;
    EXPECT_EQ(TvLineFeatureMsg_Construct(&msg, position, direction, alloc_), zOK);
    return Ty::Object<void*>(msg);
  }
};

TEST_F(FeatureLine, SlopeAndInterceptOfSurfaceAndProfileLines) {
  // Through (2, 7, -1) along (2, 1, -4): y = x / 2 + 6 and z = -2 x + 3.
  const Ty::Object<void*> msg = Message(zPoint3d64f{2, 7, -1}, zPoint3d64f{2, 1, -4});
  double slope = 0, intercept = 0;
  rv::GetSlopeInterceptFromFeatureLine(msg, &slope, &intercept);
  EXPECT_EQ((Values{slope, intercept}), (Values{0.5, 6}));
  rv::GetSlopeInterceptFromProfileFeatureLine(msg, &slope, &intercept);
  EXPECT_EQ((Values{slope, intercept}), (Values{-2, 3}));
  // A vertical direction is not guarded: the slope is infinite.
  rv::GetSlopeInterceptFromFeatureLine(Message(zPoint3d64f{1, 0, 0}, zPoint3d64f{0, 1, 0}), &slope,
                                       &intercept);
  EXPECT_TRUE(std::isinf(slope));
}

TEST_F(FeatureLine, RoundTripThroughSlopeAndIntercept) {
  for (double slope : {0.0, 0.75, -3.0, 1e6}) {
    zPoint3d64f position{9, 9, 9}, direction{9, 9, 9};
    rv::GetFeatureLineFromSlopeIntercept(slope, -2.5, &position, &direction);
    EXPECT_EQ(Fields(position), (Values{0, -2.5, 0}));
    EXPECT_NEAR(std::hypot(direction.x, direction.y), 1, kTolerance);
    EXPECT_GT(direction.x, 0);
    double s = 0, b = 0;
    rv::GetSlopeInterceptFromFeatureLine(Message(position, direction), &s, &b);
    EXPECT_NEAR(s, slope, 1e-9 * std::max(1.0, std::fabs(slope)));
    EXPECT_DOUBLE_EQ(b, -2.5);
  }
  zPoint3d64f position{9, 9, 9}, direction{9, 9, 9};
  rv::GetFeatureLineFromSlopeIntercept(kNull, 1, &position, &direction);
  rv::GetFeatureLineFromSlopeIntercept(1, kNull, &position, &direction);
  EXPECT_EQ(Fields(position), Fields(direction)) << "nothing is written for an unset input";
  EXPECT_EQ(Fields(position), (Values{9, 9, 9}));
}

TEST_F(FeatureLine, FailingAccessorsAndNullOutputsRaise) {
  double slope = 1, intercept = 1;
  void* surface = nullptr;
  ASSERT_EQ(TvSurfaceMsg_Construct(&surface, 2, 2, 1, 0, alloc_), zOK);
  const Ty::Object<void*> other(surface), msg = Message({0, 0, 0}, {1, 0, 0});
  const char* surfaceName = "Ro::Vision::GetSlopeInterceptFromFeatureLine";
  const char* profileName = "Ro::Vision::GetSlopeInterceptFromProfileFeatureLine";
  zPoint3d64f p;
  rotest::ExpectFailures(
      {{"null message", [&] { rv::GetSlopeInterceptFromFeatureLine(nullptr, &slope, &intercept); },
        zERROR_PARAMETER, 3004, surfaceName},
       // A message of another kind is refused by the accessor as well.
       {"surface message",
        [&] { rv::GetSlopeInterceptFromProfileFeatureLine(other, &slope, &intercept); },
        zERROR_PARAMETER, 3014, profileName}},
      "Geometry/Geometry");
  EXPECT_EQ(slope, kNull) << "outputs are cleared first";
  rotest::ExpectFailures(
      {{"null slope", [&] { rv::GetSlopeInterceptFromFeatureLine(msg, nullptr, &intercept); }, -997,
        0, surfaceName},
       {"null intercept",
        [&] { rv::GetSlopeInterceptFromProfileFeatureLine(msg, &slope, nullptr); }, -997, 0,
        profileName},
       {"null direction", [&] { rv::GetFeatureLineFromSlopeIntercept(1, 2, &p, nullptr); }, -997, 0,
        "Ro::Vision::GetFeatureLineFromSlopeIntercept"}});
}

rv::Line3d<double> Line(double x, double y, double z, double dx, double dy, double dz) {
  return rv::Line3d<double>{rv::Point3d<double>{x, y, z}, rv::Point3d<double>{dx, dy, dz}};
}

TEST(LinePlaneIntersection, MeetsThePlane) {
  // The plane 2x - y + 2z - 6 = 0 (normal not unit), the line from (1, 1, 1) along (0, 0, 5).
  const rv::PlaneParams<double> plane{2, -1, 2, -6};
  geotest::ExpectFieldsNear(rv::LinePlaneIntersection(Line(1, 1, 1, 0, 0, 5), plane), {1, 1, 2.5},
                            kTolerance);
  // A slanted line far from the origin.
  const rv::Point3d<double> q = rv::LinePlaneIntersection(Line(1e3, -2e3, 7, 3, 1, -2), plane);
  EXPECT_NEAR(2 * q.x - q.y + 2 * q.z - 6, 0, 1e-9);
  EXPECT_NEAR((q.x - 1e3) / 3, (q.y + 2e3) / 1, 1e-9) << "on the line";
}

TEST(LinePlaneIntersection, ParallelOrUnsetGivesTheNullPoint) {
  const rv::PlaneParams<double> plane{0, 0, 1, -2};
  rv::PlaneParams<double> unset = plane;
  unset.d = kNull;
  const std::pair<rv::Line3d<double>, rv::PlaneParams<double>> cases[] = {
      {Line(0, 0, 2, 1, 1, 0), plane},      // lying in the plane
      {Line(0, 0, 5, 0, 1, 0), plane},      // parallel above it
      {Line(0, 0, 5, 1, 0, 1e-8), plane},   // within the single-precision epsilon
      {Line(kNull, 0, 5, 0, 0, 1), plane},  // unset point
      {Line(0, 0, 5, 0, kNull, 1), plane},  // unset direction
      {Line(0, 0, 0, 0, 0, 1), unset},      // unset plane
  };
  for (const auto& [line, p] : cases) geotest::ExpectAllNull(rv::LinePlaneIntersection(line, p));
}

TEST(LinePlaneIntersection, ZeroDirectionRaisesTheNormalisationStatus) {
  rotest::ExpectFailures(
      {{"zero direction",
        [] {
          rv::LinePlaneIntersection(Line(0, 0, 0, 0, 0, 0), rv::PlaneParams<double>{0, 0, 1, 0});
        },
        zERROR_PARAMETER, 3051, "Ro::Vision::LinePlaneIntersection"}});
}

}  // namespace
