#include <RoVision/Common/MaskProfile.h>
#include <RoVision/Geometry/PolygonContainment.h>
#include <RoVision/Geometry/SectorContainment.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <RoVision/Utils/RegionConversion.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using rv::MaskMode;
using rv::MaskType;
using rv::PointXZ;

namespace {

constexpr short kNull = -32768;
using Bytes = std::vector<unsigned char>;
using Containment = std::function<int(const PointXZ<double>&)>;

// A range profile: point i at x = -1 + 0.05 i, z = -5 + 0.01 range.
rv::Profile MakeRangeProfile(const std::vector<short>& ranges, zAlloc alloc = nullptr) {
  rv::Profile profile(zPoint64f{-1, -5}, zPoint64f{0.05, 0.01});
  profile.AddLayer(rv::GetzType<short>(), ranges.size(), alloc);
  std::copy(ranges.begin(), ranges.end(), static_cast<short*>(zArray1_Data(profile.layers[0])));
  return profile;
}

// Ranges 0..1000, a tenth of them null.
rv::Profile RandomProfile(unsigned seed, int n, zAlloc alloc = nullptr) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> range(0, 1000);
  std::bernoulli_distribution isNull(0.1);
  std::vector<short> v(n);
  for (short& r : v) r = isNull(rng) ? kNull : short(range(rng));
  return MakeRangeProfile(v, alloc);
}

Bytes ReadMask(const Ty::Object<void*>& mask) {
  const unsigned char* data = static_cast<const unsigned char*>(zArray1_Data(mask));
  return Bytes(data, data + zArray1_Length(mask));
}

// Each point tested on its own with the shape's containment test.
Bytes BruteForceMask(const rv::Profile& profile, MaskMode mode, const Containment& inside) {
  const short* ranges = static_cast<const short*>(zArray1_Data(profile.layers[0]));
  Bytes mask(zArray1_Length(profile.layers[0]), 0);
  for (size_t i = 0; i < mask.size(); ++i) {
    if (ranges[i] == kNull) continue;
    const PointXZ<double> p{profile.offset.x + i * profile.scale.x,
                            profile.offset.y + ranges[i] * profile.scale.y};
    mask[i] = (inside(p) != 0) != (mode == MaskMode::Exclude);
  }
  return mask;
}

// The X range of the points that a fine grid finds inside the shape, over [x0, x1] x [z0, z1].
std::pair<double, double> SampledExtent(const Containment& inside, double x0, double x1, double z0,
                                        double z1, double step) {
  double lo = INFINITY, hi = -INFINITY;
  for (double x = x0; x <= x1; x += step)
    for (double z = z0; z <= z1; z += step)
      if (inside(PointXZ<double>{x, z})) lo = std::min(lo, x), hi = std::max(hi, x);
  return {lo, hi};
}

using MaskProfileTest = rotest::LeakCheckedTest;

TEST_F(MaskProfileTest, RectangleSegmentFollowsTheOneAxisRuleWithItsTolerance) {
  rv::Profile profile(zPoint64f{0, 0}, zPoint64f{0.1, 1});
  profile.AddLayer(rv::GetzType<short>(), 40, alloc_);
  for (auto [start, first] : {std::pair{1.0, 10}, {1.0004, 10}, {1.0006, 11}}) {
    const rv::RegionXZ<double> region{start + (2.0 - start) / 2, 0, 2.0 - start, 10, 0};
    rv::RectangleRoiProfile roi(profile, region, MaskMode::Include, alloc_);
    roi.ApplyRoi();
    EXPECT_EQ(std::pair(roi.GetBoundingSegment().start, roi.GetBoundingSegment().length),
              std::pair(first, 21 - first))
        << start;
    // Without the tolerance the start 1.0004 would begin one point later.
    const rv::RunLength<double> range{start, 2.0 - start};
    rv::RunLength<int> strict;
    rv::GetRegionPixel(40, 0.0, 0.1, &range, &strict);
    EXPECT_EQ(strict.start, start == 1.0 ? 10 : 11);
  }
}

struct ShapeCase {
  std::string name;
  std::function<std::shared_ptr<rv::SingleRoiProfile>(const rv::Profile&, MaskMode, zAlloc)> make;
  Containment inside;
  MaskType type;
};

template <class Roi, class Shape>
ShapeCase Case(std::string name, const Shape& shape, Containment inside, MaskType type) {
  return {name,
          [=](const rv::Profile& p, MaskMode m, zAlloc a) {
            return std::make_shared<Roi>(p, shape, m, a);
          },
          inside, type};
}

Containment InPolygon(const std::vector<PointXZ<double>>& polygon) {
  return [=](const PointXZ<double>& q) { return rv::IsPointInPolygon(polygon, q); };
}

