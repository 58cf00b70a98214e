// Private: the height threshold shared by ThresholdHeight and the regions of interest.
#ifndef ROVISION_FILTER_THRESHOLDPRIVATE_H
#define ROVISION_FILTER_THRESHOLDPRIVATE_H

#include "../Common/ErrorPrivate.h"
#include "../Common/ScanRecords.h"

namespace Ro {
namespace Vision {
namespace filter {

// Half away from zero, truncated to an integer of 64 bits (saturating).
long long RoundHalfAwayToInteger(double value);

// Clears the mask bytes of the surface cells in `cells` (first column, first row, columns,
// rows) whose height is null or, when `bounded`, lies outside [rawLow, rawHigh] (raw counts).
// Mask row r, column c stands for surface cell (maskY + r, maskX + c). Layer 0 is a z16s
// height map or a zPoint3d16s grid (its z is used); other types raise -996 at `site`.
void ClearHeightsOutside(const Site& site, const Surface& surface, bool bounded, long long rawLow,
                         long long rawHigh, const Rect2d<int>& cells, void* mask, int maskX,
                         int maskY);

}  // namespace filter
}  // namespace Vision
}  // namespace Ro

#endif
