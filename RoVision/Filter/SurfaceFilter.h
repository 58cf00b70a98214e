// A chainable, null-aware moving average over a height map.
#ifndef ROVISION_FILTER_SURFACEFILTER_H
#define ROVISION_FILTER_SURFACEFILTER_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"
#include "../Common/Records.h"

namespace Ro {
namespace Vision {

// Wraps an input and an output height map (zArray2 of z16s, rows = y, columns = x, -32768 =
// null) of the same size; they may be the same array. The arrays are borrowed: the caller keeps
// them alive while the filter is used. Once a filter has written the output, each further call
// filters that result (a private copy of it, made with `allocator`) instead of the input.
//
// Raises -997 (file "Filter/Filter") when either array is null, not z16s, or the two differ in
// rows or columns.
class RO_API SurfaceFilter {
 public:
  class Impl;

  SurfaceFilter(const Ty::Object<void*>& input, const Ty::Object<void*>& output, void* allocator);
  ~SurfaceFilter();
  SurfaceFilter(const SurfaceFilter&) = delete;
  SurfaceFilter& operator=(const SurfaceFilter&) = delete;

  // Separable moving average, window `size` (x = columns, y = rows); an even size is made odd
  // by adding 1. First along each row, then along each column of the row means, each window
  // centred and cut at the map's edges: the mean of the non-null values in it, truncated toward
  // zero, null when there is none. With keepNulls a cell whose own value is null (in the input,
  // then in the row means) stays null. The result is the mean of row means, not a true 2-D
  // mean over the non-null cells. Sizes below 2 in both directions do no filtering: a fresh
  // object copies its input to its output, a used one is left as it is.
  //
  // Raises the platform's status when a work array or the private copy cannot be made.
  SurfaceFilter& Average(Point2d<unsigned long long> size, int keepNulls);

 private:
  Impl* impl_;
};

}  // namespace Vision
}  // namespace Ro

#endif
