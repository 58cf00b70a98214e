// Least-squares planes a x + b y + c z + d = 0 through 3D points and height-map regions.
#ifndef ROVISION_FITTING_PLANEFIT_H
#define ROVISION_FITTING_PLANEFIT_H

#include <zApi/zDefs.h>

#include "../Common/Common.h"
#include "../Common/MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// The total least-squares plane of a zArrayList of zPoint3d64f: through the centroid, with the
// normal (a, b, c) the unit eigenvector of the smallest eigenvalue of the centred products,
// turned so that c > 0 (c = 0 is turned too). `center` (may be null) receives the centroid.
// Every point is used (no null test). Returns without writing anything when `points` or
// `plane` is null; otherwise plane and center start at the double null and stay there for 3 or
// fewer points or non-finite coordinates. A list of another item type raises -996.
RO_API void FitPlanePoints(void* const points, PlaneParams<double>* plane, zPoint3d64f* center);

// FitPlanePoints over the valid cells of a height-map region in world units: cells of layer 0
// inside `rect` (it must lie inside the surface) whose height is not -32768 and, when `mask` is
// given (a zArray2 of z8u the size of the rectangle), whose mask byte is non-zero; a null mask
// means the whole rectangle. The cells are taken row by row, left to right, and give the same
// bits as FitPlanePoints over a list of them in that order. Returns without writing when `plane`
// is null. Raises -997 for a rectangle outside the surface or without cells, -996 when layer 0
// is not a zArray2 of z16s, -984 for a mask of another type or size.
RO_API void FitPlane(const Surface& surface, const Rect2d<int>& rect, void* mask,
                     PlaneParams<double>* plane, zPoint3d64f* center);

// The same over the cells of a run-length region (its runs, in surface indices; overlapping runs
// count a cell once), taken row by row, left to right: the bits equal the rectangle form over
// the runs' box with their mask. A region without runs raises -997; runs that are not a
// zArrayList of RunRecord raise -984.
RO_API void FitPlane(const Surface& surface, const RectRegionRLE& region,
                     PlaneParams<double>* plane, zPoint3d64f* center);

}  // namespace Vision
}  // namespace Ro

#endif
