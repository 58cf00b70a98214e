// Cutting a masked rectangle out of a height map, and the masked averages of heights and
// intensities. The mask is a zArray2 of z8u of the rectangle's size (height rows, width
// columns); mask cell (r, c) stands for surface cell (rect.y + r, rect.x + c), non-zero inside.
#ifndef ROVISION_FILTER_ROICROP_H
#define ROVISION_FILTER_ROICROP_H

#include <TyApi/TyObject.h>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// Fills `output` with the rectangle of the input: scales copied, offset moved to the
// rectangle's first sample (x = rect.x * scale.x + offset.x, likewise y; z kept), layer 0 a new
// z16s array with the input's heights under the mask and -32768 elsewhere, and, when the input
// has a z8u layer 1, a copy of its intensities (unmasked) as layer 1. Arrays are made with
// `allocator`. Raises Ty::Exception from "Filter/Filter" named "Ro::Vision::CropSurfaceFromROI":
// -997 (line 1278) for a null mask, a mask of another size or a surface without layer 0 (output
// untouched); status 1 (line 1329) for an empty rectangle (the output then has its scales and
// offset set and no layers); -996 (line 1289) when layer 0 is not z16s; -997 for a rectangle
// reaching outside the surface; a failing creation or copy raises its own status (lines 1292,
// 1314, 1321).
RO_API void CropSurfaceFromROI(const Surface& input, const Rect2d<int>& rect,
                               const Ty::Object<void*>& mask, Surface* output, void* allocator);

// The mean world height of the cells under the mask: (sum of raw heights / count) * scale.z +
// offset.z. Null cells under the mask are not skipped (each adds -32768): clear them from the
// mask first (ThresholdHeight). 0.0 for a surface without heights, a null mask, an empty
// rectangle or one reaching outside the surface, a mask of another size, or no cell under the
// mask. A zPoint3d16s grid uses its z.
RO_API double GetAverageHeightOfROI(const Surface& surface, const Rect2d<int>& rect, void* mask);

// The mean intensity (layer 1, z8u) of the cells under the mask, truncated toward zero. 0 in the
// same cases as the height average, and without an intensity layer.
RO_API unsigned char GetAverageIntensityOfROI(const Surface& surface, const Rect2d<int>& rect,
                                              void* mask);

}  // namespace Vision
}  // namespace Ro

#endif
