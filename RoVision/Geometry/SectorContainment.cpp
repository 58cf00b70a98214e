#include "SectorContainment.h"

#include <cmath>

#include "AngularRangePrivate.h"
#include "ShapeConversion.h"

namespace Ro {
namespace Vision {
namespace {

constexpr double kPi = 3.141592653589793;

bool IsSet(double v) {
  return v != kNullDouble;
}
double OrZero(double v) {
  return IsSet(v) ? v : 0;
}

// The direction (degrees, [0, 360)) of (u, w) within the sector from start over span.
bool InsideAngle(double u, double w, double start, double span) {
  if (!IsSet(span) || std::fabs(span) >= 360) return true;
  double theta = std::atan2(w, u) * 180 / kPi;
  if (theta < 0) theta += 360;
  const AngularRange range = NormalizedAngularRange(OrZero(start), span);
  if (range.end <= 360) return !(theta < range.start || theta > range.end);
  return !(theta < range.start && theta > range.end - 360);
}

// q / bound^2 against 1; an unset bound passes. Written as a quotient so that a zero bound
// behaves as the ratio does (the centre itself, 0 / 0, passes).
bool OutsideInner(double q, double bound) {
  return IsSet(bound) && q / (bound * bound) < 1;
}
bool OutsideOuter(double q, double bound) {
  return IsSet(bound) && q / (bound * bound) > 1;
}

bool InsideAnnular(double du, double dw, double inner, double outer, double start, double span) {
  const double q = du * du + dw * dw;
  if (OutsideInner(q, inner) || OutsideOuter(q, outer)) return false;
  return InsideAngle(du, dw, start, span);
}

// Sum of the squared offsets relative to the half axes; an unset axis gives the null.
double EllipseRatio(double u, double v, double width, double length) {
  if (!IsSet(width) || !IsSet(length)) return kNullDouble;
  const double a = width / 2, b = length / 2;
  return u * u / (a * a) + v * v / (b * b);
}

bool InsideElliptical(double du, double dw, double innerLength, double innerWidth,
                      double outerLength, double outerWidth, double start, double span,
                      double angle) {
  const double phi = -OrZero(angle) * kPi / 180;
  const double c = std::cos(phi), s = std::sin(phi);
  const double u = du * c - dw * s;
  const double v = du * s + dw * c;
  const double inner = EllipseRatio(u, v, innerWidth, innerLength);
  const double outer = EllipseRatio(u, v, outerWidth, outerLength);
  if ((IsSet(inner) && inner < 1) || (IsSet(outer) && outer > 1)) return false;
  return InsideAngle(u, v, start, span);
}

bool InsideHeight(double z, double centerZ, double height, int checkHeight) {
  if (!checkHeight || !IsSet(height) || !IsSet(centerZ)) return true;
  return !(z < centerZ - height / 2 || z > centerZ + height / 2);
}

}  // namespace

int IsPointInAnnularSector(const AnnularSector2d<double>& sector, const Point2d<double>& point) {
  return InsideAnnular(point.x - sector.center.x, point.y - sector.center.y, sector.innerRadius,
                       sector.outerRadius, sector.startAngle, sector.angleSpan);
}

int IsPointInAnnularSector(const AnnularSectorXZ<double>& sector, const PointXZ<double>& point) {
  return InsideAnnular(point.x - sector.center.x, point.z - sector.center.z, sector.innerRadius,
                       sector.outerRadius, sector.startAngle, sector.angleSpan);
}

int IsPointInAnnularSector(const AnnularSector3d<double>& sector, const Point3d<double>& point,
                           int checkHeight) {
  if (!InsideHeight(point.z, sector.center.z, sector.height, checkHeight)) return 0;
  AnnularSector2d<double> flat;
  AnnularSector3dTo2d(sector, &flat);
  return IsPointInAnnularSector(flat, Point2d<double>{point.x, point.y});
}

int IsPointInEllipticalSector(const EllipticalSector2d<double>& sector,
                              const Point2d<double>& point) {
  return InsideElliptical(point.x - sector.center.x, point.y - sector.center.y, sector.innerLength,
                          sector.innerWidth, sector.outerLength, sector.outerWidth,
                          sector.startAngle, sector.angleSpan, sector.angle);
}

int IsPointInEllipticalSector(const EllipticalSectorXZ<double>& sector,
                              const PointXZ<double>& point) {
  return InsideElliptical(point.x - sector.center.x, point.z - sector.center.z, sector.innerHeight,
                          sector.innerWidth, sector.outerHeight, sector.outerWidth,
                          sector.startAngle, sector.angleSpan, sector.angle);
}

int IsPointInEllipticalSector(const EllipticalSector3d<double>& sector,
                              const Point3d<double>& point, int checkHeight) {
  if (!InsideHeight(point.z, sector.center.z, sector.height, checkHeight)) return 0;
  EllipticalSector2d<double> flat;
  EllipticalSector3dTo2d(sector, &flat);
  return IsPointInEllipticalSector(flat, Point2d<double>{point.x, point.y});
}

}  // namespace Vision
}  // namespace Ro
