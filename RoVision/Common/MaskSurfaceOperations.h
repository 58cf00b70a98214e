// Operations on masks as data: combining two masks, expanding run-length regions, merging masks
// placed at their boxes, masking a surface with a region, and the box and mask of a 3D box.
// Masks are zArray2 of z8u, 1 inside and 0 outside. Errors are Ty::Exception from
// "Common/MaskSurface" with the function's qualified name; failing platform calls raise their
// own status. Outputs are created with the allocator given and owned by the caller.
#ifndef ROVISION_COMMON_MASKSURFACEOPERATIONS_H
#define ROVISION_COMMON_MASKSURFACEOPERATIONS_H

#include <TyApi/TyObject.h>

#include <memory>
#include <vector>

#include "MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// *output = first AND second (type And) or first OR second (type Or), byte by byte; any other
// type leaves the output as it is (creating it when absent). An output array of the inputs' type
// and size is reused, any other is released and replaced. Nothing happens for a null output.
// Raises -997 when an input is empty, -984 when the inputs are not z8u arrays of one size.
RO_API void MaskOperation(Ty::Object<void*> first, Ty::Object<void*> second, MaskOperationType type,
                          void** output, void* allocator);

// Expands a zArrayList of RunRecord (any order, overlaps allowed) into its box and mask. The box
// is x = smallest first column, y = smallest row, width = largest run end (first column + count)
// - x + 1, height = rows spanned: one column wider than the covered span, the last column stays
// 0. The mask (box-sized, replacing what *mask held) has 1 on every run's cells. Null or empty
// runs, or both outputs null, write nothing. Raises -984 for a list of other items, -997 for a
// negative count.
RO_API void RLEToMask(void* runs, void** mask, Rect2d<int>* box, void* allocator);

// One mask and box covering all masks placed at their boxes: the box is the union of the boxes,
// the mask (union-box-sized) the OR of the masks at their places. No masks give a zero box and a
// null mask. Raises -997 when the counts differ, when a mask is empty, or when a mask's size
// differs from its box's. Rows are spread over `pool` (null: the default pool).
RO_API void MergeMasks(const std::vector<Ty::Object<void*>>& masks,
                       const std::vector<Rect2d<int>>& boxes, void** mask, Rect2d<int>* box,
                       void* allocator = nullptr, void* pool = nullptr);

// The surface cut to the region's bounding box (offset moved to the box's first sample) with
// heights outside the region's mask set to -32768; an intensity layer (z8u) is cut alike with 0
// outside the mask. Arrays are made with the region's allocator. Returns without writing when
// the surface has exactly one layer holding nothing. Raises -997 for a null output or region,
// -996 when layer 0 is not a z16s height map.
RO_API void ApplyMask(const Surface& surface, const std::shared_ptr<RoiSurface>& roi,
                      Surface* output);

// The index box and mask of the samples inside a centre-style 3D box: samples whose world x, y
// lie in the box's footprint turned by angleZ (the corner polygon of ExtractPolygonFromRect, the
// even-odd test with edges inside) and, when `checkHeight` is non-zero, whose height is not null
// and lies within z +- height / 2. The box is the footprint's extent by the region-to-index rule,
// clipped to the surface; the mask is box-sized (null with a zero box when the footprint misses
// the surface). Raises -997 for null outputs, -996 when layer 0 is not a z16s height map or a
// resolution is not positive. Rows are spread over `pool`.
RO_API void GetBBoxAndMask(const Surface& surface, const Region3d<double>& region, Rect2d<int>* box,
                           void** mask, void* allocator, int checkHeight, void* pool = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
