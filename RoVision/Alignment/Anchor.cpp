#include "Anchor.h"

#include <algorithm>
#include <cmath>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr double kPi = 3.141592653589793;
const char* const kFile = "Alignment/Anchor";

bool IsSet(double v) {
  return v != kNullDouble;
}

bool IsAnySet(const Anchor& a) {
  return IsSet(a.x) || IsSet(a.y) || IsSet(a.z) || IsSet(a.rx) || IsSet(a.ry) || IsSet(a.rz);
}

bool AppliesRotation(RotationOrder order) {
  return order == kRotationOrderXYZ || order == kRotationOrderZYX;
}

// The plane motion of one anchor: shifts along the two axes of the plane and a turn in it.
struct PlaneMotion {
  double shiftU;
  double shiftW;
  double angle;

  bool Turns(double u, double w) const {
    return IsSet(angle) && IsSet(shiftU) && IsSet(shiftW) && IsSet(u) && IsSet(w);
  }

  void Forward(double* u, double* w) const {
    if (Turns(*u, *w)) {
      const double theta = angle * kPi / 180;
      const double c = std::cos(theta), s = std::sin(theta);
      const double u0 = *u, w0 = *w;
      *u = u0 * c - w0 * s + shiftU;
      *w = u0 * s + w0 * c + shiftW;
      return;
    }
    if (IsSet(shiftU) && IsSet(*u)) *u += shiftU;
    if (IsSet(shiftW) && IsSet(*w)) *w += shiftW;
  }

  void Inverse(double* u, double* w) const {
    if (Turns(*u, *w)) {
      const double theta = -angle * kPi / 180;
      const double c = std::cos(theta), s = std::sin(theta);
      const double u0 = *u - shiftU, w0 = *w - shiftW;
      *u = u0 * c - w0 * s;
      *w = u0 * s + w0 * c;
      return;
    }
    if (IsSet(shiftU) && IsSet(*u)) *u -= shiftU;
    if (IsSet(shiftW) && IsSet(*w)) *w -= shiftW;
  }
};

PlaneMotion MotionXY(const Anchor& a) {
  return PlaneMotion{a.x, a.y, a.rz};
}
PlaneMotion MotionXZ(const Anchor& a) {
  return PlaneMotion{a.x, a.z, a.ry};
}

// angle + sign * delta when both are set.
double TurnAngle(double angle, double delta, double sign) {
  return IsSet(angle) && IsSet(delta) ? angle + sign * delta : angle;
}

// The record's angles follow the anchor's about each axis (sign -1 for the inverse).
template <class R>
void TurnAngles3d(const Anchor& anchor, RotationOrder order, double sign, R* record) {
  if (!AppliesRotation(order)) return;
  record->angleX = TurnAngle(record->angleX, anchor.rx, sign);
  record->angleY = TurnAngle(record->angleY, anchor.ry, sign);
  record->angleZ = TurnAngle(record->angleZ, anchor.rz, sign);
}

template <class P>
void MoveCenter(const RefFrame& frame, P* center) {
  const Point3d<double> moved = frame.Apply(Point3d<double>{center->x, center->y, center->z});
  center->x = moved.x;
  center->y = moved.y;
  center->z = moved.z;
}

void MoveRegion3d(const Anchor& anchor, RotationOrder order, const Region3d<double>& in,
                  Region3d<double>* out, bool inverse) {
  RefFrame frame = CreateAnchorTransform(anchor, order);
  if (inverse) frame.InvertOrtho();
  *out = in;
  MoveCenter(frame, out);
  TurnAngles3d(anchor, order, inverse ? -1 : 1, out);
}

}  // namespace

RefFrame CreateAnchorTransform(const Anchor& anchor, RotationOrder order) {
  RefFrame frame;
  if (order == kRotationOrderXYZ) frame.RotateXYZ(anchor.rx, anchor.ry, anchor.rz);
  if (order == kRotationOrderZYX) frame.RotateZYX(anchor.rx, anchor.ry, anchor.rz);
  frame.Translate(anchor.x, anchor.y, anchor.z);
  return frame;
}

void AnchorRegion(const Anchor& anchor, const Region2d<double>& in, Region2d<double>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorRegion"}, __LINE__, kInvalidArgument);
  *out = in;
  MotionXY(anchor).Forward(&out->x, &out->y);
  out->angle = TurnAngle(in.angle, anchor.rz, 1);
}

