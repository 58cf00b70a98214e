// Gathering the valid cells of a region as world points.
#ifndef ROVISION_FILTER_POINTSFROMROI_H
#define ROVISION_FILTER_POINTSFROMROI_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"
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

}  // namespace Vision
}  // namespace Ro

#endif
