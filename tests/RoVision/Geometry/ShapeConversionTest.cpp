#include <RoVision/Alignment/Anchor.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>

#include <cmath>
#include <functional>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = rv::kNullDouble;
constexpr double kTolerance = 1e-12;

TEST(ShapeConversion, RegionsMoveFieldByField) {
  rv::Region3d<double> r3;
  r3.angleX = 11, r3.angleY = 12;
  rv::Rect2dTo3d(rv::Region2d<double>{1, 2, 3, 4, 5}, &r3);
  EXPECT_EQ(r3.x, 1);
  EXPECT_EQ(r3.y, 2);
  EXPECT_EQ(r3.z, 0);
  EXPECT_EQ(r3.width, 3);
  EXPECT_EQ(r3.length, 4);
  EXPECT_EQ(r3.height, 0);
  EXPECT_EQ(r3.angleX, 11) << "fields 7 and 8 are left as they were";
  EXPECT_EQ(r3.angleY, 12);
  EXPECT_EQ(r3.angleZ, 5);

  rv::Region2d<double> r2;
  rv::Rect3dTo2d(rv::Region3d<double>{1, 2, 3, 4, 5, 6, 7, 8, 9}, &r2);
  EXPECT_EQ(r2.x, 1);
  EXPECT_EQ(r2.y, 2);
  EXPECT_EQ(r2.width, 4);
  EXPECT_EQ(r2.length, 5);
  EXPECT_EQ(r2.angle, 9);
}

TEST(ShapeConversion, PolygonsReplaceTheOutput) {
  std::vector<rv::Point2d<double>> flat = {{9, 9}};
  rv::Polygon3dTo2d({{1, 2, 3}, {4, 5, 6}}, &flat);
  ASSERT_EQ(flat.size(), 2u);
  EXPECT_EQ(flat[1].x, 4);
  EXPECT_EQ(flat[1].y, 5);
  std::vector<rv::Point3d<double>> lifted = {{9, 9, 9}, {9, 9, 9}, {9, 9, 9}};
  rv::Polygon2dTo3d(flat, &lifted);
  ASSERT_EQ(lifted.size(), 2u);
  EXPECT_EQ(lifted[0].x, 1);
  EXPECT_EQ(lifted[0].y, 2);
  EXPECT_EQ(lifted[0].z, 0);
  rv::Polygon2dTo3d({}, &lifted);
  EXPECT_TRUE(lifted.empty());
}

TEST(ShapeConversion, SectorsMoveFieldByField) {
  rv::AnnularSector3d<double> a3;
  rv::AnnularSector2dTo3d(rv::AnnularSector2d<double>{1, 2, 3, 4, {5, 6}}, &a3);
  EXPECT_EQ(a3.innerRadius, 1);
  EXPECT_EQ(a3.outerRadius, 2);
  EXPECT_EQ(a3.startAngle, 3);
  EXPECT_EQ(a3.angleSpan, 4);
  EXPECT_EQ(a3.height, 0);
  EXPECT_EQ(a3.center.x, 5);
  EXPECT_EQ(a3.center.y, 6);
  EXPECT_EQ(a3.center.z, 0);
  rv::AnnularSector2d<double> a2;
  rv::AnnularSector3dTo2d(rv::AnnularSector3d<double>{1, 2, 3, 4, 5, {6, 7, 8}}, &a2);
  EXPECT_EQ(a2.angleSpan, 4);
  EXPECT_EQ(a2.center.x, 6);
  EXPECT_EQ(a2.center.y, 7);

  rv::EllipticalSector3d<double> e3;
  e3.angleX = 21, e3.angleY = 22;
  rv::EllipticalSector2dTo3d(rv::EllipticalSector2d<double>{1, 2, 3, 4, 5, 6, {7, 8}, 9}, &e3);
  EXPECT_EQ(e3.innerLength, 1);
  EXPECT_EQ(e3.innerWidth, 2);
  EXPECT_EQ(e3.outerLength, 3);
  EXPECT_EQ(e3.outerWidth, 4);
  EXPECT_EQ(e3.startAngle, 5);
  EXPECT_EQ(e3.angleSpan, 6);
  EXPECT_EQ(e3.height, 0);
  EXPECT_EQ(e3.center.x, 7);
  EXPECT_EQ(e3.center.y, 8);
  EXPECT_EQ(e3.center.z, 0);
  EXPECT_EQ(e3.angleX, 21) << "fields 11 and 12 are left as they were";
  EXPECT_EQ(e3.angleY, 22);
  EXPECT_EQ(e3.angleZ, 9);
  rv::EllipticalSector2d<double> e2;
  rv::EllipticalSector3dTo2d(
      rv::EllipticalSector3d<double>{1, 2, 3, 4, 5, 6, 7, {8, 9, 10}, 11, 12, 13}, &e2);
  EXPECT_EQ(e2.outerWidth, 4);
  EXPECT_EQ(e2.angleSpan, 6);
  EXPECT_EQ(e2.center.x, 8);
  EXPECT_EQ(e2.center.y, 9);
  EXPECT_EQ(e2.angle, 13);
}

