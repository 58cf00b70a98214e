// Conversions of region records between their 2D, XZ and 3D forms, the corner polygon of a
// rotated rectangle, and the plane motion of an XZ region.
//
// The 3D forms keep the 2D record in x and y and add z (the 2D-to-3D conversions put the record
// at z = 0 with no height). The 2D rotation angle is the 3D angleZ. Every conversion throws -997
// (Ty::Exception, source file "Geometry/Geometry") when its output pointer is null.
#ifndef ROVISION_GEOMETRY_SHAPECONVERSION_H
#define ROVISION_GEOMETRY_SHAPECONVERSION_H

#include <zApi/zDefs.h>

#include <vector>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// x, y, width, length and angle go to x, y, width, length and angleZ; z and height become 0;
// angleX and angleY keep what `out` held.
RO_API void Rect2dTo3d(const Region2d<double>& in, Region3d<double>* out);
// x, y, width, length and angleZ go to the 2D record.
RO_API void Rect3dTo2d(const Region3d<double>& in, Region2d<double>* out);

// `out` is cleared and receives (x, y) of each corner, respectively (x, y, 0).
RO_API void Polygon3dTo2d(const std::vector<Point3d<double>>& in,
                          std::vector<Point2d<double>>* out);
RO_API void Polygon2dTo3d(const std::vector<Point2d<double>>& in,
                          std::vector<Point3d<double>>* out);

// Radii, start angle and span are copied; the 3D form gets height 0 and its centre at z = 0.
RO_API void AnnularSector2dTo3d(const AnnularSector2d<double>& in, AnnularSector3d<double>* out);
RO_API void AnnularSector3dTo2d(const AnnularSector3d<double>& in, AnnularSector2d<double>* out);
// Axes, start angle and span are copied; the 2D angle is the 3D angleZ; the 3D form gets
// height 0 and its centre at z = 0, and angleX and angleY keep what `out` held.
RO_API void EllipticalSector2dTo3d(const EllipticalSector2d<double>& in,
                                   EllipticalSector3d<double>* out);
RO_API void EllipticalSector3dTo2d(const EllipticalSector3d<double>& in,
                                   EllipticalSector2d<double>* out);

// The four corners of a centre-style rectangle turned by its angle about its centre
// (counter-clockwise, from +x toward +y), in the order (-w/2, -l/2), (+w/2, -l/2), (+w/2, +l/2),
// (-w/2, +l/2) before the turn. An angle below 1.1920928955078125e-7 in magnitude (or unset)
// gives the unturned corners. `out` is replaced.
RO_API void ExtractPolygonFromRect(const Region2d<double>& region,
                                   std::vector<Point2d<double>>* out);
// The same in the X/Z plane (the angle turns from +x toward +z).
RO_API void ExtractPolygonFromRect(const RegionXZ<double>& region,
                                   std::vector<PointXZ<double>>* out);

// The plane motion that AnchorRegion applies to an XZ region for an anchor at x = offset.x,
// z = offset.y turned by ry = angle: the reference point turns about the origin by `angle` (from
// +x toward +z) and then shifts by the offset (it only shifts when the angle is unset), and the
// region's own angle decreases by `angle`. Unset components do not act.
RO_API RegionXZ<double> TransformRegionXZ(const RegionXZ<double>& region, zPoint64f offset,
                                          double angle);

}  // namespace Vision
}  // namespace Ro

#endif
