// A null-aware rank filter of a height map or an intensity layer.
#ifndef ROVISION_FILTER_FILTERPERCENTILE_H
#define ROVISION_FILTER_FILTERPERCENTILE_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"
#include "../Common/Records.h"

namespace Ro {
namespace Vision {

// Each output cell is the p-th percentile (p in [0, 100]) of the valid cells of a window of
// size.x columns by size.y rows centred on it, the window cut at the map's edges (never padded).
// An even size is made odd by adding 1, as SurfaceFilter::Average does.
//
// Input: a zArray2 of z16s (heights, -32768 = null) or of z8u (intensities, 0 = null). The
// output is a new array of the same type and size, created with `allocator` and put into
// `output` (an object it held before is released); `output` may be the input's handle.
//
// Rank rule: with the n valid values of the window sorted ascending as x[0..n-1],
//   pos = (n - 1) * p / 100 (in double), i = floor(pos),
//   v = x[i] + (x[i + 1] - x[i]) * (pos - i)   (v = x[i] when pos = i),
// and the result is v truncated toward zero. p = 0 gives the minimum, p = 100 the maximum, and
// p = 50 the median rule of ProfileFilter::Median (the two middle values' sum halved, truncated
// toward zero). A window without a valid value gives null; with keepNull a cell whose own value
// is null stays null.
//
// Cost per cell does not grow with the window: a sliding two-level histogram over per-column
// histograms, so a window adds one column and drops one per step; the bins follow the value range
// of each tile of the map. Windows of at most 49 cells are sorted instead (a sorting network, one
// output per vector lane), which is faster for so few cells and gives the same result. Rows are
// split over the thread pool `pool` (null: the default pool); the result does not depend on the
// number of tasks.
//
// Raises -997 (file "Filter/Filter") for a null input, an element type other than z16s or z8u,
// a size of 0 in either direction, or p outside [0, 100] (NaN included); the platform's status
// when the output or a work buffer cannot be made.
RO_API void FilterPercentile(const Ty::Object<void*>& input, Point2d<unsigned long long> size,
                             double percentile, int keepNull, Ty::Object<void*>& output,
                             void* allocator, void* pool = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
