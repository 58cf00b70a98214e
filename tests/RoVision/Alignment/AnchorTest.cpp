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
  rotest::ExpectNear3(a, b.x, b.y, b.z, kTolerance, what);
}

// The fields of the plane and X/Z regions in order, for whole-record comparisons; the centre of
// a 3D region.
std::vector<double> Fields(const rv::Region2d<double>& r) {
  return {r.x, r.y, r.width, r.length, r.angle};
}
std::vector<double> Fields(const rv::RegionXZ<double>& r) {
  return {r.x, r.z, r.width, r.height, r.angle};
}
rv::Point3d<double> Centre(const rv::Region3d<double>& r) {
  return {r.x, r.y, r.z};
}

void ExpectFieldsNear(const std::vector<double>& a, const std::vector<double>& b,
                      const std::string& what) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], kTolerance) << what << " " << i;
}

// The region moved by the anchor (Anchored) or moved back (Unanchored); 3D regions take a
// rotation order after the region.
template <class R, class... Order>
R Anchored(const rv::Anchor& a, const R& r, Order... order) {
  R out;
  rv::AnchorRegion(a, static_cast<rv::RotationOrder>(order)..., r, &out);
  return out;
}
template <class R, class... Order>
R Unanchored(const rv::Anchor& a, const R& r, Order... order) {
  R out;
  rv::AnchorRegionInv(a, static_cast<rv::RotationOrder>(order)..., r, &out);
  return out;
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

TEST(AnchorRegion, PlaneAndXZRegionsTurnAboutTheOriginThenShift) {
  const rv::Region2d<double> plane = Region2(1, 0, 5);
  const rv::RegionXZ<double> xz{1, 0, 4, 6, 10};
  ExpectFieldsNear(Fields(Anchored(MakeAnchor(10, 0, kNull, kNull, kNull, 90), plane)),
                   {10, 1, 4, 6, 95}, "quarter turn then shift");
  ExpectFieldsNear(Fields(Anchored(MakeAnchor(10, 0, kNull, kNull, kNull, kNull), plane)),
                   {11, 0, 4, 6, 5}, "unset turn: shift only");
  ExpectFieldsNear(Fields(Anchored(rv::Anchor(), plane)), {1, 0, 4, 6, 5}, "unset anchor");
  ExpectFieldsNear(Fields(Anchored(MakeAnchor(10, kNull, 0, kNull, 30, kNull), xz)),
                   {10 + std::cos(M_PI / 6), std::sin(M_PI / 6), 4, 6, -20},
                   "X/Z angle turns the other way");
  ExpectFieldsNear(Fields(Anchored(MakeAnchor(10, kNull, 0, kNull, 90, kNull), xz)),
                   {10, 1, 4, 6, -80}, "X/Z quarter turn");
  ExpectFieldsNear(Fields(Anchored(MakeAnchor(kNull, 7, 2, kNull, kNull, 45), xz)),
                   {1, 2, 4, 6, 10}, "y and rz play no part in X/Z");
  // With an offset missing there is no turn, only the shift that is set; an unset region angle
  // stays unset.
  EXPECT_EQ(Fields(Anchored(MakeAnchor(kNull, 2, kNull, kNull, kNull, 30), Region2(1, 1, kNull))),
            (std::vector<double>{1, 3, 4, 6, kNull}));
}

TEST(AnchorRegion, UnsetAnchorLeavesEverythingUnchanged) {
  const rv::Anchor none;
  EXPECT_EQ(Fields(Unanchored(none, rv::RegionXZ<double>{1, 2, 3, 4, 5})),
            (std::vector<double>{1, 2, 3, 4, 5}));
  for (int order : {0, 1}) {
    const rv::Region3d<double> r3 = Anchored(none, Region3(1, 2, 3), order);
    EXPECT_EQ((std::vector<double>{r3.x, r3.y, r3.z, r3.angleX, r3.angleY, r3.angleZ}),
              (std::vector<double>{1, 2, 3, 5, -10, 20}));
    rv::Point3d<double> point{1, 2, 3}, moved;
    rv::AnchorPointSetRegion(none, static_cast<rv::RotationOrder>(order), &point, 1, &moved);
    EXPECT_EQ(moved.y, 2);
  }
}

TEST(AnchorRegion, InverseUndoesTheAnchoring) {
  std::mt19937 random(17);
  std::uniform_real_distribution<double> value(-100, 100), angle(-180, 180);
  for (int trial = 0; trial < 50; ++trial) {
    const rv::Anchor a = MakeAnchor(value(random), value(random), value(random), angle(random),
                                    angle(random), angle(random));
    const rv::Region2d<double> r2 = Region2(value(random), value(random), angle(random));
    ExpectFieldsNear(Fields(Unanchored(a, Anchored(a, r2))), Fields(r2), "plane round trip");
    const rv::RegionXZ<double> rxz{value(random), value(random), 3, 4, angle(random)};
    ExpectFieldsNear(Fields(Unanchored(a, Anchored(a, rxz))), Fields(rxz), "X/Z round trip");
    for (int order : {0, 1, 3}) {
      const rv::Region3d<double> r3 = Region3(value(random), value(random), value(random));
      const rv::Region3d<double> there = Anchored(a, r3, order), back = Unanchored(a, there, order);
      ExpectPointNear(Centre(there), ReferenceAnchorMap(a, order, Centre(r3)), "3D centre");
      ExpectPointNear(Centre(back), Centre(r3), "3D round trip");
      EXPECT_NEAR(back.angleX, r3.angleX, 1e-11);
      EXPECT_NEAR(back.angleZ, r3.angleZ, 1e-11);
      EXPECT_EQ(back.height, r3.height);
    }
  }
}

TEST(AnchorRegion, SpaceRegionAnglesFollowTheAnchorAxisByAxis) {
  const rv::Anchor a = MakeAnchor(1, 2, 3, 4, kNull, 6);
  const rv::Region3d<double> turned = Anchored(a, Region3(0, 0, 0), rv::kRotationOrderZYX);
  // Unset ry does not act.
  EXPECT_EQ((std::vector<double>{turned.angleX, turned.angleY, turned.angleZ}),
            (std::vector<double>{5 + 4, -10, 20 + 6}));
  // An order without rotation leaves the angles and only shifts.
  const rv::Region3d<double> out = Anchored(a, Region3(0, 0, 0), 2);
  EXPECT_EQ((std::vector<double>{out.x, out.y, out.z, out.angleX, out.angleY, out.angleZ}),
            (std::vector<double>{1, 2, 3, 5, -10, 20}));
}

TEST(AnchorPolygon, CornersMoveAsRegionPointsAndWithTheirRectangle) {
  const rv::Anchor a = MakeAnchor(3, -4, 5, 20, 30, 40);
  std::vector<rv::Point2d<double>> poly2 = {{0, 0}, {2, 0}, {2, 1}};
  const std::vector<rv::Point2d<double>> nominal2 = poly2;
  rv::AnchorPolygon(a, poly2, &poly2);  // in place
  ASSERT_EQ(poly2.size(), 3u);
  for (size_t i = 0; i < poly2.size(); ++i) {
    const rv::Region2d<double> moved = Anchored(a, Region2(nominal2[i].x, nominal2[i].y, 0));
    EXPECT_EQ((std::pair{poly2[i].x, poly2[i].y}), (std::pair{moved.x, moved.y})) << i;
  }
  const std::vector<rv::PointXZ<double>> polyxz = {{1, 1}, {-2, 3}};
  std::vector<rv::PointXZ<double>> outxz = {{9, 9}, {9, 9}, {9, 9}};
  rv::AnchorPolygon(a, polyxz, &outxz);
  ASSERT_EQ(outxz.size(), 2u);
  const rv::RegionXZ<double> movedxz = Anchored(a, rv::RegionXZ<double>{-2, 3, 1, 1, 0});
  EXPECT_EQ((std::pair{outxz[1].x, outxz[1].z}), (std::pair{movedxz.x, movedxz.z}));

  const std::vector<rv::Point3d<double>> poly3 = {{1, 2, 3}, {-1, 0, 4}};
  std::vector<rv::Point3d<double>> out3;
  rv::AnchorPolygon(a, rv::kRotationOrderXYZ, poly3, &out3);
  ASSERT_EQ(out3.size(), 2u);
  ExpectPointNear(out3[1], ReferenceAnchorMap(a, 0, poly3[1]));
  // Anchoring a rectangle's corner polygon gives the corner polygon of the anchored rectangle.
  const rv::Anchor turn = MakeAnchor(3, -4, kNull, kNull, kNull, 40);
  const rv::Region2d<double> region = Region2(1, 2, 15);
  std::vector<rv::Point2d<double>> corners, anchoredCorners;
  rv::ExtractPolygonFromRect(region, &corners);
  rv::AnchorPolygon(turn, corners, &corners);
  rv::ExtractPolygonFromRect(Anchored(turn, region), &anchoredCorners);
  ASSERT_EQ(corners.size(), 4u);
  for (size_t i = 0; i < corners.size(); ++i)
    ExpectFieldsNear({corners[i].x, corners[i].y}, {anchoredCorners[i].x, anchoredCorners[i].y},
                     "corner");
}

TEST(AnchorPointSetRegion, MapsEveryPointByTheAnchorTransform) {
  const rv::Anchor a = MakeAnchor(1, kNull, 2, 10, 20, 30);
  std::vector<rv::Point3d<double>> points = {{1, 2, 3}, {4, 5, 6}, {-7, 8, -9}};
  const std::vector<rv::Point3d<double>> nominal = points;
  rv::AnchorPointSetRegion(a, rv::kRotationOrderZYX, points.data(), points.size(), points.data());
  rv::Anchor shifted = a;
  shifted.y = 0;  // the reference map has no unset offsets
  for (size_t i = 0; i < points.size(); ++i)
    ExpectPointNear(points[i], ReferenceAnchorMap(shifted, 1, nominal[i]));
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
  EXPECT_EQ((std::vector<double>{annularOut.startAngle, annularOut.angleSpan,
                                 ellipticalOut.startAngle, ellipticalOut.angleZ}),
            (std::vector<double>{90, 50, 10, 95}));

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
  rv::Point3d<double> p{1, 2, 3};
  rotest::ExpectFailures(
      {{"points in", [&] { rv::AnchorPointSetRegion(a, o, nullptr, 1, &p); }, -997, 60,
        "Ro::Vision::AnchorPointSetRegion"},
       {"points out", [&] { rv::AnchorPointSetRegion(a, o, &p, 1, nullptr); }, -997, 60,
        "Ro::Vision::AnchorPointSetRegion"},
       {"3d region", [&] { rv::AnchorRegion(a, o, Region3(0, 0, 0), nullptr); }, -997, 127,
        "Ro::Vision::AnchorRegion"},
       {"3d inverse", [&] { rv::AnchorRegionInv(a, o, Region3(0, 0, 0), nullptr); }, -997, 200,
        "Ro::Vision::AnchorRegionInv"},
       {"2d region", [&] { rv::AnchorRegion(a, Region2(0, 0, 0), nullptr); }, -997, 0,
        "Ro::Vision::AnchorRegion"},
       {"xz inverse", [&] { rv::AnchorRegionInv(a, rv::RegionXZ<double>{}, nullptr); }, -997, 0,
        "Ro::Vision::AnchorRegionInv"},
       {"polygon", [&] { rv::AnchorPolygon(a, std::vector<rv::PointXZ<double>>{}, nullptr); }, -997,
        0, "Ro::Vision::AnchorPolygon"},
       {"annular", [&] { rv::AnchorAnnularSector(a, o, rv::AnnularSector3d<double>{}, nullptr); },
        -997, 0, "Ro::Vision::AnchorAnnularSector"},
       {"elliptical",
        [&] { rv::AnchorEllipticalSector(a, o, rv::EllipticalSector3d<double>{}, nullptr); }, -997,
        0, "Ro::Vision::AnchorEllipticalSector"}},
      "Alignment/Anchor");
}

}  // namespace
