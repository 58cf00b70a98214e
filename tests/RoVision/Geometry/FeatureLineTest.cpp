#include <RoVision/Geometry/FeatureLine.h>
#include <RoVision/Geometry/LinePlaneIntersection.h>
#include <TyVision/TyVision.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>

#include <cmath>

namespace rv = Ro::Vision;

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
  EXPECT_DOUBLE_EQ(slope, 0.5);
  EXPECT_DOUBLE_EQ(intercept, 6);
  rv::GetSlopeInterceptFromProfileFeatureLine(msg, &slope, &intercept);
  EXPECT_DOUBLE_EQ(slope, -2);
  EXPECT_DOUBLE_EQ(intercept, 3);

  // A vertical direction is not guarded: the slope is infinite.
  const Ty::Object<void*> vertical = Message(zPoint3d64f{1, 0, 0}, zPoint3d64f{0, 1, 0});
  rv::GetSlopeInterceptFromFeatureLine(vertical, &slope, &intercept);
  EXPECT_TRUE(std::isinf(slope));
}

TEST_F(FeatureLine, RoundTripThroughSlopeAndIntercept) {
  for (double slope : {0.0, 0.75, -3.0, 1e6}) {
    zPoint3d64f position{9, 9, 9}, direction{9, 9, 9};
    rv::GetFeatureLineFromSlopeIntercept(slope, -2.5, &position, &direction);
    EXPECT_EQ(position.x, 0);
    EXPECT_EQ(position.y, -2.5);
    EXPECT_EQ(position.z, 0);
    EXPECT_NEAR(std::hypot(direction.x, direction.y), 1, kTolerance);
    EXPECT_GT(direction.x, 0);
    const Ty::Object<void*> msg = Message(position, direction);
    double s = 0, b = 0;
    rv::GetSlopeInterceptFromFeatureLine(msg, &s, &b);
    EXPECT_NEAR(s, slope, 1e-9 * std::max(1.0, std::fabs(slope)));
    EXPECT_DOUBLE_EQ(b, -2.5);
  }
  zPoint3d64f position{9, 9, 9}, direction{9, 9, 9};
  rv::GetFeatureLineFromSlopeIntercept(kNull, 1, &position, &direction);
  rv::GetFeatureLineFromSlopeIntercept(1, kNull, &position, &direction);
  EXPECT_EQ(position.y, 9) << "nothing is written for an unset slope or intercept";
  EXPECT_EQ(direction.x, 9);
}

TEST_F(FeatureLine, FailingAccessorsAndNullOutputsRaise) {
  double slope = 1, intercept = 1;
  auto caught =
      rotest::CatchTy([&] { rv::GetSlopeInterceptFromFeatureLine(nullptr, &slope, &intercept); });
  ASSERT_TRUE(caught.has_value());
  EXPECT_EQ(caught->Status(), zERROR_PARAMETER);
  EXPECT_EQ(caught->Line(), 3004);
  EXPECT_EQ(caught->File(), "Geometry/Geometry");
  EXPECT_EQ(slope, kNull) << "outputs are cleared first";

  // A message of another kind is refused by the accessor as well.
  void* surface = nullptr;
  ASSERT_EQ(TvSurfaceMsg_Construct(&surface, 2, 2, 1, 0, alloc_), zOK);
  const Ty::Object<void*> other(surface);
  caught = rotest::CatchTy(
      [&] { rv::GetSlopeInterceptFromProfileFeatureLine(other, &slope, &intercept); });
  ASSERT_TRUE(caught.has_value());
  EXPECT_EQ(caught->Line(), 3014);
  EXPECT_EQ(caught->Function(), "Ro::Vision::GetSlopeInterceptFromProfileFeatureLine");

  const Ty::Object<void*> msg = Message(zPoint3d64f{0, 0, 0}, zPoint3d64f{1, 0, 0});
  EXPECT_TY_THROW(rv::GetSlopeInterceptFromFeatureLine(msg, nullptr, &intercept), -997,
                  "Ro::Vision::GetSlopeInterceptFromFeatureLine");
  EXPECT_TY_THROW(rv::GetSlopeInterceptFromProfileFeatureLine(msg, &slope, nullptr), -997,
                  "Ro::Vision::GetSlopeInterceptFromProfileFeatureLine");
  zPoint3d64f p;
  EXPECT_TY_THROW(rv::GetFeatureLineFromSlopeIntercept(1, 2, &p, nullptr), -997,
                  "Ro::Vision::GetFeatureLineFromSlopeIntercept");
}

rv::Line3d<double> Line(double x, double y, double z, double dx, double dy, double dz) {
  return rv::Line3d<double>{rv::Point3d<double>{x, y, z}, rv::Point3d<double>{dx, dy, dz}};
}

TEST(LinePlaneIntersection, MeetsThePlane) {
  // The plane 2x - y + 2z - 6 = 0 (normal not unit), the line from (1, 1, 1) along (0, 0, 5).
  const rv::PlaneParams<double> plane{2, -1, 2, -6};
  const rv::Point3d<double> p = rv::LinePlaneIntersection(Line(1, 1, 1, 0, 0, 5), plane);
  EXPECT_NEAR(p.x, 1, kTolerance);
  EXPECT_NEAR(p.y, 1, kTolerance);
  EXPECT_NEAR(p.z, 2.5, kTolerance);
  EXPECT_NEAR(2 * p.x - p.y + 2 * p.z - 6, 0, kTolerance);
  // A slanted line far from the origin.
  const rv::Point3d<double> q = rv::LinePlaneIntersection(Line(1e3, -2e3, 7, 3, 1, -2), plane);
  EXPECT_NEAR(2 * q.x - q.y + 2 * q.z - 6, 0, 1e-9);
  EXPECT_NEAR((q.x - 1e3) / 3, (q.y + 2e3) / 1, 1e-9) << "on the line";
}

TEST(LinePlaneIntersection, ParallelOrUnsetGivesTheNullPoint) {
  const rv::PlaneParams<double> plane{0, 0, 1, -2};
  const rv::Line3d<double> cases[] = {
      Line(0, 0, 2, 1, 1, 0),      // lying in the plane
      Line(0, 0, 5, 0, 1, 0),      // parallel above it
      Line(0, 0, 5, 1, 0, 1e-8),   // within the single-precision epsilon
      Line(kNull, 0, 5, 0, 0, 1),  // unset point
      Line(0, 0, 5, 0, kNull, 1),  // unset direction
  };
  for (const rv::Line3d<double>& line : cases) {
    const rv::Point3d<double> p = rv::LinePlaneIntersection(line, plane);
    EXPECT_TRUE(p.x == kNull && p.y == kNull && p.z == kNull);
  }
  rv::PlaneParams<double> unset = plane;
  unset.d = kNull;
  EXPECT_EQ(rv::LinePlaneIntersection(Line(0, 0, 0, 0, 0, 1), unset).z, kNull);
}

TEST(LinePlaneIntersection, ZeroDirectionRaisesTheNormalisationStatus) {
  auto caught = rotest::CatchTy([] {
    rv::LinePlaneIntersection(Line(0, 0, 0, 0, 0, 0), rv::PlaneParams<double>{0, 0, 1, 0});
  });
  ASSERT_TRUE(caught.has_value());
  EXPECT_EQ(caught->Status(), zERROR_PARAMETER);
  EXPECT_EQ(caught->Line(), 3051);
  EXPECT_EQ(caught->Function(), "Ro::Vision::LinePlaneIntersection");
}

}  // namespace
