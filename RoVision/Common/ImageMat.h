// ImageMat: a region of an image (the image, a rectangle, an optional 8-bit mask) and null-aware
// pixel statistics over it.
//
// Element types of the image: z8u, z16s, z16u, z32f, z64f. Nulls as for MatTemplated: z16s
// -32768, z32f -FLT_MAX and z64f -DBL_MAX are null and take part in no statistic but the count
// of cells; z8u and z16u have no null. The mask, when given, is a z8u zImage of the rectangle's
// size: cells whose mask byte is 0 are not part of the region at all.
//
// Positions are in pixel units (column x, row y of the whole image, not of the rectangle).
// ToWorld turns a result into world units with a scale and offset: X = offset.x + x * scale.x,
// Y = offset.y + y * scale.y, value = offset.z + v * scale.z.
//
// Failures raise Ty::Exception (file "Common/ImageMat", function "Ro::Vision::ImageMat::<name>"):
// -997 for a null image or a rectangle not inside the image, -984 for another element type or a
// mask of another type or size; -997 for a bad percentile or histogram argument.
#ifndef ROVISION_COMMON_IMAGEMAT_H
#define ROVISION_COMMON_IMAGEMAT_H

#include <TyApi/TyObject.h>
#include <zApi/zDefs.h>

#include "Export.h"
#include "Records.h"

namespace Ro {
namespace Vision {

// Statistics of the valid cells of a region. Every double is the double null when the region has
// no valid cell.
struct RegionStatistics {
  zSize count = 0;       // cells of the region (inside the rectangle and the mask)
  zSize validCount = 0;  // of them, cells that are not null
  double min = kNullDouble;
  double max = kNullDouble;
  Point2d<double> minPosition;  // the first minimum in row order
  Point2d<double> maxPosition;  // the first maximum in row order
  double mean = kNullDouble;
  // Of the population (divided by the count of valid cells).
  double stdDev = kNullDouble;
  // The 50th percentile (see Percentile).
  double median = kNullDouble;
  // Mean position of the valid cells, unweighted.
  Point2d<double> centroid;
};

class RO_API ImageMat {
 public:
  // The whole image.
  explicit ImageMat(void* image);
  // The width x height rectangle at (rect.x, rect.y), under `mask` when it is not null.
  ImageMat(void* image, const Rect2d<int>& rect, void* mask = nullptr);

  const Rect2d<int>& Rect() const { return rect_; }

  // Counts, extremes, mean, standard deviation, median and centroid in one call. Sums are exact
  // for the integer types (64-bit integers, the variance from 128-bit products).
  RegionStatistics Statistics() const;
  // The p-th percentile (0 <= p <= 100) of the n sorted valid values: linear interpolation
  // between the two nearest ranks around (n - 1) x p / 100, truncated toward zero for the integer
  // types. The double null when there is no valid cell.
  double Percentile(double p) const;
  // Counts of the valid values in `bins` equal bins over [low, high]: value v goes to bin
  // floor((v - low) x bins / (high - low)), v = high to the last bin; values outside [low, high]
  // are not counted. A new zArray1 of z64u made with `alloc`. -997 for bins < 1 or a range that
  // is not finite and increasing.
  Ty::Object<void*> Histogram(int bins, double low, double high, void* alloc = nullptr) const;

  // The statistics in world units; counts unchanged, the standard deviation scaled by |scale.z|,
  // null fields left null.
  static RegionStatistics ToWorld(const RegionStatistics& pixels, const zPoint3d64f& scale,
                                  const zPoint3d64f& offset);

 private:
  Ty::Object<void*> image_;
  Ty::Object<void*> mask_;
  Rect2d<int> rect_;
};

}  // namespace Vision
}  // namespace Ro

#endif
