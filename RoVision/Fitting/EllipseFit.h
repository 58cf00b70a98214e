// Ellipses: the algebraic conic fit on point lists and the moment ellipse of a surface region.
#ifndef ROVISION_FITTING_ELLIPSEFIT_H
#define ROVISION_FITTING_ELLIPSEFIT_H

#include <zApi/zDefs.h>

#include "../Common/Common.h"
#include "../Common/MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// Least-squares conic A dx^2 + B dy^2 + C dx dy (+ D dx + E dy) = 1 over the n points (x[i],
// y[i]), in offsets from the incoming (*centerX, *centerY).
// - fixCenter != 0: the centre is kept and D = E = 0; otherwise the centre is moved to the
//   conic's centre.
// - fixAngle != 0 keeps the incoming *angle and derives the axes for it; else fixRatio != 0 keeps
//   the incoming *flattening (1 - minor / major) and derives axes and angle; else everything is
//   free. The angle is in degrees, in [0, 180): in the free form 0 puts the major axis along +X
//   and angles grow from +X towards -Y (clockwise in a y-up frame).
// semiMajor and semiMinor are semi-axes; meanAxis = sqrt(semiMajor * semiMinor); sigma is the
// conic's mean absolute residual times sqrt(pi / 2).
// Returns 1 on success; 0 when the least-squares system fails with a fixed centre, a pointer is
// null, n < 1, a coordinate is not finite or the work matrix cannot be allocated; -1 when it
// fails with a free centre; -2 no centre (4AB = C^2); -3 the centre lies on the conic; -4 / -5
// a negative axis term with a fixed angle; -6 / -7 no solution with a fixed ratio; -8 the conic
// is a circle (C^2 + (A - B)^2 = 0, so an exact circle fails here); -9 / -10 a negative axis term.
// Outputs other than the centre are written only with status 1.
RO_API int FitEllipse(double* x, double* y, int n, double* centerX, double* centerY, int fixCenter,
                      int fixAngle, int fixRatio, double* semiMajor, double* semiMinor,
                      double* meanAxis, double* flattening, double* angle, double* sigma);

// The moment ellipse of the valid cells of a height-map region: cells of layer 0 inside `rect`
// (first column, first row, columns, rows; it must lie inside the surface) whose height is not
// -32768 and, when `mask` is given (a zArray2 of z8u the size of the rectangle), whose mask byte
// is non-zero. A null mask means the whole rectangle.
// - center: x, y the mean of the cells in world units; z = offset.z + (lowest + highest) / 2 *
//   scale.z, the middle of the height range.
// - axes: x the semi-major, y the semi-minor axis (2 * sqrt of the eigenvalues of the cells'
//   covariance, so a filled ellipse gives back its own semi-axes), z = (highest - lowest) *
//   scale.z.
// - angle: degrees of the major axis in world X/Y, counter-clockwise from +X (towards +Y). With
//   useHeights = 0 the axis has no direction and the angle lies in [0, 180), or [-90, 90) when
//   signedAngle != 0. With useHeights != 0 the axis points to where the heights rise along it
//   (the sign of the covariance of height and the position along the axis; 0 keeps the first
//   form) and the angle lies in [0, 360), or [-180, 180) when signedAngle != 0.
// Every output is the double null when no cell is valid; outputs may be null.
// Raises -997 for a rectangle outside the surface or without cells, -996 when layer 0 is not a
// zArray2 of z16s (point clouds are not supported), -984 for a mask of another type or size.
RO_API void FitEllipse(const Surface& surface, const Rect2d<int>& rect, void* mask, int useHeights,
                       int signedAngle, zPoint3d64f* center, zPoint3d64f* axes, double* angle);

// The same over the cells of a run-length region (its runs, in surface indices; overlapping runs
// count a cell once): equal to the rectangle form over the runs' box with their mask. A region
// without runs raises -997; runs that are not a zArrayList of RunRecord raise -984.
RO_API void FitEllipse(const Surface& surface, const RectRegionRLE& region, int useHeights,
                       int signedAngle, zPoint3d64f* center, zPoint3d64f* axes, double* angle);

}  // namespace Vision
}  // namespace Ro

#endif
