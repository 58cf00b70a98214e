// Height and intensity thresholds that narrow a mask in place.
//
// Heights: a world height is raw * scale.z + offset.z; the limits are world heights, converted to
// raw counts by (limit - offset.z) / scale.z rounded half away from zero. Either limit at the
// double null (-1.7976931348623157e308) applies no range: only null cells (-32768) are cleared.
// Layer 0 is a z16s height map or a zPoint3d16s grid (its z is used); another type raises -996.
// Errors are Ty::Exception from "Filter/Filter" named "Ro::Vision::ThresholdHeight".
#ifndef ROVISION_FILTER_THRESHOLD_H
#define ROVISION_FILTER_THRESHOLD_H

#include "../Common/Common.h"
#include "../Common/MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// Narrows the region's mask (built first when needed) within its bounding box: a mask byte is
// cleared where the height is null or outside [low, high]. The region's mask has the surface's
// size, so mask cell (r, c) is surface cell (r, c). Nothing happens for a surface without
// heights.
RO_API void ThresholdHeight(const Surface& surface, double low, double high, RoiSurface& roi);

// Narrows `mask` (z8u, rect.height rows by rect.width columns; cell (r, c) stands for surface
// cell (rect.y + r, rect.x + c)) the same way. Nothing happens for a null mask or a surface
// without heights. Raises -997 (line 632) unless x >= 0, y >= 0, width <= columns,
// height <= rows and the mask is a z8u array of height rows and width columns; only the size is
// compared with the surface, not x + width: cells beyond the surface's edge have no data and are
// cleared like nulls. On a point grid the rectangle must be the whole grid (-997, line 706 with
// limits, 655 without) and mask cell (r, c) stands for point (r, c).
RO_API void ThresholdHeight(const Surface& surface, double low, double high,
                            const Rect2d<int>& rect, void* mask);

// Clears mask bytes whose intensity (layer 1, z8u) lies outside [low, high] (both included); mask
// cell (r, c) stands for intensity (rect.y + r, rect.x + c). Does nothing, without error, unless
// the surface has a z8u layer 1, the mask is a z8u array of the rectangle's size and
// low <= high. Cells beyond the surface's edge count as intensity 0.
RO_API void ThresholdIntensity(const Surface& surface, unsigned char low, unsigned char high,
                               const Rect2d<int>& rect, void* mask);

}  // namespace Vision
}  // namespace Ro

#endif
