#include "LinePlaneIntersection.h"

#include <zVision/zVision.h>

#include <cmath>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

// The single-precision epsilon: below it the line counts as parallel to the plane.
constexpr double kParallelTolerance = 1.1920928955078125e-7;

bool IsSet(const Point3d<double>& p) {
  return !IsNull(p.x) && !IsNull(p.y) && !IsNull(p.z);
}

bool IsSet(const PlaneParams<double>& q) {
  return !IsNull(q.a) && !IsNull(q.b) && !IsNull(q.c) && !IsNull(q.d);
}

}  // namespace

Point3d<double> LinePlaneIntersection(const Line3d<double>& line,
                                      const PlaneParams<double>& plane) {
  Point3d<double> result;
  if (!IsSet(line.point) || !IsSet(line.direction) || !IsSet(plane)) return result;
  const zPoint3d64f raw{line.direction.x, line.direction.y, line.direction.z};
  zPoint3d64f dir;
  Check(Site{"Geometry/Geometry", "Ro::Vision::LinePlaneIntersection"}, 3051,
        zS3dMath_Normalize64f(&raw, &dir));
  const double den = plane.a * dir.x + plane.b * dir.y + plane.c * dir.z;
  if (std::fabs(den) <= kParallelTolerance) return result;
  const Point3d<double>& p = line.point;
  const double t = -(plane.a * p.x + plane.b * p.y + plane.c * p.z + plane.d) / den;
  result.x = p.x + t * dir.x;
  result.y = p.y + t * dir.y;
  result.z = p.z + t * dir.z;
  return result;
}

}  // namespace Vision
}  // namespace Ro
