#include <RoVision/Alignment/RefFrame.h>
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
#include <Eigen/Geometry>
#endif

namespace rv = Ro::Vision;

namespace {

using P3 = rv::Point3d<double>;
constexpr double kNull = rv::kNullDouble;
// A handful of products and sums of unit-sized values: rounding stays near 1e-15.
constexpr double kTight = 1e-12;
// Exact correspondences through a fit: the Jacobi eigenvectors settle to about 1e-12 relative.
constexpr double kFitTolerance = 1e-9;

std::vector<double> Fields(const rv::RefFrame& f) {
  return {f.GetIx(), f.GetIy(), f.GetIz(), f.GetJx(), f.GetJy(), f.GetJz(),
          f.GetKx(), f.GetKy(), f.GetKz(), f.GetTx(), f.GetTy(), f.GetTz()};
}

void ExpectFramesNear(const rv::RefFrame& a, const rv::RefFrame& b, double tolerance,
                      const char* what = "") {
  const std::vector<double> fa = Fields(a), fb = Fields(b);
  for (size_t i = 0; i < fa.size(); ++i) EXPECT_NEAR(fa[i], fb[i], tolerance) << what << " " << i;
}

rv::RefFrame RandomFrame(std::mt19937& random) {
  std::uniform_real_distribution<double> value(-3, 3);
  double v[12];
  for (double& x : v) x = value(random);
  return rv::RefFrame(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11]);
}

rv::RefFrame RigidFrame(double rx, double ry, double rz, double tx, double ty, double tz) {
  return rv::RefFrame().RotateXYZ(rx, ry, rz).Translate(tx, ty, tz);
}

// A frame far from the identity, so that a setter that leaves a field alone shows.
rv::RefFrame Nines() {
  return rv::RefFrame(9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9);
}

