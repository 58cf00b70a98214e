#include "MaskProfile.h"

#include <zApi/zArray1.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "../Geometry/AngularRangePrivate.h"
#include "../Geometry/PolygonContainment.h"
#include "../Geometry/SectorContainment.h"
#include "../Geometry/ShapeConversion.h"
#include "../Utils/RegionConversion.h"
#include "ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr char kModule[] = "Common/MaskProfile";
constexpr int16_t kNull16 = GetNull<short>();
// World units by which a shape's X extent may miss a point and still take it: absorbs the
// rounding of extents computed from corners, centres and angles.
constexpr double kSegmentTolerance = 0.0005;
constexpr double kPi = 3.141592653589793;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool IsSet(double v) {
  return !IsNull(v) && !std::isnan(v);
}
double OrZero(double v) {
  return IsSet(v) ? v : 0.0;
}

enum class LayerKind { None, Ranges, Points };

LayerKind KindOf(const Profile& profile) {
  if (profile.layers.empty() || !profile.layers[0]) return LayerKind::None;
  void* layer = profile.layers[0].Get();
  if (zObject_Class(layer) != zClassOf(zArray1)) return LayerKind::None;
  const zType type = zArray1_ItemType(layer);
  if (type == TypeOf<z16s>()) return LayerKind::Ranges;
  if (type == TypeOf<zPoint64f>()) return LayerKind::Points;
  return LayerKind::None;
}

// Whether the direction `theta` (degrees) lies in the sector from `start` over `span`, ends
// included within a billionth of a degree; the same normalisation as the containment test.
bool IsInAngularRange(double theta, double start, double span) {
  constexpr double kAngleTolerance = 1e-9;
  if (std::fabs(span) >= 360) return true;
  if (theta < 0) theta += 360;
  const AngularRange range = NormalizedAngularRange(start, span);
  if (range.end <= 360) {
    return theta >= range.start - kAngleTolerance && theta <= range.end + kAngleTolerance;
  }
  return theta >= range.start - kAngleTolerance || theta <= range.end - 360 + kAngleTolerance;
}

// One ellipse of a sector in the sector's own frame: semi-axes along its own x and z.
struct Ellipse {
  double a = 0, b = 0;
};

// The point of the ellipse at polar angle `theta` (radians) in the sector's own frame.
void PointAtPolarAngle(const Ellipse& e, double theta, double* u, double* v) {
  const double c = std::cos(theta), s = std::sin(theta);
  const double q = (e.a > 0 ? c * c / (e.a * e.a) : (c != 0 ? kInfinity : 0)) +
                   (e.b > 0 ? s * s / (e.b * e.b) : (s != 0 ? kInfinity : 0));
  const double r = q > 0 && std::isfinite(q) ? 1 / std::sqrt(q) : 0;
  *u = r * c;
  *v = r * s;
}

// The world X range of an elliptical sector (XZ form). Candidates: the ends of both radial
// edges, and the points of either ellipse where X peaks, when they lie in the sector. Every
// candidate is a point of the shape and the extremes are among them.
void SectorExtent(const EllipticalSectorXZ<double>& s, double* lo, double* hi) {
  if (!IsSet(s.outerWidth) || !IsSet(s.outerHeight) || !IsSet(s.center.x)) {
    *lo = -kInfinity;  // no outer bound: the shape is unbounded
    *hi = kInfinity;
    return;
  }
  const Ellipse outer{s.outerWidth / 2, s.outerHeight / 2};
  const Ellipse inner{OrZero(s.innerWidth) / 2, OrZero(s.innerHeight) / 2};
  const double rotation = OrZero(s.angle) * kPi / 180;
  const double start = OrZero(s.startAngle);
  const double span = IsSet(s.angleSpan) ? s.angleSpan : 360;
  const double cr = std::cos(rotation), sr = std::sin(rotation);
  *lo = kInfinity;
  *hi = -kInfinity;
  auto take = [&](double u, double v) {
    const double x = s.center.x + u * cr - v * sr;
    *lo = std::min(*lo, x);
    *hi = std::max(*hi, x);
  };
  for (const Ellipse& e : {inner, outer}) {
    if (std::fabs(span) < 360) {
      for (double edge : {start, start + span}) {
        double u, v;
        PointAtPolarAngle(e, edge * kPi / 180, &u, &v);
        take(u, v);
      }
    }
    // X = u cos r - v sin r on (a cos t, b sin t) peaks where tan t = -b sin r / (a cos r).
    const double t = std::atan2(-e.b * sr, e.a * cr);
    for (double tt : {t, t + kPi}) {
      const double u = e.a * std::cos(tt), v = e.b * std::sin(tt);
      if (IsInAngularRange(std::atan2(v, u) * 180 / kPi, start, span)) take(u, v);
    }
  }
}