void AnchorRegionInv(const Anchor& anchor, const Region2d<double>& in, Region2d<double>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorRegionInv"}, __LINE__, kInvalidArgument);
  *out = in;
  MotionXY(anchor).Inverse(&out->x, &out->y);
  out->angle = TurnAngle(in.angle, anchor.rz, -1);
}

void AnchorRegion(const Anchor& anchor, const RegionXZ<double>& in, RegionXZ<double>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorRegion"}, __LINE__, kInvalidArgument);
  *out = in;
  MotionXZ(anchor).Forward(&out->x, &out->z);
  out->angle = TurnAngle(in.angle, anchor.ry, -1);
}

void AnchorRegionInv(const Anchor& anchor, const RegionXZ<double>& in, RegionXZ<double>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorRegionInv"}, __LINE__, kInvalidArgument);
  *out = in;
  MotionXZ(anchor).Inverse(&out->x, &out->z);
  out->angle = TurnAngle(in.angle, anchor.ry, 1);
}

void AnchorRegion(const Anchor& anchor, RotationOrder order, const Region3d<double>& in,
                  Region3d<double>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorRegion"}, 127, kInvalidArgument);
  MoveRegion3d(anchor, order, in, out, false);
}

void AnchorRegionInv(const Anchor& anchor, RotationOrder order, const Region3d<double>& in,
                     Region3d<double>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorRegionInv"}, 200, kInvalidArgument);
  MoveRegion3d(anchor, order, in, out, true);
}

void AnchorPolygon(const Anchor& anchor, const std::vector<Point2d<double>>& in,
                   std::vector<Point2d<double>>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorPolygon"}, __LINE__, kInvalidArgument);
  std::vector<Point2d<double>> moved(in);
  for (Point2d<double>& p : moved) MotionXY(anchor).Forward(&p.x, &p.y);
  *out = std::move(moved);
}

void AnchorPolygon(const Anchor& anchor, const std::vector<PointXZ<double>>& in,
                   std::vector<PointXZ<double>>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorPolygon"}, __LINE__, kInvalidArgument);
  std::vector<PointXZ<double>> moved(in);
  for (PointXZ<double>& p : moved) MotionXZ(anchor).Forward(&p.x, &p.z);
  *out = std::move(moved);
}

void AnchorPolygon(const Anchor& anchor, RotationOrder order,
                   const std::vector<Point3d<double>>& in, std::vector<Point3d<double>>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorPolygon"}, __LINE__, kInvalidArgument);
  std::vector<Point3d<double>> moved(in.size());
  CreateAnchorTransform(anchor, order).ApplyN(in.data(), moved.data(), in.size());
  *out = std::move(moved);
}

void AnchorAnnularSector(const Anchor& anchor, RotationOrder order,
                         const AnnularSector3d<double>& in, AnnularSector3d<double>* out) {
  if (!out) Throw(Site{kFile, "Ro::Vision::AnchorAnnularSector"}, __LINE__, kInvalidArgument);
  *out = in;
  MoveCenter(CreateAnchorTransform(anchor, order), &out->center);
  // The start angle is measured from the world x axis, so it turns with the anchor.
  if (AppliesRotation(order)) out->startAngle = TurnAngle(in.startAngle, anchor.rz, 1);
}

void AnchorEllipticalSector(const Anchor& anchor, RotationOrder order,
                            const EllipticalSector3d<double>& in, EllipticalSector3d<double>* out) {
  if (!out) {
    Throw(Site{kFile, "Ro::Vision::AnchorEllipticalSector"}, __LINE__, kInvalidArgument);
  }
  *out = in;
  MoveCenter(CreateAnchorTransform(anchor, order), &out->center);
  // Start angle and span are measured in the sector's own frame, which turns with angleZ.
  TurnAngles3d(anchor, order, 1, out);
}

void AnchorPointSetRegion(const Anchor& anchor, RotationOrder order, const Point3d<double>* points,
                          size_t count, Point3d<double>* out) {
  if (!points || !out) {
    Throw(Site{kFile, "Ro::Vision::AnchorPointSetRegion"}, 60, kInvalidArgument);
  }
  if (!IsAnySet(anchor)) {
    if (out != points) std::copy(points, points + count, out);
    return;
  }
  CreateAnchorTransform(anchor, order).ApplyN(points, out, count);
}

}  // namespace Vision
}  // namespace Ro
