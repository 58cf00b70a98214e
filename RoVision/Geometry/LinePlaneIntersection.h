// The point where a 3D line meets a plane.
#ifndef ROVISION_GEOMETRY_LINEPLANEINTERSECTION_H
#define ROVISION_GEOMETRY_LINEPLANEINTERSECTION_H

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// The intersection of the line (point + t * direction) with the plane a x + b y + c z + d = 0.
// The direction is normalised first; the plane's normal is not. The null point (every
// coordinate the double null) comes back when the line is parallel to the plane (|n . dir| <=
// 1.1920928955078125e-7 with n = (a, b, c) as given, which includes a line lying in the plane) or
// when any coordinate or coefficient is unset. A direction that cannot be normalised (zero or not
// finite) throws the platform's status (Ty::Exception, source file "Geometry/Geometry").
RO_API Point3d<double> LinePlaneIntersection(const Line3d<double>& line,
                                             const PlaneParams<double>& plane);

}  // namespace Vision
}  // namespace Ro

#endif