EllipticalSectorXZ<double> AsEllipticalSector(const AnnularSectorXZ<double>& a) {
  EllipticalSectorXZ<double> e;
  const auto diameter = [](double r) { return IsSet(r) ? 2 * r : r; };
  e.innerHeight = e.innerWidth = diameter(a.innerRadius);
  e.outerHeight = e.outerWidth = diameter(a.outerRadius);
  e.startAngle = a.startAngle;
  e.angleSpan = a.angleSpan;
  e.center = a.center;
  e.angle = 0;
  return e;
}

}  // namespace

// ---- RoiProfile ----

RoiProfile::RoiProfile(const Profile& profile, MaskMode mode, void* allocator)
    : profile_(profile), mode_(mode), allocator_(allocator) {}

RoiProfile::~RoiProfile() = default;

void RoiProfile::ApplyRoi() {
  _ResetBoundingSegment();
  maskValid_ = 0;
  _CalculateBoundingSegment();
  segmentValid_ = 1;
  _CheckApplyRoiConditions();
  _ConstructMask();
  _AssignMask();
  maskValid_ = 1;
}

int RoiProfile::IsBoundingSegmentValid() const {
  return segmentValid_;
}

int RoiProfile::IsMaskValid() const {
  return maskValid_;
}

void RoiProfile::_ResetBoundingSegment() {
  boundingSegment_ = RunLength<int>{0, 0};
  segmentValid_ = 0;
}

bool RoiProfile::_SetFullBoundingSegment() {
  if (profile_.layers.empty() || !profile_.layers[0]) return false;
  const unsigned long long n = _PointCount();
  boundingSegment_ = RunLength<int>{0, int(std::min<unsigned long long>(n, INT32_MAX))};
  return true;
}

unsigned long long RoiProfile::_PointCount() const {
  if (profile_.layers.empty() || !profile_.layers[0]) return 0;
  void* layer = profile_.layers[0].Get();
  return zObject_Class(layer) == zClassOf(zArray1) ? zArray1_Length(layer) : 0;
}

void RoiProfile::_ConstructMask() {
  const Site site{kModule, "Ro::Vision::RoiProfile::_ConstructMask"};
  zArray1 mask = nullptr;
  Check(site, __LINE__, zArray1_Construct(&mask, TypeOf<z8u>(), _PointCount(), allocator_));
  mask_.Reset(mask);
}

// ---- SingleRoiProfile ----

SingleRoiProfile::SingleRoiProfile(const Profile& profile, MaskMode mode, void* allocator)
    : RoiProfile(profile, mode, allocator) {}

void SingleRoiProfile::_CheckApplyRoiConditions() {
  const unsigned long long n = _PointCount();
  if (!profile_.layers.empty() && profile_.layers[0] && boundingSegment_.length != 0 &&
      (boundingSegment_.start < 0 ||
       (unsigned long long)(boundingSegment_.start) + boundingSegment_.length > n))
    Throw(Site{kModule, "Ro::Vision::SingleRoiProfile::_CheckApplyRoiConditions"}, __LINE__,
          kInvalidArgument);
  if (n == 0) return;
  const Site apply{kModule, "Ro::Vision::SingleRoiProfile::ApplyRoi"};
  const LayerKind kind = KindOf(profile_);
  if (kind == LayerKind::None)
    Throw(apply, __LINE__, kNotSupported, "layer 0 must be z16s ranges or zPoint64f points");
  if (kind == LayerKind::Points &&
      !(boundingSegment_.start == 0 && (unsigned long long)(boundingSegment_.length) == n))
    Throw(apply, __LINE__, kFailure, "Bounding Segment should be FULL for point cloud format");
}