TEST(RefFrame, DefaultIsIdentityAndIdentityToleranceIsMachineEpsilon) {
  rv::RefFrame f;
  EXPECT_TRUE(f.IsIdentity());
  EXPECT_EQ(Fields(f), (std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
  const double cases[][3] = {{1e-16, 1, 1}, {3e-16, 1, 0}, {0, 1 + 4.5e-16, 0}, {0, kNull, 0}};
  for (const auto& [ty, kz, identity] : cases) {  // identity: 1 for true
    f.SetTy(ty), f.SetKz(kz);
    EXPECT_EQ(f.IsIdentity(), identity == 1) << ty << " " << kz;
  }
}

TEST(RefFrame, FieldOrderColumnsAndTozTransform) {
  const rv::RefFrame f(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
  EXPECT_EQ(Fields(f), (std::vector<double>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
  // (Ix, Iy, Iz) is the image of the x axis, the translation the image of the origin.
  rotest::ExpectNear3(f.Apply(P3{1, 0, 0}), 1 + 10, 2 + 11, 3 + 12, 0);
  rotest::ExpectNear3(f.GetColumn(1), 4, 5, 6, 0);
  rotest::ExpectNear3(f.GetTranslation(), 10, 11, 12, 0);
  rotest::ExpectNear3(f.GetColumn(3), 10, 11, 12, 0);
  for (int bad : {-1, 4}) EXPECT_EQ(f.GetColumn(bad).x, kNull) << bad;
  // The platform transform is row by row and maps as Apply.
  const zL3dTransform3d t = f.TozTransform();
  EXPECT_EQ((std::vector<double>{t.xx, t.xy, t.xz, t.xt, t.yx, t.yt, t.zz, t.zt}),
            (std::vector<double>{1, 4, 7, 10, 2, 11, 9, 12}));
  const zPoint3d64f p{0.5, -1.25, 2};
  zPoint3d64f q;
  ASSERT_EQ(zL3dTransform3d_Apply(&t, &p, &q), zOK);
  const zPoint3d64f e = f.Apply(p);
  rotest::ExpectNear3(q, e.x, e.y, e.z, 1e-14);
}

TEST(RefFrame, NonUnitAxisChangesTheEffectiveAngle) {
  const P3 p = rv::RefFrame().Rotate(90, P3{0, 0, 2}).Apply(P3{1, 0, 0});
  const double turned = std::atan2(p.y, p.x) * 180 / M_PI;
  EXPECT_NEAR(turned, 2 * std::acos(1 / std::sqrt(5.0)) * 180 / M_PI, 1e-10);
  EXPECT_NEAR(turned, 126.8698976, 1e-6);
}

TEST(RefFrame, UnsetAnglesOffsetsAndCoordinatesDoNotAct) {
  std::mt19937 random(3);
  const rv::RefFrame start = RandomFrame(random);
  for (double angle : {0.0, kNull}) {
    rv::RefFrame f = start;
    f.Rotate(angle, P3{1, 2, 3});
    f.RotateXYZ(angle, angle, angle);
    f.RotateZYX(angle, angle, angle);
    f.RotateAroundPoint(P3{5, 6, 7}, angle, P3{0, 0, 1});
    EXPECT_EQ(Fields(f), Fields(start)) << angle;
  }
  rv::RefFrame f;
  f.Translate(1, kNull, 3);
  rotest::ExpectNear3(f.GetTranslation(), 1, 0, 3, 0);
  f.Translate(P3{kNull, 2, kNull});
  EXPECT_EQ(Fields(f), (std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 2, 3}));
  // Applying to a point with an unset coordinate gives the unset point.
  f = RigidFrame(10, 20, 30, 1, 2, 3);
  for (int i = 0; i < 3; ++i) {
    double c[3] = {1, 2, 3};
    c[i] = kNull;
    const P3 p = f.Apply(P3{c[0], c[1], c[2]});
    EXPECT_TRUE(p.x == kNull && p.y == kNull && p.z == kNull) << i;
    const zPoint3d64f q = f.Apply(zPoint3d64f{c[0], c[1], c[2]});
    EXPECT_TRUE(q.x == kNull && q.y == kNull && q.z == kNull) << i;
  }
  const zPoint64f flat = f.Apply(zPoint64f{kNull, 1});
  EXPECT_TRUE(flat.x == kNull && flat.y == kNull);
}

TEST(RefFrame, ApplyNMatchesApplyForEveryPointTypeAndWorksInPlace) {
  const rv::RefFrame f = RigidFrame(10, -20, 35, 1, 2, 3);
  std::vector<zPoint3d64f> in = {{1, 2, 3}, {-4, 0.5, 7}, {kNull, 0, 0}}, out(in.size());
  f.ApplyN(in.data(), out.data(), in.size());
  for (size_t i = 0; i < in.size(); ++i) {
    const zPoint3d64f e = f.Apply(in[i]);
    EXPECT_EQ(std::memcmp(&out[i], &e, sizeof e), 0) << i;
  }
  std::vector<P3> records = {{1, 2, 3}, {-4, 0.5, 7}};
  f.ApplyN(records.data(), records.data(), records.size());
  for (size_t i = 0; i < records.size(); ++i)
    rotest::ExpectNear3(records[i], out[i].x, out[i].y, out[i].z, 0, "records");
  // Floats are mapped in double and rounded once; the float null stays null.
  std::vector<zPoint3d32f> floats = {{1, 2, 3}, {-FLT_MAX, 0, 0}};
  f.ApplyN(floats.data(), floats.data(), floats.size());
  rotest::ExpectNear3(floats[0], float(out[0].x), float(out[0].y), float(out[0].z), 0, "floats");
  rotest::ExpectNear3(floats[1], -FLT_MAX, -FLT_MAX, -FLT_MAX, 0, "float null");
  // 2D points are taken at z = 0.
  std::vector<zPoint64f> flat = {{1, 2}, {kNull, 1}};
  f.ApplyN(flat.data(), flat.data(), flat.size());
  const zPoint3d64f lifted = f.Apply(zPoint3d64f{1, 2, 0});
  EXPECT_EQ(std::pair(flat[0].x, flat[0].y), std::pair(lifted.x, lifted.y));
  EXPECT_EQ(flat[1].y, kNull);
  // Null runs do nothing.
  f.ApplyN(static_cast<const zPoint3d64f*>(nullptr), out.data(), 3);
  f.ApplyN(in.data(), static_cast<zPoint3d64f*>(nullptr), 3);
}

TEST(RefFrame, ScaleComposesAlongTheWorldAxesAndReadsBack) {
  const rv::RefFrame g = RigidFrame(20, 40, 60, 1, 2, 3).Scale(P3{2, 3, kNull});
  rotest::ExpectNear3(g.GetScale(), 2, 3, 1, kTight);
  const P3 p{1, -2, 0.5}, rigid = RigidFrame(20, 40, 60, 1, 2, 3).Apply(p);
  rotest::ExpectNear3(g.Apply(p), 2 * rigid.x, 3 * rigid.y, rigid.z, kTight);
}

TEST(RefFrame, RotateFromNormalCarriesZOntoTheNormal) {
  const double normals[][3] = {{0, 0, 1}, {1, 0, 0}, {1, 2, 3}, {-0.3, 0.1, -2}, {0, -1, 1e-3}};
  for (const auto& [nx, ny, nz] : normals) {
    const rv::RefFrame f = Nines().Rotate(nx, ny, nz);
    const double n = std::sqrt(nx * nx + ny * ny + nz * nz);
    rotest::ExpectNear3(f.GetColumn(2), nx / n, ny / n, nz / n, kTight);
    // A rotation: orthonormal columns, no translation, and the horizontal axis perpendicular to
    // the normal stays where it is (the tilt turns about it).
    const zPoint3d64f i = f.GetColumn(0), j = f.GetColumn(1);
    EXPECT_NEAR(i.x * i.x + i.y * i.y + i.z * i.z, 1, kTight);
    EXPECT_NEAR(i.x * j.x + i.y * j.y + i.z * j.z, 0, kTight);
    EXPECT_EQ(f.GetTx(), 0);
    if (const double h = std::hypot(nx, ny); h > 0)
      rotest::ExpectNear3(f.Apply(P3{-ny / h, nx / h, 0}), -ny / h, nx / h, 0, kTight, "tilt");
  }
  // A zero normal or an unset component gives the identity.
  EXPECT_TRUE(Nines().Rotate(0.0, 0.0, 0.0).IsIdentity());
  EXPECT_TRUE(Nines().Rotate(1.0, kNull, 1.0).IsIdentity());
}

TEST(RefFrame, RegionRotationTurnsAboutItsCentreAndSetFrameFromOriginAndAngle) {
  const rv::RefFrame f = rv::RefFrame().RotateAroundPoint(P3{3, -4, 2}, 90, P3{0, 0, 1});
  rv::Region3d<double> region;
  region.x = 3, region.y = -4, region.z = 2, region.angleZ = 90;
  rv::RefFrame g;
  ExpectFramesNear(g.Rotate(region, false), f, kTight, "region rotation");
  ExpectFramesNear(g.Rotate(region, true), rv::RefFrame(), kTight, "inverse undoes it");
  region.angleZ = kNull;
  EXPECT_TRUE(g.SetIdentity().Rotate(region, false).IsIdentity());
  rotest::ExpectNear3(Nines().SetFrame(P3{10, 20, 30}, 90).Apply(P3{1, 0, 0}), 10, 21, 30, kTight);
}

// Composition against plain matrix products.
#ifdef RO_HAVE_EIGEN
Eigen::Matrix4d ToMatrix(const rv::RefFrame& f) {
  Eigen::Matrix4d m = Eigen::Matrix4d::Identity();
  m << f.GetIx(), f.GetJx(), f.GetKx(), f.GetTx(), f.GetIy(), f.GetJy(), f.GetKy(), f.GetTy(),
      f.GetIz(), f.GetJz(), f.GetKz(), f.GetTz(), 0, 0, 0, 1;
  return m;
}

void ExpectMatrixNear(const rv::RefFrame& f, const Eigen::Matrix4d& m, double tolerance,
                      const char* what) {
  EXPECT_LT((ToMatrix(f) - m).cwiseAbs().maxCoeff(), tolerance) << what << "\n"
                                                                << ToMatrix(f) << "\n"
                                                                << m;
}

Eigen::Matrix4d Rotation(double degrees, const Eigen::Vector3d& axis) {
  Eigen::Matrix4d m = Eigen::Matrix4d::Identity();
  m.topLeftCorner<3, 3>() = Eigen::AngleAxisd(degrees * M_PI / 180, axis.normalized()).matrix();
  return m;
}

TEST(RefFrame, CompositionIsFirstAThenBAndInvertOrthoIsTheInverse) {
  std::mt19937 random(11);
  for (int trial = 0; trial < 20; ++trial) {
    const rv::RefFrame a = RandomFrame(random), b = RandomFrame(random);
    const Eigen::Matrix4d expected = ToMatrix(b) * ToMatrix(a);
    ExpectMatrixNear(a * b, expected, kTight, "operator*");
    ExpectMatrixNear(rv::RefFrame::Mul(a, b), expected, kTight, "Mul");
  }
  const rv::RefFrame f = RigidFrame(-12, 57, 201, 100, -20, 3);
  ExpectMatrixNear(rv::RefFrame(f).InvertOrtho(), ToMatrix(f).inverse(), 1e-12, "InvertOrtho");
}

TEST(RefFrame, RotationsAndScaleComposeAfterTheCurrentFrame) {
  std::mt19937 random(5);
  const rv::RefFrame start = RandomFrame(random);
  const auto expect = [&](const rv::RefFrame& f, const Eigen::Matrix4d& motion, const char* what) {
    ExpectMatrixNear(f, motion * ToMatrix(start), kTight, what);
  };
  const Eigen::Vector3d axis = Eigen::Vector3d(0.3, -0.5, 0.8).normalized();
  const Eigen::Vector3d x = Eigen::Vector3d::UnitX(), y = Eigen::Vector3d::UnitY(),
                        z = Eigen::Vector3d::UnitZ();
  using F = rv::RefFrame;
  expect(F(start).Rotate(37, P3{axis.x(), axis.y(), axis.z()}), Rotation(37, axis), "Rotate");
  expect(F(start).RotateXYZ(10, 20, 30), Rotation(10, x) * Rotation(20, y) * Rotation(30, z),
         "RotateXYZ");
  expect(F(start).RotateZYX(10, 20, 30), Rotation(30, z) * Rotation(20, y) * Rotation(10, x),
         "RotateZYX");
  expect(F(start).RotateXYZ(10, kNull, 30), Rotation(10, x) * Rotation(30, z), "unset skipped");
  expect(F(start).RotateAroundPoint(P3{1, 2, 3}, -50, P3{0, 1, 0}),
         (Eigen::Translation3d(1, 2, 3) * Eigen::AngleAxisd(-50 * M_PI / 180, y) *
          Eigen::Translation3d(-1, -2, -3))
             .matrix(),
         "RotateAroundPoint");
  expect(F(start).Scale(P3{2, -1, 0.5}),
         Eigen::Vector4d(2, -1, 0.5, 1).asDiagonal().toDenseMatrix(), "Scale");
}

// Rigid fits: exact correspondences give the motion back; noisy ones the least-squares optimum,
// which Eigen's Umeyama (without scaling) computes through an SVD.
Eigen::Matrix4d Umeyama(const Eigen::MatrixXd& from, const Eigen::MatrixXd& to) {
  const Eigen::MatrixXd m = Eigen::umeyama(from, to, false);
  if (m.rows() == 4) return m;
  Eigen::Matrix4d lifted = Eigen::Matrix4d::Identity();
  lifted.topLeftCorner<2, 2>() = m.topLeftCorner<2, 2>();
  lifted.topRightCorner<2, 1>() = m.topRightCorner<2, 1>();
  return lifted;
}

TEST(RefFrameSetFrame, PlaneFitRecoversAKnownMotion) {
  std::mt19937 random(21);
  std::uniform_real_distribution<double> coordinate(-50, 50);
  for (double angle : {0.0, 17.0, 90.0, 179.0, 180.0, -135.0}) {
    for (double offset : {0.0, 1e6}) {
      rv::RefFrame truth, fit = Nines();
      truth.SetFrame(P3{offset + 3, -7, 0}, angle);
      std::vector<zPoint64f> from, to;
      for (int i = 0; i < 5; ++i) {
        from.push_back(zPoint64f{offset + coordinate(random), coordinate(random)});
        to.push_back(truth.Apply(from.back()));
      }
      fit.SetFrame(from, to);
      if (offset == 0) {
        ExpectFramesNear(fit, truth, kFitTolerance, "plane fit");
        continue;
      }
      // A million units from the origin the targets carry rounding of about 1e-10, which tilts
      // the fit by about 1e-12 rad and so moves the translation (a lever of 1e6) by about 1e-6:
      // check the rotation and the residuals at the points instead.
      const std::vector<double> a = Fields(fit), b = Fields(truth);
      for (int i = 0; i < 9; ++i) EXPECT_NEAR(a[i], b[i], kFitTolerance) << "rotation " << i;
      for (size_t i = 0; i < from.size(); ++i) {
        const zPoint64f q = fit.Apply(from[i]);
        EXPECT_NEAR(std::hypot(q.x - to[i].x, q.y - to[i].y), 0, kFitTolerance) << i;
      }
    }
  }
  // Two points are enough in the plane; coincident points give a pure translation.
  rv::RefFrame fit;
  const rv::RefFrame truth = rv::RefFrame().SetFrame(P3{1, 2, 0}, 30);
  const std::vector<zPoint64f> from = {{0, 0}, {1, 0}};
  ExpectFramesNear(fit.SetFrame(from, {truth.Apply(from[0]), truth.Apply(from[1])}), truth,
                   kFitTolerance, "two points");
  fit.SetFrame(std::vector<zPoint64f>(3, {1, 1}), std::vector<zPoint64f>(3, {4, 5}));
  EXPECT_EQ(Fields(fit), (std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1, 3, 4, 0}));
}

TEST(RefFrameSetFrame, SpaceFitRecoversAKnownMotion) {
  std::mt19937 random(8);
  std::uniform_real_distribution<double> coordinate(-20, 20), angle(-180, 180);
  const auto expectFitRecovers = [](const rv::RefFrame& truth, const std::vector<zPoint3d64f>& from,
                                    const char* what) {
    std::vector<zPoint3d64f> to;
    for (const zPoint3d64f& p : from) to.push_back(truth.Apply(p));
    ExpectFramesNear(rv::RefFrame().SetFrame(from, to), truth, kFitTolerance, what);
  };
  for (int trial = 0; trial < 30; ++trial) {
    const rv::RefFrame truth = RigidFrame(angle(random), angle(random), angle(random),
                                          coordinate(random), coordinate(random), 500);
    std::vector<zPoint3d64f> from(3 + trial % 5);
    for (zPoint3d64f& p : from) p = {coordinate(random), coordinate(random), coordinate(random)};
    expectFitRecovers(truth, from, "space fit");
  }
  // Half a turn is the case where the quaternion's scalar part vanishes.
  expectFitRecovers(RigidFrame(0, 180, 0, 1, 2, 3), {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}},
                    "half turn");
}

TEST(RefFrameSetFrame, NoisyFitsAgreeWithUmeyama) {
  std::mt19937 random(44);
  std::uniform_real_distribution<double> coordinate(-20, 20);
  std::normal_distribution<double> noise(0, 0.5);
  for (int trial = 0; trial < 10; ++trial) {
    const rv::RefFrame truth = RigidFrame(10 * trial, 25, -40, 3, -2, 1);
    const int count = 6 + trial;
    std::vector<zPoint3d64f> from3, to3;
    std::vector<zPoint64f> from2, to2;
    Eigen::MatrixXd a(3, count), b(3, count);
    for (int i = 0; i < count; ++i) {
      const zPoint3d64f p{coordinate(random), coordinate(random), coordinate(random)};
      zPoint3d64f q = truth.Apply(p);
      q.x += noise(random), q.y += noise(random), q.z += noise(random);
      from3.push_back(p), to3.push_back(q);
      from2.push_back(zPoint64f{p.x, p.y}), to2.push_back(zPoint64f{q.x, q.y});
      a.col(i) << p.x, p.y, p.z;
      b.col(i) << q.x, q.y, q.z;
    }
    ExpectMatrixNear(rv::RefFrame().SetFrame(from3, to3), Umeyama(a, b), kFitTolerance, "3D");
    ExpectMatrixNear(rv::RefFrame().SetFrame(from2, to2), Umeyama(a.topRows(2), b.topRows(2)),
                     kFitTolerance, "2D");
  }
}
#endif

TEST(RefFrameSetFrame, TooFewOrMismatchedPointsAreIncompatible) {
  const std::vector<zPoint64f> none, one = {{1, 2}}, two = {{1, 2}, {3, 4}};
  const std::vector<zPoint64f> three = {{1, 2}, {3, 4}, {5, 6}};
  const std::vector<zPoint3d64f> single = {{1, 2, 3}};
  const char* kName = "Ro::Vision::RefFrame::SetFrame";
  rv::RefFrame f;
  rotest::ExpectFailures({{"none", [&] { f.SetFrame(none, none); }, -984, 425, kName},
                          {"one", [&] { f.SetFrame(one, one); }, -984, 425, kName},
                          {"mismatched", [&] { f.SetFrame(two, three); }, -984, 425, kName},
                          {"one in space", [&] { f.SetFrame(single, single); }, -984, 0, kName}},
                         "Alignment/RefFrame");
}

class RefFrameSerial : public rotest::LeakCheckedTest {};

// The bytes of a serialised frame, read out of the array that Serialize returns.
std::vector<unsigned char> SerialBytes(const rv::RefFrame& f, zAlloc alloc) {
  Ty::Object<void*> out;
  f.Serialize(out.Address(), alloc);
  EXPECT_EQ(zArray1_ItemType(out), zTypeOf(z8u));
  const auto* data = static_cast<const unsigned char*>(zArray1_Data(out));
  return std::vector<unsigned char>(data, data + zArray1_Length(out));
}

TEST_F(RefFrameSerial, RoundTripIsExactAndStartsWithVersionOne) {
  const rv::RefFrame f(0.1, -2.5e300, 3, 4, 5, 6, 7, 8, 9, 1.0 / 3, kNull, -0.0);
  const std::vector<unsigned char> bytes = SerialBytes(f, alloc_);
  ASSERT_EQ(bytes.size(), 2u + 12 * 8);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[1], 0);
  double second;
  std::memcpy(&second, bytes.data() + 2 + 8, 8);
  EXPECT_EQ(second, -2.5e300) << "the doubles follow in field order, little-endian";
  rv::RefFrame g;
  g.Deserialize(bytes.data(), bytes.size(), alloc_);
  const std::vector<double> a = Fields(f), b = Fields(g);
  EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(double)), 0);
}

