// Thresholds at percentiles of the heights inside a region.
#ifndef ROVISION_FILTER_THRESHOLDPERCENTILE_H
#define ROVISION_FILTER_THRESHOLDPERCENTILE_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"
#include "../Common/MaskSurfaceRoi.h"
#include "../Common/Records.h"
#include "../Common/ScanRecords.h"

namespace Ro {
namespace Vision {

// The lowPercentile-th and highPercentile-th percentiles of the valid heights of a height map
// under a region, in world units (raw * z scale + z offset), and the region narrowed to the
// cells whose world height lies between them, both ends included.
//
// The region is `rect` (x = first column, y = first row, width, height, in cells) and `mask`, a
// zArray2 of z8u of height rows by width columns whose row r, column c stands for cell
// (y + r, x + c); a non-zero byte means inside. The mask is narrowed in place, as
// ThresholdHeight narrows it: a byte is cleared when its cell is null or outside the range,
// bytes already 0 stay 0.
//
// Rank rule: the n world heights sorted ascending as h[0..n-1], pos = (n - 1) * p / 100,
// i = floor(pos): h[i] + (h[i + 1] - h[i]) * (pos - i), not rounded.
//
// Both results are first set to the double null. They stay null, and the mask is left as it is,
// when the mask is null or the surface has no height layer (as ThresholdHeight returns without
// change); when no valid height lies under the mask they stay null and the mask is cleared.
//
// Raises -997 (file "Filter/Filter") for a null result pointer, percentiles outside
// 0 <= low < high <= 100 (NaN included), a rectangle with a negative corner or size or reaching
// past the surface, or a mask that is not height x width; -984 for a mask that is not z8u;
// -996 when layer 0 is not a height map (z16s).
RO_API void ThresholdPercentile(const Surface& surface, double lowPercentile, double highPercentile,
                                Rect2d<int> rect, const Ty::Object<void*>& mask, double* lowHeight,
                                double* highHeight);

// The same over a region of interest: its surface, and its mask (built first when needed) inside
// its bounding box; the region's mask has the surface's size, so mask cell (r, c) is surface
// cell (r, c). The region's mask is narrowed in place, as ThresholdHeight narrows it (a mask
// shared with copies of the region changes for them too). A region over a surface without
// layers, or whose box is empty, leaves both results null. Raises as the rectangle form; a
// region that cannot build its mask raises what the region raises.
RO_API void ThresholdPercentile(RoiSurface& roi, double lowPercentile, double highPercentile,
                                double* lowHeight, double* highHeight);

}  // namespace Vision
}  // namespace Ro

#endif