void SingleRoiProfile::_AssignMask() {
  const int first = boundingSegment_.start, end = first + boundingSegment_.length;
  if (boundingSegment_.length <= 0) return;
  uint8_t* mask = static_cast<uint8_t*>(zArray1_Data(mask_));
  const bool invert = mode_ == MaskMode::Exclude;
  const zPoint64f o = profile_.offset, s = profile_.scale;  // z lives in the y fields
  void* layer = profile_.layers[0].Get();
  if (KindOf(profile_) == LayerKind::Ranges) {
    const int16_t* ranges = static_cast<const int16_t*>(zArray1_Data(layer));
    for (int i = first; i < end; ++i) {
      if (ranges[i] == kNull16) continue;  // the mask starts at 0
      const PointXZ<double> p{o.x + i * s.x, o.y + ranges[i] * s.y};
      mask[i] = uint8_t(_IsPointInRegion(p) != 0 ? !invert : invert);
    }
    return;
  }
  const zPoint64f* points = static_cast<const zPoint64f*>(zArray1_Data(layer));
  for (int i = first; i < end; ++i) {
    if (points[i].x == kNull16 || points[i].y == kNull16) continue;
    const PointXZ<double> p{o.x + points[i].x * s.x, o.y + points[i].y * s.y};
    mask[i] = uint8_t(_IsPointInRegion(p) != 0 ? !invert : invert);
  }
}

void SingleRoiProfile::_SetSegmentFromExtent(double lo, double hi) {
  if (mode_ == MaskMode::Exclude || KindOf(profile_) == LayerKind::Points || !std::isfinite(lo) ||
      !std::isfinite(hi)) {
    _SetFullBoundingSegment();
    return;
  }
  boundingSegment_ = RunLength<int>{0, 0};
  if (!(hi >= lo)) return;  // no extent: an empty polygon
  const RunLength<double> range{lo, hi - lo};
  RunLength<int> out{0, 0};
  GetRegionPixel(_PointCount(), profile_.offset.x, profile_.scale.x, &range, &out,
                 &kSegmentTolerance, 1);
  if (out.length > 0) boundingSegment_ = out;
}

// ---- PolygonRoiProfile, RectangleRoiProfile ----

PolygonRoiProfile::PolygonRoiProfile(const Profile& profile,
                                     const std::vector<PointXZ<double>>& corners, MaskMode mode,
                                     void* allocator)
    : SingleRoiProfile(profile, mode, allocator), corners_(corners) {}

void PolygonRoiProfile::_CalculateBoundingSegment() {
  double lo = kInfinity, hi = -kInfinity;
  for (const PointXZ<double>& c : corners_) {
    lo = std::min(lo, c.x);
    hi = std::max(hi, c.x);
  }
  if (corners_.empty()) {
    // Nothing is inside an empty polygon; Exclude mode still covers the whole profile.
    if (mode_ == MaskMode::Exclude || KindOf(profile_) == LayerKind::Points)
      _SetFullBoundingSegment();
    return;
  }
  _SetSegmentFromExtent(lo, hi);
}

int PolygonRoiProfile::_IsPointInRegion(const PointXZ<double>& point) const {
  return IsPointInPolygon(corners_, point);
}

RectangleRoiProfile::RectangleRoiProfile(const Profile& profile, const RegionXZ<double>& region,
                                         MaskMode mode, void* allocator)
    : PolygonRoiProfile(profile, {}, mode, allocator), region_(region) {
  ExtractPolygonFromRect(region_, &corners_);
}

// ---- EllipseRoiProfile, CircleRoiProfile ----

EllipseRoiProfile::EllipseRoiProfile(const Profile& profile,
                                     const EllipticalSectorXZ<double>& sector, MaskMode mode,
                                     void* allocator)
    : SingleRoiProfile(profile, mode, allocator), sector_(sector) {}

void EllipseRoiProfile::_CalculateBoundingSegment() {
  double lo, hi;
  SectorExtent(sector_, &lo, &hi);
  _SetSegmentFromExtent(lo, hi);
}

int EllipseRoiProfile::_IsPointInRegion(const PointXZ<double>& point) const {
  return IsPointInEllipticalSector(sector_, point);
}

CircleRoiProfile::CircleRoiProfile(const Profile& profile, const AnnularSectorXZ<double>& sector,
                                   MaskMode mode, void* allocator)
    : EllipseRoiProfile(profile, AsEllipticalSector(sector), mode, allocator), annulus_(sector) {}