TEST(ShapeConversion, NullOutputsRaiseAtTheirLines) {
  struct Case {
    std::function<void()> action;
    int line;
    const char* function;
  };
  const std::vector<Case> cases = {
      {[] { rv::Rect3dTo2d({}, nullptr); }, 2552, "Ro::Vision::Rect3dTo2d"},
      {[] { rv::Rect2dTo3d({}, nullptr); }, 2566, "Ro::Vision::Rect2dTo3d"},
      {[] { rv::Polygon3dTo2d({}, nullptr); }, 2582, "Ro::Vision::Polygon3dTo2d"},
      {[] { rv::Polygon2dTo3d({}, nullptr); }, 2596, "Ro::Vision::Polygon2dTo3d"},
      {[] { rv::AnnularSector3dTo2d({}, nullptr); }, 2610, "Ro::Vision::AnnularSector3dTo2d"},
      {[] { rv::AnnularSector2dTo3d({}, nullptr); }, 2624, "Ro::Vision::AnnularSector2dTo3d"},
      {[] { rv::EllipticalSector3dTo2d({}, nullptr); }, 2639, "Ro::Vision::EllipticalSector3dTo2d"},
      {[] { rv::EllipticalSector2dTo3d({}, nullptr); }, 2656, "Ro::Vision::EllipticalSector2dTo3d"},
      {[] { rv::ExtractPolygonFromRect(rv::Region2d<double>{}, nullptr); }, 2929,
       "Ro::Vision::ExtractPolygonFromRect"},
      {[] { rv::ExtractPolygonFromRect(rv::RegionXZ<double>{}, nullptr); }, 2966,
       "Ro::Vision::ExtractPolygonFromRect"},
  };
  for (const Case& c : cases) {
    auto caught = rotest::CatchTy(c.action);
    ASSERT_TRUE(caught.has_value()) << c.function;
    EXPECT_EQ(caught->Status(), -997) << c.function;
    EXPECT_EQ(caught->Line(), c.line) << c.function;
    EXPECT_EQ(caught->File(), "Geometry/Geometry");
    EXPECT_EQ(caught->Function(), c.function);
  }
}

TEST(ExtractPolygonFromRect, NegligibleAngleGivesTheUnturnedCornersInOrder) {
  for (double angle : {0.0, 1e-8, -1e-8, kNull}) {
    std::vector<rv::Point2d<double>> corners = {{9, 9}};
    rv::ExtractPolygonFromRect(rv::Region2d<double>{10, 20, 4, 2, angle}, &corners);
    ASSERT_EQ(corners.size(), 4u) << angle;
    const double expected[4][2] = {{8, 19}, {12, 19}, {12, 21}, {8, 21}};
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(corners[i].x, expected[i][0]) << angle << " corner " << i;
      EXPECT_EQ(corners[i].y, expected[i][1]) << angle << " corner " << i;
    }
  }
}

TEST(ExtractPolygonFromRect, TurnsTheCornersAboutTheCentre) {
  // Each corner turned by the angle about the centre, counter-clockwise, written out by hand.
  for (double angle : {90.0, 30.0, -135.0, 2e-7}) {
    std::vector<rv::Point2d<double>> corners;
    rv::ExtractPolygonFromRect(rv::Region2d<double>{10, 20, 4, 2, angle}, &corners);
    std::vector<rv::PointXZ<double>> cornersXZ;
    rv::ExtractPolygonFromRect(rv::RegionXZ<double>{10, 20, 4, 2, angle}, &cornersXZ);
    ASSERT_EQ(corners.size(), 4u);
    ASSERT_EQ(cornersXZ.size(), 4u);
    const double t = angle * M_PI / 180, c = std::cos(t), s = std::sin(t);
    const double local[4][2] = {{-2, -1}, {2, -1}, {2, 1}, {-2, 1}};
    for (int i = 0; i < 4; ++i) {
      const double x = 10 + c * local[i][0] - s * local[i][1];
      const double y = 20 + s * local[i][0] + c * local[i][1];
      EXPECT_NEAR(corners[i].x, x, kTolerance) << angle << " corner " << i;
      EXPECT_NEAR(corners[i].y, y, kTolerance) << angle << " corner " << i;
      EXPECT_NEAR(cornersXZ[i].x, x, kTolerance) << angle << " corner " << i;
      EXPECT_NEAR(cornersXZ[i].z, y, kTolerance) << angle << " corner " << i;
    }
  }
}

TEST(TransformRegionXZ, IsTheAnchoringOfAnXZRegion) {
  const rv::RegionXZ<double> region{1, 0, 4, 6, 10};
  const rv::RegionXZ<double> moved = rv::TransformRegionXZ(region, zPoint64f{10, 5}, 90);
  EXPECT_NEAR(moved.x, 10, kTolerance);
  EXPECT_NEAR(moved.z, 6, kTolerance);
  EXPECT_EQ(moved.angle, -80);
  EXPECT_EQ(moved.width, 4);
  EXPECT_EQ(moved.height, 6);

  rv::Anchor anchor;
  anchor.x = -3, anchor.z = 7, anchor.ry = 33;
  rv::RegionXZ<double> anchored;
  rv::AnchorRegion(anchor, region, &anchored);
  const rv::RegionXZ<double> same = rv::TransformRegionXZ(region, zPoint64f{-3, 7}, 33);
  EXPECT_EQ(same.x, anchored.x);
  EXPECT_EQ(same.z, anchored.z);
  EXPECT_EQ(same.angle, anchored.angle);

  const rv::RegionXZ<double> shifted = rv::TransformRegionXZ(region, zPoint64f{2, 3}, kNull);
  EXPECT_EQ(shifted.x, 3);
  EXPECT_EQ(shifted.z, 3);
  EXPECT_EQ(shifted.angle, 10);
}

}  // namespace
