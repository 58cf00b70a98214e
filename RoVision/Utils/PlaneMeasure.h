// Measurements against a plane a x + b y + c z + d = 0: distances and heights of points, the tilt
// that levels the plane, the frame that makes heights above it plain z values, and the corners
// of rotated regions.
//
// Distances are signed, along the plane's unit normal (a, b, c) / |(a, b, c)|: positive on the
// side the normal points to (above the plane for the upward normals that FitPlanePoints
// returns). A point of a zPoint3d64f list whose z is the double null is skipped. Results that
// cannot be computed (no valid point, a plane or direction with an unset component or a zero
// normal) are the double null; nothing is thrown for them.
#ifndef ROVISION_UTILS_PLANEMEASURE_H
#define ROVISION_UTILS_PLANEMEASURE_H

#include <zApi/zDefs.h>

#include "../Alignment/RefFrame.h"
#include "../Common/Export.h"
#include "../Common/Records.h"

namespace Ro {
namespace Vision {

// The mean signed distance of the valid points of `points` (a zArrayList of zPoint3d64f) from
// the plane. Signed, not absolute: a step measured against a reference plane comes out with its
// direction (a groove below the plane is negative), and for points spread evenly about the plane
// the mean is its offset, not the spread; take ComputePercentileHeightFromPlane for the spread.
// `least` and `greatest` (each may be null) receive the points of the smallest and the largest
// signed distance (the first one in list order on ties). Raises -997 for a null list and -984
// for a list of another item type (status from "Utils/Utils", "Ro::Vision::
// ComputeAverageDistanceFromPlane").
RO_API double ComputeAverageDistanceFromPlane(const zPlane3d64f& plane, void* const points,
                                              zPoint3d64f* least, zPoint3d64f* greatest);

// The p-th percentile (0 <= p <= 100) of the signed distances of the valid points: of the n
// sorted distances, the value at position (n - 1) p / 100, interpolated linearly between the two
// nearest ranks. p = 0 gives the lowest, p = 100 the highest, p = 50 the median. Raises -997 for
// a null list or p outside [0, 100] (NaN included), -984 for another item type.
RO_API double ComputePercentileHeightFromPlane(const zPlane3d64f& plane, void* const points,
                                               double percent);

// The tilt angles rx about X and ry about Y, in degrees, that bring the direction `normal` onto
// +z: RefFrame().RotateXYZ(rx, ry, 0) maps normal / |normal| to (0, 0, 1). ry = atan2(-nx, nz)
// turns the normal into the YZ plane first, rx = atan2(ny, sqrt(nx^2 + nz^2)) then lifts it.
// rx lies in [-90, 90], ry in (-180, 180] (in (-90, 90) when nz > 0). A zero normal or an
// unset component gives the double null for both. Either output may be null.
RO_API void NormalToAngles(const zPoint3d64f& normal, double* angleX, double* angleY);

// NormalToAngles of the plane's normal (a, b, c): first the rotation about Y, then about X.
RO_API void CalculateYXAngleRotation(const zPlane3d64f& plane, double* angleX, double* angleY);
RO_API void CalculateYXAngleRotation(const PlaneParams<double>& plane, double* angleX,
                                     double* angleY);

// The frame that levels the plane onto z = 0: a translation that takes the plane's point nearest
// to the origin to the origin, then RotateXYZ with the angles of CalculateYXAngleRotation. The
// z of a transformed point is its signed distance from the plane. A plane with an unset
// component or a zero normal gives the identity.
RO_API RefFrame GetRotationTransform(const zPlane3d64f& plane);
RO_API RefFrame GetRotationTransform(const PlaneParams<double>& plane);

// The centre and the four corners of a centre-style Region2d turned by its angle (degrees,
// counter-clockwise, about its centre; an unset angle counts as 0), in world units. The corners
// come counter-clockwise from the one that is (-width / 2, -length / 2) before turning:
// (-w/2, -l/2), (+w/2, -l/2), (+w/2, +l/2), (-w/2, +l/2). `center` and `corners` (4 entries)
// may each be null. A region with an unset position or size gives null points.
RO_API void GetRegionCenterCorner(const Region2d<double>& region, Point2d<double>* center,
                                  Point2d<double>* corners);

// The angle, in degrees in (-180, 180], at which `direction` runs inside the plane: both the
// direction and the world +x axis are projected orthogonally into the plane, and the angle is
// measured from projected +x to the projected direction, counter-clockwise when looking down
// the normal (a, b, c) (right-handed about it). For a horizontal plane with an upward normal it
// is atan2(dy, dx). A direction along the normal, a plane whose normal is along x, or an unset
// component gives the double null.
RO_API double ComputeProjectAngleStart(const zPlane3d64f& plane, const zPoint3d64f& direction);

}  // namespace Vision
}  // namespace Ro

#endif