int CircleRoiProfile::_IsPointInRegion(const PointXZ<double>& point) const {
  return IsPointInAnnularSector(annulus_, point);
}

// ---- ComposedRoiProfile ----

ComposedRoiProfile::ComposedRoiProfile(const Profile& profile, MaskMode mode, void* allocator)
    : RoiProfile(profile, mode, allocator) {}

void ComposedRoiProfile::ApplyRoi() {
  for (const auto& member : members_) member->ApplyRoi();
  RoiProfile::ApplyRoi();
}

void ComposedRoiProfile::Add(std::shared_ptr<RoiProfile> roi) {
  if (!roi) Throw(Site{kModule, "Ro::Vision::ComposedRoiProfile::Add"}, __LINE__, kInvalidArgument);
  members_.push_back(std::move(roi));
}

RunLength<int> ComposedRoiProfile::GetSubBoundingSegment(int index) const {
  if (index < 0 || index >= GetRoiCount())
    Throw(Site{kModule, "Ro::Vision::ComposedRoiProfile::GetSubBoundingSegment"}, __LINE__,
          kInvalidArgument);
  return members_[size_t(index)]->GetBoundingSegment();
}

const Ty::Object<void*>& ComposedRoiProfile::GetSubMask(int index) const {
  if (index < 0 || index >= GetRoiCount())
    Throw(Site{kModule, "Ro::Vision::ComposedRoiProfile::GetSubMask"}, __LINE__, kInvalidArgument);
  return members_[size_t(index)]->GetMask();
}

void ComposedRoiProfile::_CalculateBoundingSegment() {
  if (mode_ == MaskMode::Exclude) {
    _SetFullBoundingSegment();
    return;
  }
  int64_t first = INT32_MAX, end = INT32_MIN;
  for (const auto& member : members_) {
    const RunLength<int> s = member->GetBoundingSegment();
    if (s.length <= 0) continue;
    first = std::min<int64_t>(first, s.start);
    end = std::max<int64_t>(end, int64_t(s.start) + s.length);
  }
  boundingSegment_ =
      first < end ? RunLength<int>{int(first), int(end - first)} : RunLength<int>{0, 0};
}

void ComposedRoiProfile::_CheckApplyRoiConditions() {
  const unsigned long long n = _PointCount();
  for (const auto& member : members_) {
    if (zArray1_Length(member->GetMask()) != n)
      Throw(Site{kModule, "Ro::Vision::ComposedRoiProfile::_CheckApplyRoiConditions"}, __LINE__,
            kIncompatible, "every member must cover a profile of as many points");
  }
}

void ComposedRoiProfile::_AssignMask() {
  const Site site{kModule, "Ro::Vision::ComposedRoiProfile::_AssignMask"};
  Check(site, __LINE__, zArray1_Zero(mask_));
  uint8_t* mask = static_cast<uint8_t*>(zArray1_Data(mask_));
  const unsigned long long n = _PointCount();
  if (mode_ == MaskMode::Include) {
    for (const auto& member : members_) {
      const RunLength<int> s = member->GetBoundingSegment();
      const uint8_t* sub = static_cast<const uint8_t*>(zArray1_Data(member->GetMask()));
      for (int i = s.start; i < s.start + s.length; ++i) mask[i] |= sub[i];
    }
    return;
  }
  if (mode_ != MaskMode::Exclude || members_.empty()) return;
  for (const auto& member : members_) {
    const RunLength<int> s = member->GetBoundingSegment();
    if (s.start != 0 || (unsigned long long)(s.length) != n)
      Throw(site, __LINE__, kFailure, "Bounding Segment should be FULL for EXCLUDE mode");
  }
  const uint8_t* first = static_cast<const uint8_t*>(zArray1_Data(members_[0]->GetMask()));
  std::copy(first, first + n, mask);
  for (size_t k = 1; k < members_.size(); ++k) {
    const uint8_t* sub = static_cast<const uint8_t*>(zArray1_Data(members_[k]->GetMask()));
    for (unsigned long long i = 0; i < n; ++i) mask[i] &= sub[i];
  }
}

}  // namespace Vision
}  // namespace Ro