TEST_F(RefFrameSerial, SerializeReleasesWhatTheOutputHeld) {
  void* out = nullptr;
  rv::RefFrame().Serialize(&out, alloc_);
  void* first = out;
  zObject_Share(first);
  rv::RefFrame().Serialize(&out, alloc_);
  EXPECT_NE(out, first);
  EXPECT_EQ(zObject_RefCount(first), 1) << "the old array lost the output's reference";
  zObject_Destroy(first);
  zObject_Destroy(out);
  EXPECT_TY_THROW(rv::RefFrame().Serialize(nullptr, alloc_), -997,
                  "Ro::Vision::RefFrame::Serialize");
}

TEST_F(RefFrameSerial, ShortOrNullBuffersFailWithTheStreamStatus) {
  const std::vector<unsigned char> bytes = SerialBytes(rv::RefFrame(), alloc_);
  rv::RefFrame f;
  for (size_t size = 0; size < bytes.size(); ++size) {
    SCOPED_TRACE(size);
    // A copy of exactly `size` bytes, so that a read past it is caught by the sanitizers.
    std::vector<unsigned char> prefix(bytes.begin(), bytes.begin() + size);
    // The version at 536, then one line per value from 537.
    const int line = size < 2 ? 536 : 537 + static_cast<int>((size - 2) / 8);
    rotest::ExpectFailures({{"short", [&] { f.Deserialize(prefix.data(), size, alloc_); },
                             zERROR_END_OF_STREAM, line, "Ro::Vision::RefFrame::Deserialize"}});
  }
  rotest::ExpectFailures(
      {{"null buffer", [&] { f.Deserialize(nullptr, 98, alloc_); }, zERROR_PARAMETER, 532},
       {"null and empty", [&] { f.Deserialize(nullptr, 0, alloc_); }, zERROR_END_OF_STREAM}});
}

TEST_F(RefFrameSerial, FailingAllocationsRaiseTheMemoryStatus) {
  const rv::RefFrame f = RigidFrame(1, 2, 3, 4, 5, 6);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    Ty::Object<void*> out;
    f.Serialize(out.Address(), alloc_);
  });
  const std::vector<unsigned char> bytes = SerialBytes(f, alloc_);
  rotest::ExpectEveryAllocationFailureRaised(
      alloc_, [&] { rv::RefFrame().Deserialize(bytes.data(), bytes.size(), alloc_); });
}

}  // namespace
