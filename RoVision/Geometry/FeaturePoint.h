// Feature points: one characteristic 3D point of the valid cells of a masked region of a height
// map, in world units (world = raw x scale + offset, per axis).
//
// A cell counts when its mask byte is non-zero, its height is not the null -32768 and its world
// height lies inside the optional height window. A result that cannot be computed is the null
// point, all three coordinates -DBL_MAX.
#ifndef ROVISION_GEOMETRY_FEATUREPOINT_H
#define ROVISION_GEOMETRY_FEATUREPOINT_H

#include <TyApi/TyObject.h>
#include <zApi/zDefs.h>

#include <cstdint>

#include "../Common/Common.h"
#include "../Common/MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// The rule by which the counted cells become one point. Ties of the extremes go to the cell
// scanned last (rows top to bottom, columns left to right).
enum class FeatureType : int32_t {
  Centroid = 0,         // mean column, row and height
  Median = 1,           // per-axis median; an even count takes the mean of the two middle
                        // values, truncated to a whole cell or height step
  Offset = 2,           // the surface's world offsets (no rule of its own, kept for its value)
  VolumeCentroid = 3,   // centroid of the volume between the surface and the plane z = 0
  MaxX = 4,             // the cell of the largest column
  MinX = 5,             // the smallest column
  MaxY = 6,             // the largest row
  MinY = 7,             // the smallest row
  MaxZ = 8,             // the highest cell
  MinZ = 9,             // the lowest cell
  Offset10 = 10,        // as Offset
  PercentileBand = 11,  // centroid of the cells between two height percentiles
};

// The feature point of the cells of `rect` (absolute column x, row y, width, height) of
// surface's z16s heights whose byte in `mask` (a z8u zArray2 of rect.height rows by rect.width
// columns) is non-zero.
//
// - Centroid, VolumeCentroid and PercentileBand average in doubles (sub-cell results).
//   VolumeCentroid weighs each cell by its distance |d| in height steps from the raw height z0
//   of world z = 0 (rounded to the nearest step) and places its column of |d| unit steps at
//   d (|d| + 1) / 2 / |d| above z0. A region lying wholly at z = 0 has no volume: the result is
//   NaN in every coordinate, not null.
// - PercentileBand: the band runs from the height at `lowPercent` to the height at
//   `highPercent` of the counted cells (the first height whose running count reaches
//   truncate(n x p / 100 + 0.5); percents outside 0..100 act as 0 and 100), ends included, and
//   the result is the centroid of the counted cells inside it. highPercent <= lowPercent, or a
//   band whose two ends fall on the same height, gives the null point.
// - `allocator` makes the working histograms of Median and PercentileBand (null: the default).
// - `zMin` and `zMax` (world units, ends included within a millionth of a step) narrow the counted
// cells to a height window;
//   the double null leaves that side open.
//
// The null point, without raising, for: no height layer, a null mask, a rectangle narrower or
// lower than one cell, a mask whose size differs from the rectangle, no counted cell. Raises
// -997 for a rectangle reaching outside the surface, unset offsets or scales, or a type outside
// 0..11; -996 for heights that are not z16s; -984 for a mask that is not z8u; a failing
// histogram allocation raises the platform's status.
RO_API zPoint3d64f CalculateFeaturePoint(const Surface& surface, const Rect2d<int>& rect,
                                         void* mask, double lowPercent, double highPercent,
                                         FeatureType type, void* allocator = nullptr,
                                         double zMin = kNullDouble, double zMax = kNullDouble);

// The same rules over the cells of a run-length region (surface indices; overlapping runs count a
// cell once), scanned row by row, left to right, like the rectangle form over the runs' box with
// their mask; the percentile band (type 11) spans 0 to 100 percent. Histograms and the expanded
// mask come from `allocator`. A region without runs gives the null point. Raises -996 (line
// 2542) for a region of another kind than 2 or runs that are not a zArrayList of RunRecord, and
// whatever the rectangle form raises.
RO_API zPoint3d64f CalculateFeaturePoint(const Surface& surface, const RectRegionRLE& region,
                                         FeatureType type, void* allocator = nullptr);

// The same rules over every non-null pixel of a z16s zImage, with unit scale and zero offset:
// the result is in pixel columns, rows and raw heights. A null image gives the null point;
// another pixel type raises -996. The histograms come from the default allocator.
RO_API zPoint3d64f CalculateFeaturePoint(const Ty::Object<void*>& image, FeatureType type,
                                         double lowPercent, double highPercent);

}  // namespace Vision
}  // namespace Ro

#endif