std::vector<ShapeCase> Shapes() {
  const std::vector<PointXZ<double>> polygon = {{-0.5, -4}, {0.7, -3}, {0.2, 0.5}, {-0.2, -2}};
  const rv::RegionXZ<double> rect{0.3, 0, 1.1, 2.5, 33};
  std::vector<PointXZ<double>> corners;
  rv::ExtractPolygonFromRect(rect, &corners);
  std::vector<ShapeCase> cases = {
      Case<rv::PolygonRoiProfile>("polygon", polygon, InPolygon(polygon), MaskType::Polygon),
      Case<rv::RectangleRoiProfile>("rotated rectangle", rect, InPolygon(corners),
                                    MaskType::Rectangle)};
  for (double span : {360.0, 100.0, -250.0}) {
    const rv::EllipticalSectorXZ<double> e{0.8, 0.5, 4, 1.6, 200, span, {0.2, -2}, 25};
    cases.push_back(Case<rv::EllipseRoiProfile>(
        "ellipse span " + std::to_string(span), e,
        [=](const PointXZ<double>& q) { return rv::IsPointInEllipticalSector(e, q); },
        MaskType::Ellipse));
  }
  for (double start : {-30.0, 120.0}) {
    const rv::AnnularSectorXZ<double> c{0.3, 1.2, start, 90, {0.3, -2.5}};
    cases.push_back(Case<rv::CircleRoiProfile>(
        "circle start " + std::to_string(start), c,
        [=](const PointXZ<double>& q) { return rv::IsPointInAnnularSector(c, q); },
        MaskType::Circle));
  }
  return cases;
}

// Every shape in both modes against testing each point with its containment test; in Include
// mode the segment holds every 1 and is no wider than the shape's sampled X extent.
TEST_F(MaskProfileTest, MasksEqualPointByPointContainment) {
  const rv::Profile profile = RandomProfile(21, 61, alloc_);
  for (const ShapeCase& shape : Shapes()) {
    SCOPED_TRACE(shape.name);
    for (MaskMode mode : {MaskMode::Include, MaskMode::Exclude}) {
      auto roi = shape.make(profile, mode, alloc_);
      EXPECT_EQ(roi->GetShapeType(), shape.type);
      EXPECT_FALSE(roi->IsMaskValid());
      roi->ApplyRoi();
      EXPECT_TRUE(roi->IsMaskValid());
      EXPECT_TRUE(roi->IsBoundingSegmentValid());
      const Bytes mask = ReadMask(roi->GetMask());
      EXPECT_EQ(mask, BruteForceMask(profile, mode, shape.inside));
      const auto ones = std::count(mask.begin(), mask.end(), 1);
      EXPECT_TRUE(ones > 0 && ones < 59) << ones << " points in the mask";
      const rv::RunLength<int> s = roi->GetBoundingSegment();
      if (mode == MaskMode::Exclude) {
        EXPECT_EQ(std::pair(s.start, s.length), std::pair(0, 61));
        continue;
      }
      for (int i = 0; i < 61; ++i)
        EXPECT_TRUE(!mask[i] || (i >= s.start && i < s.start + s.length)) << i;
      // The shapes lie inside the profile's X range [-1, 2], so nothing is clipped: the
      // segment runs from the first point at the shape's left end to the last at its right.
      const double step = 0.01;
      const auto [lo, hi] = SampledExtent(shape.inside, -2, 2, -6, 1, step);
      const double first = profile.offset.x + s.start * profile.scale.x;
      const double last = profile.offset.x + (s.start + s.length - 1) * profile.scale.x;
      EXPECT_GE(first, lo - step - 0.0005);
      EXPECT_LT(first, lo + profile.scale.x);
      EXPECT_LE(last, hi + step + 0.0005);
      EXPECT_GT(last, hi - profile.scale.x);
    }
  }
}

