// Whether a point lies in an annular or an elliptical sector (1 inside, 0 outside).
//
// Radial test: annular, the point is inside when inner <= distance from the centre <= outer (both
// circles count as inside). Elliptical, the offset from the centre is first turned by minus the
// sector's angle into the sector's own frame (u along its width, v along its length); inside
// when u^2/(innerWidth/2)^2 + v^2/(innerLength/2)^2 >= 1 and the same with the outer axes <= 1.
//
// Angular test: the direction of the offset (of (u, v) for the elliptical sector) in degrees
// within [0, 360) must lie between startAngle and startAngle + angleSpan, ends included; a
// negative span runs clockwise from the start, a span of 360 or more in magnitude accepts every
// direction, and the sector may wrap past 0 degrees.
//
// Unset values (the double null) are skipped: an unset inner or outer bound drops that bound, an
// unset span drops the angular test, an unset start angle or sector angle counts as 0, and an
// unset height drops the height test.
//
// 3D forms: when checkHeight is non-zero, the point must also lie within height / 2 of
// center.z; then the sector is taken in x and y (its angleZ as the 2D angle). The XZ forms read
// z where the 2D forms read y.
#ifndef ROVISION_GEOMETRY_SECTORCONTAINMENT_H
#define ROVISION_GEOMETRY_SECTORCONTAINMENT_H

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

RO_API int IsPointInAnnularSector(const AnnularSector2d<double>& sector,
                                  const Point2d<double>& point);
RO_API int IsPointInAnnularSector(const AnnularSectorXZ<double>& sector,
                                  const PointXZ<double>& point);
RO_API int IsPointInAnnularSector(const AnnularSector3d<double>& sector,
                                  const Point3d<double>& point, int checkHeight);

RO_API int IsPointInEllipticalSector(const EllipticalSector2d<double>& sector,
                                     const Point2d<double>& point);
RO_API int IsPointInEllipticalSector(const EllipticalSectorXZ<double>& sector,
                                     const PointXZ<double>& point);
RO_API int IsPointInEllipticalSector(const EllipticalSector3d<double>& sector,
                                     const Point3d<double>& point, int checkHeight);

}  // namespace Vision
}  // namespace Ro

#endif
