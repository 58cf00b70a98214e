// Gathering the valid cells of a region as world points.
#ifndef ROVISION_FILTER_POINTSFROMROI_H
#define ROVISION_FILTER_POINTSFROMROI_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"
#include "../Common/MaskSurfaceRoi.h"
#include "../Common/Records.h"
#include "../Common/ScanRecords.h"

namespace Ro {
namespace Vision {

// The valid cells of a region of a surface as a new zArrayList of zPoint3d64f in world units,
// created with `allocator` and put into `points` (an object it held before is released).
//
// The region is `rect` (x = first column, y = first row, width, height, in cells) and `mask`, a
// zArray2 of z8u of height rows by width columns whose row r, column c stands for cell
// (y + r, x + c), a non-zero byte meaning inside; a null mask takes the whole rectangle.
//
// Layer 0 of the surface decides the points:
//   z16s height map:  (offset.x + column * scale.x, offset.y + row * scale.y,
//                      offset.z + height * scale.z); null heights (-32768) are skipped.
//   zPoint3d32s cloud: each coordinate as offset + value * scale; points whose z is the 32-bit
//                      null are skipped.
//   zPoint3d64f cloud: the points as they are (already world units); points whose z is the
//                      double null are skipped.
// Points come in row order, then column order. Rows are gathered in parallel on `pool` (null:
// the default pool) and joined in row order, so the list does not depend on the number of tasks.
//
// Raises -997 (file "Filter/Filter") when the surface has no layer 0, for a rectangle with a
// negative corner or size or reaching past the surface, or a mask that is not height x width;
// -984 for a mask that is not z8u; -996 for another layer 0 type; the platform's status when an
// allocation fails.
RO_API void GetPointsFromROI(const Surface& surface, Rect2d<int> rect,
                             const Ty::Object<void*>& mask, Ty::Object<void*>& points,
                             void* allocator, void* pool = nullptr);

// The same over the cells of a run-length region (surface indices; overlapping runs count a cell
// once), in row order, then column order: the list equals the rectangle form over the runs' box
// with their mask, which is made with `allocator`. A region without runs gives an empty list.
// Raises -996 for a region of another kind than 2, -984 for runs that are not a zArrayList of
// RunRecord, -997 for a negative run length, and whatever the rectangle form raises (runs
// reaching past the surface raise -997).
RO_API void GetPointsFromROI(const Surface& surface, const RectRegionRLE& region,
                             Ty::Object<void*>& points, void* allocator, void* pool = nullptr);

// The same over a region of interest on its own surface: the cells of its bounding box whose
// byte in its mask (built first when needed; the surface's size, so mask cell (r, c) is surface
// cell (r, c)) is non-zero. A region whose box is empty gives an empty list. Raises -997 when
// the region's surface has no layer 0, what the region raises when it builds its mask, and -996
// for a layer 0 type the rectangle form does not take.
RO_API void GetPointsFromROI(RoiSurface& roi, Ty::Object<void*>& points, void* allocator,
                             void* pool = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