TEST_F(MaskProfileTest, ComposedUnionAndIntersection) {
  const rv::Profile profile = RandomProfile(4, 61, alloc_);
  const std::vector<ShapeCase> shapes = Shapes();
  const ShapeCase &a = shapes[0], &b = shapes[5];  // polygon, circle
  auto compose = [&](MaskMode mode, MaskMode modeA, MaskMode modeB) {
    auto c = std::make_unique<rv::ComposedRoiProfile>(profile, mode, alloc_);
    c->Add(a.make(profile, modeA, alloc_));
    c->Add(b.make(profile, modeB, alloc_));
    return c;
  };
  auto combine = [&](MaskMode mode) {  // the union of two Include, the meet of two Exclude
    const Bytes ma = BruteForceMask(profile, mode, a.inside),
                mb = BruteForceMask(profile, mode, b.inside);
    Bytes both(61);
    for (int i = 0; i < 61; ++i)
      both[i] = mode == MaskMode::Include ? ma[i] | mb[i] : ma[i] & mb[i];
    return both;
  };

  auto onion = compose(MaskMode::Include, MaskMode::Include, MaskMode::Include);
  EXPECT_EQ(onion->GetShapeType(), MaskType::Composed);
  onion->ApplyRoi();
  EXPECT_EQ(ReadMask(onion->GetMask()), combine(MaskMode::Include));
  const rv::RunLength<int> sa = onion->GetSubBoundingSegment(0),
                           sb = onion->GetSubBoundingSegment(1);
  EXPECT_EQ(onion->GetBoundingSegment().start, std::min(sa.start, sb.start));
  EXPECT_EQ(onion->GetBoundingSegment().start + onion->GetBoundingSegment().length,
            std::max(sa.start + sa.length, sb.start + sb.length));
  EXPECT_EQ(ReadMask(onion->GetSubMask(1)), BruteForceMask(profile, MaskMode::Include, b.inside));

  auto outside = compose(MaskMode::Exclude, MaskMode::Exclude, MaskMode::Exclude);
  outside->ApplyRoi();
  EXPECT_EQ(ReadMask(outside->GetMask()), combine(MaskMode::Exclude));
  EXPECT_EQ(outside->GetBoundingSegment().length, 61);

  // An Include member covers only its extent: it cannot take part in an intersection.
  auto partial = compose(MaskMode::Exclude, MaskMode::Exclude, MaskMode::Include);
  rotest::ExpectFailures({{"include member in an intersection", [&] { partial->ApplyRoi(); }, 0, 0,
                           "Ro::Vision::ComposedRoiProfile::_AssignMask",
                           "Bounding Segment should be FULL for EXCLUDE mode"},
                          {"sub mask index", [&] { onion->GetSubMask(2); }, -997, 0,
                           "Ro::Vision::ComposedRoiProfile::GetSubMask"},
                          {"sub segment index", [&] { onion->GetSubBoundingSegment(-1); }, -997, 0,
                           "Ro::Vision::ComposedRoiProfile::GetSubBoundingSegment"},
                          {"null member", [&] { onion->Add(nullptr); }, -997, 0,
                           "Ro::Vision::ComposedRoiProfile::Add"}},
                         "Common/MaskProfile");
  rv::ComposedRoiProfile empty(profile, MaskMode::Exclude, alloc_);
  empty.ApplyRoi();
  EXPECT_EQ(ReadMask(empty.GetMask()), Bytes(61, 0));
}

// A polygon whose segment is whatever the test sets, to reach the checks behind it.
class FixedSegmentRoi : public rv::PolygonRoiProfile {
 public:
  FixedSegmentRoi(const rv::Profile& profile, rv::RunLength<int> segment, zAlloc alloc)
      : PolygonRoiProfile(profile, {{-10, -10}, {10, -10}, {10, 10}, {-10, 10}}, MaskMode::Include,
                          alloc),
        segment_(segment) {}

 protected:
  void _CalculateBoundingSegment() override { boundingSegment_ = segment_; }

 private:
  rv::RunLength<int> segment_;
};

// Point profiles need the whole profile; a range profile's segment must lie on its points.
TEST_F(MaskProfileTest, SegmentsMustCoverThePoints) {
  rv::Profile profile(zPoint64f{1, 2}, zPoint64f{0.5, 0.25});
  profile.AddLayer(const_cast<zTypeInfo*>(zTypeOf(zPoint64f)), 4, alloc_);
  const zPoint64f raw[] = {{0, 0}, {4, 4}, {kNull, 0}, {-2, 8}};  // (1, 2), (3, 3), null, (0, 4)
  std::copy_n(raw, 4, static_cast<zPoint64f*>(zArray1_Data(profile.layers[0])));
  rv::RectangleRoiProfile roi(profile, rv::RegionXZ<double>{1.5, 3, 3.2, 2.2, 0}, MaskMode::Include,
                              alloc_);
  roi.ApplyRoi();
  EXPECT_EQ(std::pair(roi.GetBoundingSegment().start, roi.GetBoundingSegment().length),
            std::pair(0, 4));
  // x in [-0.1, 3.1], z in [1.9, 4.1].
  EXPECT_EQ(ReadMask(roi.GetMask()), (Bytes{1, 1, 0, 1}));

  FixedSegmentRoi partial(profile, rv::RunLength<int>{1, 3}, alloc_);
  const rv::Profile ranges = MakeRangeProfile({1, 2, 3, 4, 5}, alloc_);
  FixedSegmentRoi past(ranges, rv::RunLength<int>{3, 3}, alloc_);
  rotest::ExpectFailures({{"partial segment of points", [&] { partial.ApplyRoi(); }, 0, 0, nullptr,
                           "Bounding Segment should be FULL for point cloud format"},
                          {"segment past the ranges", [&] { past.ApplyRoi(); }, -997, 0,
                           "Ro::Vision::SingleRoiProfile::_CheckApplyRoiConditions"}});
  FixedSegmentRoi inside(ranges, rv::RunLength<int>{1, 3}, alloc_);
  inside.ApplyRoi();
  EXPECT_EQ(ReadMask(inside.GetMask()), (Bytes{0, 1, 1, 1, 0}));
}

TEST_F(MaskProfileTest, FailingMaskAllocationRaisesThePlatformStatus) {
  const rv::Profile profile = RandomProfile(8, 30);  // default allocator
  const std::vector<ShapeCase> shapes = Shapes();
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    rv::ComposedRoiProfile composed(profile, MaskMode::Include, alloc_);
    composed.Add(shapes[0].make(profile, MaskMode::Include, alloc_));
    composed.Add(shapes[3].make(profile, MaskMode::Exclude, alloc_));
    composed.ApplyRoi();
  });
}

}  // namespace
