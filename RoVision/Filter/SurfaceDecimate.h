// Reducing a height map surface to a coarser grid.
#ifndef ROVISION_FILTER_SURFACEDECIMATE_H
#define ROVISION_FILTER_SURFACEDECIMATE_H

#include "../Common/Export.h"
#include "../Common/Records.h"
#include "../Common/ScanRecords.h"

namespace Ro {
namespace Vision {

// A new surface on a coarser grid, per axis (x = columns, y = rows):
// - a cell count above 0 gives the number of output cells directly (at most the input's) and
//   wins over the factor, which is then not looked at;
// - otherwise the factor keeps that fraction of the cells: round(cells * factor), at least 1;
//   a factor above 1 counts as 1 (no reduction), one <= 0 or NaN raises -997.
// Output cell i along an axis of n input and m output cells covers input cells
// floor(i * n / m) .. floor((i + 1) * n / m) - 1. Its height is the mean of the non-null heights
// there, truncated toward zero, null when all are null; intensities (layer 1, when present and
// not null) likewise, with 0 as their null.
// The result's scale along x and y grows by n / m and its offset moves to the centre of the
// first output cell (offset + scale * (n / m - 1) / 2), so that world coordinates of features
// stay where they were; z is kept. A component that is the double null stays null. When n is
// not a multiple of m, the covered blocks differ in size by one cell, and a block's own centre
// can lie up to half an input cell from the output cell's position.
// The new arrays are made with `allocator` and belong to the result.
//
// Raises -997 (file "Filter/Filter") for a surface without a z16s height layer, an intensity
// layer that is not z8u or not of the heights' size, a bad factor, or an empty height map; the
// platform's status when an array cannot be made.
RO_API Surface SurfaceDecimate(const Surface& surface, Point2d<unsigned long long> cellCounts,
                               Point2d<double> factors, void* allocator);

}  // namespace Vision
}  // namespace Ro

#endif
