#include <RoVision/Alignment/Anchor.h>
#include <RoVision/Geometry/SectorContainment.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <gtest/gtest.h>
#include <support/TestSupport.h>

#include <cmath>
#include <random>
#include <vector>

namespace rv = Ro::Vision;

namespace {

constexpr double kNull = rv::kNullDouble;
// Plane turns and back: a few products of unit-sized sines with coordinates up to 100.
constexpr double kTolerance = 1e-12;

rv::Anchor MakeAnchor(double x, double y, double z, double rx, double ry, double rz) {
  rv::Anchor a;
  a.x = x, a.y = y, a.z = z, a.rx = rx, a.ry = ry, a.rz = rz;
  return a;
}

rv::Region2d<double> Region2(double x, double y, double angle) {
  return rv::Region2d<double>{x, y, 4, 6, angle};
}

rv::Region3d<double> Region3(double x, double y, double z) {
  return rv::Region3d<double>{x, y, z, 4, 6, 8, 5, -10, 20};
}

// p -> R p + t with R = Rx Ry Rz (order 0) or Rz Ry Rx (order 1), written out by hand.
rv::Point3d<double> ReferenceAnchorMap(const rv::Anchor& a, int order, rv::Point3d<double> p) {
  const auto turn = [](double degrees, int axis, rv::Point3d<double> q) {
    const double t = degrees * M_PI / 180, c = std::cos(t), s = std::sin(t);
    if (axis == 0) return rv::Point3d<double>{q.x, c * q.y - s * q.z, s * q.y + c * q.z};
    if (axis == 1) return rv::Point3d<double>{c * q.x + s * q.z, q.y, -s * q.x + c * q.z};
    return rv::Point3d<double>{c * q.x - s * q.y, s * q.x + c * q.y, q.z};
  };
  if (order == 0) {
    p = turn(a.rz, 2, p), p = turn(a.ry, 1, p), p = turn(a.rx, 0, p);
  } else if (order == 1) {
    p = turn(a.rx, 0, p), p = turn(a.ry, 1, p), p = turn(a.rz, 2, p);
  }
  return rv::Point3d<double>{p.x + a.x, p.y + a.y, p.z + a.z};
}

void ExpectPointNear(const rv::Point3d<double>& a, const rv::Point3d<double>& b,
                     const char* what = "") {
  EXPECT_NEAR(a.x, b.x, kTolerance) << what;
  EXPECT_NEAR(a.y, b.y, kTolerance) << what;
  EXPECT_NEAR(a.z, b.z, kTolerance) << what;
}

TEST(CreateAnchorTransform, RotatesThenTranslatesInTheGivenOrder) {
  const rv::Anchor a = MakeAnchor(1, -2, 3, 15, -25, 40);
  const rv::Point3d<double> p{0.5, 2, -1.5};
  for (int order : {0, 1, 2, -1}) {
    const rv::RefFrame f = rv::CreateAnchorTransform(a, static_cast<rv::RotationOrder>(order));
    ExpectPointNear(f.Apply(p), ReferenceAnchorMap(a, order, p), "order");
  }
  // Unset components do not act.
  const rv::RefFrame f = rv::CreateAnchorTransform(MakeAnchor(kNull, 5, kNull, kNull, kNull, 90),
                                                   rv::kRotationOrderXYZ);
  ExpectPointNear(f.Apply(rv::Point3d<double>{1, 0, 7}), rv::Point3d<double>{0, 6, 7});
}

TEST(AnchorRegion, PlaneRegionTurnsAboutTheOriginThenShifts) {
  rv::Region2d<double> out;
  rv::AnchorRegion(MakeAnchor(10, 0, kNull, kNull, kNull, 90), Region2(1, 0, 5), &out);
  EXPECT_NEAR(out.x, 10, kTolerance);
  EXPECT_NEAR(out.y, 1, kTolerance);
  EXPECT_EQ(out.angle, 95);
  EXPECT_EQ(out.width, 4);
  EXPECT_EQ(out.length, 6);

  rv::AnchorRegion(MakeAnchor(10, 0, kNull, kNull, kNull, kNull), Region2(1, 0, 5), &out);
  EXPECT_EQ(out.x, 11);
  EXPECT_EQ(out.y, 0);
  EXPECT_EQ(out.angle, 5);

  // With an offset missing there is no turn, only the shift that is set; the angle still turns.
  rv::AnchorRegion(MakeAnchor(kNull, 2, kNull, kNull, kNull, 30), Region2(1, 1, kNull), &out);
  EXPECT_EQ(out.x, 1);
  EXPECT_EQ(out.y, 3);
  EXPECT_EQ(out.angle, kNull) << "an unset region angle stays unset";
}

TEST(AnchorRegion, XZRegionAngleTurnsTheOtherWay) {
  rv::RegionXZ<double> in{1, 0, 4, 6, 10}, out;
  rv::AnchorRegion(MakeAnchor(10, kNull, 0, kNull, 30, kNull), in, &out);
  EXPECT_EQ(out.angle, -20);
  rv::AnchorRegion(MakeAnchor(10, kNull, 0, kNull, 90, kNull), in, &out);
  EXPECT_NEAR(out.x, 10, kTolerance);
  EXPECT_NEAR(out.z, 1, kTolerance);
  EXPECT_EQ(out.width, 4);
  EXPECT_EQ(out.height, 6);
  // The anchor's y and rz play no part in the X/Z plane.
  rv::AnchorRegion(MakeAnchor(kNull, 7, 2, kNull, kNull, 45), in, &out);
  EXPECT_EQ(out.x, 1);
  EXPECT_EQ(out.z, 2);
  EXPECT_EQ(out.angle, 10);
}

TEST(AnchorRegion, UnsetAnchorLeavesEverythingUnchanged) {
  const rv::Anchor none;
  rv::Region2d<double> r2;
  rv::AnchorRegion(none, Region2(1, 2, 3), &r2);
  EXPECT_EQ(r2.x, 1);
  EXPECT_EQ(r2.y, 2);
  EXPECT_EQ(r2.angle, 3);
  rv::RegionXZ<double> rxz;
  rv::AnchorRegionInv(none, rv::RegionXZ<double>{1, 2, 3, 4, 5}, &rxz);
  EXPECT_EQ(rxz.x, 1);
  EXPECT_EQ(rxz.angle, 5);
  for (int order : {0, 1}) {
    rv::Region3d<double> r3;
    rv::AnchorRegion(none, static_cast<rv::RotationOrder>(order), Region3(1, 2, 3), &r3);
    EXPECT_EQ(r3.x, 1);
    EXPECT_EQ(r3.z, 3);
    EXPECT_EQ(r3.angleZ, 20);
    std::vector<rv::Point3d<double>> points = {{1, 2, 3}}, moved(1);
    rv::AnchorPointSetRegion(none, static_cast<rv::RotationOrder>(order), points.data(), 1,
                             moved.data());
    EXPECT_EQ(moved[0].y, 2);
  }
}

TEST(AnchorRegion, InverseUndoesTheAnchoring) {
  std::mt19937 random(17);
  std::uniform_real_distribution<double> value(-100, 100), angle(-180, 180);
  for (int trial = 0; trial < 50; ++trial) {
    const rv::Anchor a = MakeAnchor(value(random), value(random), value(random), angle(random),
                                    angle(random), angle(random));
    const rv::Region2d<double> r2 = Region2(value(random), value(random), angle(random));
    rv::Region2d<double> there2, back2;
    rv::AnchorRegion(a, r2, &there2);
    rv::AnchorRegionInv(a, there2, &back2);
    EXPECT_NEAR(back2.x, r2.x, 1e-11);
    EXPECT_NEAR(back2.y, r2.y, 1e-11);
    EXPECT_NEAR(back2.angle, r2.angle, 1e-11);

    const rv::RegionXZ<double> rxz{value(random), value(random), 3, 4, angle(random)};
    rv::RegionXZ<double> therexz, backxz;
    rv::AnchorRegion(a, rxz, &therexz);
    rv::AnchorRegionInv(a, therexz, &backxz);
    EXPECT_NEAR(backxz.x, rxz.x, 1e-11);
    EXPECT_NEAR(backxz.z, rxz.z, 1e-11);
    EXPECT_NEAR(backxz.angle, rxz.angle, 1e-11);

    for (int order : {0, 1, 3}) {
      const auto o = static_cast<rv::RotationOrder>(order);
      const rv::Region3d<double> r3 = Region3(value(random), value(random), value(random));
      rv::Region3d<double> there3, back3;
      rv::AnchorRegion(a, o, r3, &there3);
      ExpectPointNear(rv::Point3d<double>{there3.x, there3.y, there3.z},
                      ReferenceAnchorMap(a, order, rv::Point3d<double>{r3.x, r3.y, r3.z}),
                      "3D centre");
      rv::AnchorRegionInv(a, o, there3, &back3);
      ExpectPointNear(rv::Point3d<double>{back3.x, back3.y, back3.z},
                      rv::Point3d<double>{r3.x, r3.y, r3.z}, "3D round trip");
      EXPECT_NEAR(back3.angleX, r3.angleX, 1e-11);
      EXPECT_NEAR(back3.angleZ, r3.angleZ, 1e-11);
      EXPECT_EQ(back3.height, r3.height);
    }
  }
}

TEST(AnchorRegion, SpaceRegionAnglesFollowTheAnchorAxisByAxis) {
  const rv::Anchor a = MakeAnchor(1, 2, 3, 4, kNull, 6);
  rv::Region3d<double> out;
  rv::AnchorRegion(a, rv::kRotationOrderZYX, Region3(0, 0, 0), &out);
  EXPECT_EQ(out.angleX, 5 + 4);
  EXPECT_EQ(out.angleY, -10) << "unset ry does not act";
  EXPECT_EQ(out.angleZ, 20 + 6);
  rv::AnchorRegion(a, static_cast<rv::RotationOrder>(2), Region3(0, 0, 0), &out);
  EXPECT_EQ(out.angleZ, 20) << "an order without rotation leaves the angles";
  EXPECT_EQ(out.x, 1);
  EXPECT_EQ(out.z, 3);
}

TEST(AnchorPolygon, CornersMoveAsRegionPoints) {
  const rv::Anchor a = MakeAnchor(3, -4, 5, 20, 30, 40);
  std::vector<rv::Point2d<double>> poly2 = {{0, 0}, {2, 0}, {2, 1}};
  const std::vector<rv::Point2d<double>> nominal2 = poly2;
  rv::AnchorPolygon(a, poly2, &poly2);  // in place
  ASSERT_EQ(poly2.size(), 3u);
  for (size_t i = 0; i < poly2.size(); ++i) {
    rv::Region2d<double> moved;
    rv::AnchorRegion(a, Region2(nominal2[i].x, nominal2[i].y, 0), &moved);
    EXPECT_EQ(poly2[i].x, moved.x);
    EXPECT_EQ(poly2[i].y, moved.y);
  }
  const std::vector<rv::PointXZ<double>> polyxz = {{1, 1}, {-2, 3}};
  std::vector<rv::PointXZ<double>> outxz = {{9, 9}, {9, 9}, {9, 9}};
  rv::AnchorPolygon(a, polyxz, &outxz);
  ASSERT_EQ(outxz.size(), 2u);
  rv::RegionXZ<double> movedxz;
  rv::AnchorRegion(a, rv::RegionXZ<double>{-2, 3, 1, 1, 0}, &movedxz);
  EXPECT_EQ(outxz[1].x, movedxz.x);
  EXPECT_EQ(outxz[1].z, movedxz.z);

  const std::vector<rv::Point3d<double>> poly3 = {{1, 2, 3}, {-1, 0, 4}};
  std::vector<rv::Point3d<double>> out3;
  rv::AnchorPolygon(a, rv::kRotationOrderXYZ, poly3, &out3);
  ASSERT_EQ(out3.size(), 2u);
  ExpectPointNear(out3[1], ReferenceAnchorMap(a, 0, poly3[1]));
}

TEST(AnchorPolygon, PlaneRegionAndItsCornersMoveTogether) {
  // Anchoring a rectangle's corner polygon gives the corner polygon of the anchored rectangle.
  const rv::Anchor a = MakeAnchor(3, -4, kNull, kNull, kNull, 40);
  const rv::Region2d<double> region = Region2(1, 2, 15);
  std::vector<rv::Point2d<double>> corners, anchoredCorners;
  rv::ExtractPolygonFromRect(region, &corners);
  rv::AnchorPolygon(a, corners, &corners);
  rv::Region2d<double> anchored;
  rv::AnchorRegion(a, region, &anchored);
  rv::ExtractPolygonFromRect(anchored, &anchoredCorners);
  ASSERT_EQ(corners.size(), 4u);
  for (size_t i = 0; i < corners.size(); ++i) {
    EXPECT_NEAR(corners[i].x, anchoredCorners[i].x, kTolerance) << i;
    EXPECT_NEAR(corners[i].y, anchoredCorners[i].y, kTolerance) << i;
  }
}

TEST(AnchorPointSetRegion, MapsEveryPointByTheAnchorTransform) {
  const rv::Anchor a = MakeAnchor(1, kNull, 2, 10, 20, 30);
  std::vector<rv::Point3d<double>> points = {{1, 2, 3}, {4, 5, 6}, {-7, 8, -9}};
  const std::vector<rv::Point3d<double>> nominal = points;
  rv::AnchorPointSetRegion(a, rv::kRotationOrderZYX, points.data(), points.size(), points.data());
  rv::Anchor shifted = a;
  shifted.y = 0;  // the reference map has no unset offsets
  for (size_t i = 0; i < points.size(); ++i) {
    ExpectPointNear(points[i], ReferenceAnchorMap(shifted, 1, nominal[i]));
  }
}

TEST(AnchorSectors, CentreMovesAndAnchoredPointsStayInside) {
  // A point inside the nominal sector, moved with the sector by an anchor turning about z, lies
  // inside the anchored sector.
  const rv::Anchor a = MakeAnchor(10, -5, 2, kNull, kNull, 70);
  const rv::RefFrame f = rv::CreateAnchorTransform(a, rv::kRotationOrderXYZ);
  rv::AnnularSector3d<double> annular{1, 3, 20, 50, 4, rv::Point3d<double>{1, 1, 1}};
  rv::EllipticalSector3d<double> elliptical{2, 1, 6, 4, 10, 100, 4, rv::Point3d<double>{1, 1, 1},
                                            0, 0, 25};
  rv::AnnularSector3d<double> annularOut;
  rv::EllipticalSector3d<double> ellipticalOut;
  rv::AnchorAnnularSector(a, rv::kRotationOrderXYZ, annular, &annularOut);
  rv::AnchorEllipticalSector(a, rv::kRotationOrderXYZ, elliptical, &ellipticalOut);
  ExpectPointNear(annularOut.center, f.Apply(annular.center));
  ExpectPointNear(ellipticalOut.center, f.Apply(elliptical.center));
  EXPECT_EQ(annularOut.startAngle, 90);
  EXPECT_EQ(annularOut.angleSpan, 50);
  EXPECT_EQ(ellipticalOut.startAngle, 10);
  EXPECT_EQ(ellipticalOut.angleZ, 95);

  std::mt19937 random(2);
  std::uniform_real_distribution<double> coordinate(-3, 5);
  int insideAnnular = 0, insideElliptical = 0;
  for (int i = 0; i < 2000; ++i) {
    const rv::Point3d<double> p{coordinate(random), coordinate(random), coordinate(random)};
    const rv::Point3d<double> q = f.Apply(p);
    const int a0 = rv::IsPointInAnnularSector(annular, p, 1);
    EXPECT_EQ(rv::IsPointInAnnularSector(annularOut, q, 1), a0) << i;
    const int e0 = rv::IsPointInEllipticalSector(elliptical, p, 1);
    EXPECT_EQ(rv::IsPointInEllipticalSector(ellipticalOut, q, 1), e0) << i;
    insideAnnular += a0, insideElliptical += e0;
  }
  EXPECT_GT(insideAnnular, 20) << "the sample reaches into the sector";
  EXPECT_GT(insideElliptical, 20);
}

TEST(Anchor, NullPointersAreInvalidArguments) {
  const rv::Anchor a = MakeAnchor(1, 2, 3, 4, 5, 6);
  const auto o = rv::kRotationOrderXYZ;
  const auto expectLine = [](const std::function<void()>& action, int line, const char* function) {
    auto caught = rotest::CatchTy(action);
    ASSERT_TRUE(caught.has_value()) << function;
    EXPECT_EQ(caught->Status(), -997);
    EXPECT_EQ(caught->File(), "Alignment/Anchor");
    EXPECT_EQ(caught->Function(), function);
    if (line) {
      EXPECT_EQ(caught->Line(), line);
    }
  };
  rv::Point3d<double> p{1, 2, 3};
  expectLine([&] { rv::AnchorPointSetRegion(a, o, nullptr, 1, &p); }, 60,
             "Ro::Vision::AnchorPointSetRegion");
  expectLine([&] { rv::AnchorPointSetRegion(a, o, &p, 1, nullptr); }, 60,
             "Ro::Vision::AnchorPointSetRegion");
  expectLine([&] { rv::AnchorRegion(a, o, Region3(0, 0, 0), nullptr); }, 127,
             "Ro::Vision::AnchorRegion");
  expectLine([&] { rv::AnchorRegionInv(a, o, Region3(0, 0, 0), nullptr); }, 200,
             "Ro::Vision::AnchorRegionInv");
  expectLine([&] { rv::AnchorRegion(a, Region2(0, 0, 0), nullptr); }, 0,
             "Ro::Vision::AnchorRegion");
  expectLine([&] { rv::AnchorRegionInv(a, rv::RegionXZ<double>{}, nullptr); }, 0,
             "Ro::Vision::AnchorRegionInv");
  expectLine([&] { rv::AnchorPolygon(a, std::vector<rv::PointXZ<double>>{}, nullptr); }, 0,
             "Ro::Vision::AnchorPolygon");
  expectLine([&] { rv::AnchorAnnularSector(a, o, rv::AnnularSector3d<double>{}, nullptr); }, 0,
             "Ro::Vision::AnchorAnnularSector");
  expectLine([&] { rv::AnchorEllipticalSector(a, o, rv::EllipticalSector3d<double>{}, nullptr); },
             0, "Ro::Vision::AnchorEllipticalSector");
}

}  // namespace
