// Spheres fitted to 3D points and height-map regions, with rejection of outlying points.
#ifndef ROVISION_FITTING_SPHEREFIT_H
#define ROVISION_FITTING_SPHEREFIT_H

#include <zApi/zDefs.h>

#include <cstddef>
#include <vector>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// The algebraic least-squares sphere |p|^2 = 2 c . p + k (solved in coordinates centred on the
// centroid and scaled to unit spread), radius sqrt(k + |c|^2). Then, round by round, every point
// is judged against the current sphere: it is kept when its radial error | |p - center| - radius |
// is at most `outlierDistance` (world units), else rejected, and the sphere is refitted over the
// kept points, until a round changes nothing (at most 100 rounds). A point rejected while gross
// outliers pulled the first fit thus comes back later. A round that would keep fewer than 4
// points, or only flat ones, is not applied. `outlierDistance` given as the double null turns the
// rejection off (one plain fit).
// Points with a NaN or infinite coordinate, or whose z is the double null, are not used. The
// working copy of the points is made with `allocator` (null = the default allocator).
// center and radius start at the double null. `outliers` and `inliers` (each may be null) are
// cleared and receive the rejected and the kept points in input order.
// Raises -997 for null center, radius or points (with count > 0) and for an outlierDistance
// that is NaN or not above 0; -996 (line 3019) for fewer than 4 usable points or a degenerate
// set (all points on one plane or line); a failing list operation raises the platform's status.
RO_API void FitSphere(const zPoint3d64f* points, std::size_t count, zPoint3d64f* center,
                      double* radius, void* allocator, double outlierDistance,
                      std::vector<zPoint3d64f>* outliers, std::vector<zPoint3d64f>* inliers);

// The same over the valid cells of a height-map region in world units: cells of layer 0 inside
// `rect` (it must lie inside the surface) whose height is not -32768 and, when `mask` is given (a
// zArray2 of z8u the size of the rectangle), whose mask byte is non-zero; a null mask means the
// whole rectangle. Cells are taken row by row, left to right. `maxRounds` bounds the number of
// reject-and-refit rounds (0 = until a round changes nothing, at most 100).
// Raises as the point overload (-996 at line 3277), and -997 for a rectangle outside the surface
// or without cells, -996 when layer 0 is not a zArray2 of z16s, -984 for a mask of another type
// or size.
RO_API void FitSphere(const Surface& surface, const Rect2d<int>& rect, void* mask,
                      zPoint3d64f* center, double* radius, std::vector<zPoint3d64f>& outliers,
                      double outlierDistance, std::vector<zPoint3d64f>* inliers,
                      std::size_t maxRounds);

}  // namespace Vision
}  // namespace Ro

#endif
