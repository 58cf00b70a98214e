// Filling short runs of nulls in a height map along rows (x) and columns (y).
#ifndef ROVISION_FILTER_SURFACEFILLGAP_H
#define ROVISION_FILTER_SURFACEFILLGAP_H

#include <TyApi/TyObject.h>

#include <cstdint>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

struct SurfaceFillGapParams {
  double xSpacing = 0;        // world distance between columns
  double ySpacing = 0;        // world distance between rows
  double zScale = 0;          // world height of one raw height step
  double maxGapX = 0;         // longest run of nulls to fill along a row, world units; <= 0: none
  double maxGapY = 0;         // the same along a column
  double maxSlopeAngleX = 0;  // degrees, 0 <= angle < 90
  double maxSlopeAngleY = 0;  // degrees, 0 <= angle < 90
  std::int32_t fillMode = 0;  // non-zero: a too steep gap is filled with the higher edge
};

// Fills runs of nulls (-32768) of `heights` (zArray2 of z16s) and the matching cells of
// `intensities` (zArray2 of z8u of the same size, or null) into new arrays made with `allocator`
// and written to outHeights and outIntensities (null when no intensities are given).
//
// Along a line (a row for x, a column for y) a run of at most gap-cells nulls (max gap divided
// by the spacing, truncated) between two values hL and hR is filled: interpolated (integer
// division truncated toward zero, intensities likewise) when |hR - hL| <= slope step *
// (nulls + 1), where the slope step is spacing * tan(angle) / zScale rounded half away from zero
// (32767 when larger); otherwise flat with the higher height when fillMode is non-zero, else
// the lower, and the intensity of that edge. Runs at the ends of a line and longer runs stay
// null. Note that the limit counts null cells, where ProfileFilter::FillGap counts the distance
// between the edges (at most maxGap - 1 nulls).
//
// With both gap limits at 0 the outputs are copies. With one, only that direction is filled.
// With both, a null cell that only one direction can fill takes that fill; one that both can
// fill takes the mean of the two, each weighted by the other's world span (the distance
// between the edges, in spacing * 1000 units), so the fill across the shorter gap counts more;
// rounded half away from zero. Both fills are taken from the input, so the result does not
// depend on an order of the passes.
//
// Raises -997 (file "Filter/Filter") for null heights or heights not z16s, intensities not z8u
// or of another size, an angle outside [0, 90), and a spacing or zScale that is not positive in
// a direction that fills; the platform's status when an array cannot be made.
RO_API void SurfaceFillGapXY(const SurfaceFillGapParams& params, const Ty::Object<void*>& heights,
                             const Ty::Object<void*>& intensities, Ty::Object<void*>& outHeights,
                             Ty::Object<void*>& outIntensities, void* allocator);

}  // namespace Vision
}  // namespace Ro

#endif
