#include <RoVision/Alignment/Anchor.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>

#include <cmath>
#include <functional>
#include <vector>

#include "GeometryTestSupport.h"

namespace rv = Ro::Vision;
using geotest::Fields;
using geotest::Flatten;
using geotest::Values;

namespace {

constexpr double kNull = rv::kNullDouble;
constexpr double kTolerance = 1e-12;

// Fields the source lacks become 0; the tilts about X and Y that only the 3D forms have are
// left as they were in the output.
TEST(ShapeConversion, RecordsMoveFieldByField) {
  rv::Region3d<double> r3;
  r3.angleX = 11, r3.angleY = 12;
  rv::Rect2dTo3d(rv::Region2d<double>{1, 2, 3, 4, 5}, &r3);
  EXPECT_EQ(Fields(r3), (Values{1, 2, 0, 3, 4, 0, 11, 12, 5}));
  rv::Region2d<double> r2;
  rv::Rect3dTo2d(rv::Region3d<double>{1, 2, 3, 4, 5, 6, 7, 8, 9}, &r2);
  EXPECT_EQ(Fields(r2), (Values{1, 2, 4, 5, 9}));

  rv::AnnularSector3d<double> a3;
  rv::AnnularSector2dTo3d(rv::AnnularSector2d<double>{1, 2, 3, 4, {5, 6}}, &a3);
  EXPECT_EQ(Fields(a3), (Values{1, 2, 3, 4, 0, 5, 6, 0}));
  rv::AnnularSector2d<double> a2;
  rv::AnnularSector3dTo2d(rv::AnnularSector3d<double>{1, 2, 3, 4, 5, {6, 7, 8}}, &a2);
  EXPECT_EQ(Fields(a2), (Values{1, 2, 3, 4, 6, 7}));

  rv::EllipticalSector3d<double> e3;
  e3.angleX = 21, e3.angleY = 22;
  rv::EllipticalSector2dTo3d(rv::EllipticalSector2d<double>{1, 2, 3, 4, 5, 6, {7, 8}, 9}, &e3);
  EXPECT_EQ(Fields(e3), (Values{1, 2, 3, 4, 5, 6, 0, 7, 8, 0, 21, 22, 9}));
  rv::EllipticalSector2d<double> e2;
  rv::EllipticalSector3dTo2d(
      rv::EllipticalSector3d<double>{1, 2, 3, 4, 5, 6, 7, {8, 9, 10}, 11, 12, 13}, &e2);
  EXPECT_EQ(Fields(e2), (Values{1, 2, 3, 4, 5, 6, 8, 9, 13}));
}

TEST(ShapeConversion, PolygonsReplaceTheOutput) {
  std::vector<rv::Point2d<double>> flat = {{9, 9}};
  rv::Polygon3dTo2d({{1, 2, 3}, {4, 5, 6}}, &flat);
  EXPECT_EQ(Flatten(flat), (Values{1, 2, 4, 5}));
  std::vector<rv::Point3d<double>> lifted = {{9, 9, 9}, {9, 9, 9}, {9, 9, 9}};
  rv::Polygon2dTo3d(flat, &lifted);
  EXPECT_EQ(Flatten(lifted), (Values{1, 2, 0, 4, 5, 0}));
  rv::Polygon2dTo3d({}, &lifted);
  EXPECT_TRUE(lifted.empty());
}

TEST(ShapeConversion, NullOutputsRaiseAtTheirLines) {
  const auto raises = [](const char* function, int line, std::function<void()> action) {
    return rotest::Failure{function, std::move(action), -997, line, function};
  };
  rotest::ExpectFailures(
      {raises("Ro::Vision::Rect3dTo2d", 2552, [] { rv::Rect3dTo2d({}, nullptr); }),
       raises("Ro::Vision::Rect2dTo3d", 2566, [] { rv::Rect2dTo3d({}, nullptr); }),
       raises("Ro::Vision::Polygon3dTo2d", 2582, [] { rv::Polygon3dTo2d({}, nullptr); }),
       raises("Ro::Vision::Polygon2dTo3d", 2596, [] { rv::Polygon2dTo3d({}, nullptr); }),
       raises("Ro::Vision::AnnularSector3dTo2d", 2610,
              [] { rv::AnnularSector3dTo2d({}, nullptr); }),
       raises("Ro::Vision::AnnularSector2dTo3d", 2624,
              [] { rv::AnnularSector2dTo3d({}, nullptr); }),
       raises("Ro::Vision::EllipticalSector3dTo2d", 2639,
              [] { rv::EllipticalSector3dTo2d({}, nullptr); }),
       raises("Ro::Vision::EllipticalSector2dTo3d", 2656,
              [] { rv::EllipticalSector2dTo3d({}, nullptr); }),
       raises("Ro::Vision::ExtractPolygonFromRect", 2929,
              [] { rv::ExtractPolygonFromRect(rv::Region2d<double>{}, nullptr); }),
       raises("Ro::Vision::ExtractPolygonFromRect", 2966,
              [] { rv::ExtractPolygonFromRect(rv::RegionXZ<double>{}, nullptr); })},
      "Geometry/Geometry");
}

// Each corner turned by the angle about the centre, counter-clockwise, from the unturned ones in
// order. A negligible or unset angle gives the unturned corners exactly; 2e-7 is turned.
TEST(ExtractPolygonFromRect, TurnsTheCornersAboutTheCentre) {
  const double local[4][2] = {{-2, -1}, {2, -1}, {2, 1}, {-2, 1}};
  for (double angle : {0.0, 1e-8, -1e-8, kNull, 90.0, 30.0, -135.0, 2e-7}) {
    SCOPED_TRACE(angle);
    const bool negligible = angle == kNull || std::fabs(angle) < 1e-7;
    const double t = negligible ? 0 : angle * M_PI / 180, c = std::cos(t), s = std::sin(t);
    Values expected;
    for (const auto& l : local) {
      expected.push_back(10 + c * l[0] - s * l[1]);
      expected.push_back(20 + s * l[0] + c * l[1]);
    }
    std::vector<rv::Point2d<double>> corners = {{9, 9}};
    rv::ExtractPolygonFromRect(rv::Region2d<double>{10, 20, 4, 2, angle}, &corners);
    std::vector<rv::PointXZ<double>> cornersXZ;
    rv::ExtractPolygonFromRect(rv::RegionXZ<double>{10, 20, 4, 2, angle}, &cornersXZ);
    if (negligible) {
      EXPECT_EQ(Flatten(corners), expected);
    }
    geotest::ExpectNear(Flatten(corners), expected, kTolerance);
    geotest::ExpectNear(Flatten(cornersXZ), expected, kTolerance, "XZ");
  }
}

TEST(TransformRegionXZ, IsTheAnchoringOfAnXZRegion) {
  const rv::RegionXZ<double> region{1, 0, 4, 6, 10};
  const rv::RegionXZ<double> moved = rv::TransformRegionXZ(region, zPoint64f{10, 5}, 90);
  EXPECT_NEAR(moved.x, 10, kTolerance);
  EXPECT_NEAR(moved.z, 6, kTolerance);
  EXPECT_EQ((Values{moved.width, moved.height, moved.angle}), (Values{4, 6, -80}));

  rv::Anchor anchor;
  anchor.x = -3, anchor.z = 7, anchor.ry = 33;
  rv::RegionXZ<double> anchored;
  rv::AnchorRegion(anchor, region, &anchored);
  EXPECT_EQ(Fields(rv::TransformRegionXZ(region, zPoint64f{-3, 7}, 33)), Fields(anchored));
  EXPECT_EQ(Fields(rv::TransformRegionXZ(region, zPoint64f{2, 3}, kNull)),
            (Values{3, 3, 4, 6, 10}));
}

}  // namespace
