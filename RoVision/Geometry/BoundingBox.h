// The smallest-area rotated rectangle around the valid cells of height-map regions, in world
// units, with the range of their heights.
#ifndef ROVISION_GEOMETRY_BOUNDINGBOX_H
#define ROVISION_GEOMETRY_BOUNDINGBOX_H

#include <vector>

#include "../Common/Common.h"
#include "../Common/MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// One region of a surface: the cells of layer 0 (a zArray2 of z16s) inside `rect` (which must
// lie inside the surface) whose height is not -32768 and, when `mask` is given (a zArray2 of z8u
// the size of the rectangle), whose mask byte is non-zero. A null mask means the whole
// rectangle. The surface's layers are shared, the mask is borrowed.
struct RO_API SurfaceRect {
  Surface surface;
  Rect2d<int> rect;
  void* mask = nullptr;
};

// The box, in centre style: x, y the rectangle's centre, z the middle of the lowest and highest
// world height; width the extent along the rectangle's own x axis, length across it, height the
// world height range; angleZ the angle of the rectangle's x axis in degrees, counter-clockwise
// from world +x, normalised to (-90, 90]; angleX and angleY are 0. Cells count as points at
// their world positions (offset + index * scale), so a single cell gives width and length 0.
//
// The rectangle is the exact minimum over all rotations: only the first and the last valid cell
// of each row can lie on the convex hull, the hull is built from them by the monotone chain, and
// rotating calipers try every hull edge as a side (the minimum-area rectangle has a side on the
// hull). Among rectangles of equal area the first hull edge, counter-clockwise from the lowest
// leftmost point, wins.
//
// No valid cell gives the double null in every field. Raises -997 (module "Geometry/Geometry",
// "Ro::Vision::GetBoundingBox") for a rectangle without cells or outside its surface, -996 when
// layer 0 is not a zArray2 of z16s, -984 for a mask of another type or size; a failing
// zParallel_Execute raises its status.
RO_API Region3d<double> GetBoundingBox(const Surface& surface, const Rect2d<int>& rect, void* mask);

// The box around the valid cells of all regions taken together. The rows of all regions are
// scanned in parallel through zParallel_Execute on `pool` (null: the default pool); each task
// writes only its own rows' results, so the box does not depend on the number of tasks.
RO_API Region3d<double> GetBoundingBox(const std::vector<SurfaceRect>& regions,
                                       void* pool = nullptr);

// The box around the valid cells of a region of interest on its own surface: the cells of its
// bounding box whose byte in its mask (built first when needed; the surface's size, so mask cell
// (r, c) is surface cell (r, c)) is non-zero. The rows are scanned on the region's thread pool.
// A region whose bounding box is empty has no valid cell: the double null in every field. Raises
// what the region raises when it builds its mask, and -996 when layer 0 is not a z16s map.
RO_API Region3d<double> GetBoundingBox(RoiSurface& roi);

// The box around the valid cells of a run-length region (surface indices; overlapping runs count
// a cell once): the rectangle form over the runs' box with their mask, which is made with
// `allocator` (null: the default allocator). A region without runs gives the double null in every
// field. Raises -996 for a region of another kind than 2, -984 for runs that are not a zArrayList
// of RunRecord, -997 for a negative run length, and what the rectangle form raises (runs past the
// surface raise -997).
RO_API Region3d<double> GetBoundingBox(const Surface& surface, const RectRegionRLE& region,
                                       void* allocator = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
