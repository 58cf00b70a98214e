// 3x3 smoothing of zImage height maps: box mean, median and a local-maximum filter.
//
// Pixel types handled, in this order: z8u, z16s, z32f, z64f. These filters know only the float
// nulls (z32f -FLT_MAX, z64f -DBL_MAX); the z16s null -32768 and the z8u 0 are filtered like any
// other value. Inputs are borrowed zImage handles (a null handle raises -997); new images are made
// with `alloc` (null: the platform's default allocator) and owned by the returned object. A
// failing construction or reallocation raises the platform status with the operation's name, file
// "ImageProcessing/ImageUtils". Another pixel type is not an error: see each operation.
// The ToDest forms must not be given the same image as source and destination.
#ifndef ROVISION_IMAGEPROCESSING_MEDIANBLUR_H
#define ROVISION_IMAGEPROCESSING_MEDIANBLUR_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// A copy of the input whose interior pixels (one away from every border) become the mean of
// their 3x3 neighbourhood: z64f in double; z32f summed in float row by row, divided in double;
// z8u and z16s summed as integers, the sum taken as float, divided by 9.0 and truncated toward
// zero. The outer ring keeps the input; other pixel types come back as a plain copy. Nulls are
// averaged like heights.
RO_API Ty::Object<void*> ImageBlur(void* image, void* alloc = nullptr);
// ImageBlur once, then again on its own result while the pass number is below count.
RO_API Ty::Object<void*> ImageBlurX(void* image, int count, void* alloc = nullptr);

// The 3x3 median of every pixel. The first and last rows use themselves as the missing
// neighbour row; the first and last columns take the six values of the two columns inside the
// image (an image one pixel wide takes its three). z8u, z16s and z32f: the median of the values
// as doubles that are neither -DBL_MAX nor NaN, an even count giving the mean of the two middle
// values; stored truncated toward zero for z8u and z16s, and as -FLT_MAX for z32f when not
// finite. z64f: no value is skipped; of an even count the upper of the two middle values is
// taken. Other pixel types: the new image comes back unwritten.
RO_API Ty::Object<void*> ImageMedian(void* image, void* alloc = nullptr);

// Fills `destination` as ImageMedian fills its output and returns it (a new reference). The
// destination is first reallocated to the source's type and size when they differ. For z64f
// with keepNull non-zero a null source pixel stays null. An empty destination returns an empty
// object and does nothing.
RO_API Ty::Object<void*> ImageMedianToDest(void* source, void* destination, int keepNull);

// The median count times (at least once) through two alternating images of the input's type and
// size.
RO_API Ty::Object<void*> ImageMedianX(void* image, int count, int keepNull, void* alloc = nullptr);

// For z64f: a destination pixel keeps the source value when no pixel of its 3x3 neighbourhood
// (rows replicated, columns truncated at the edges) is strictly greater, else it becomes -DBL_MAX;
// plateaus survive whole. For z8u, z16s and z32f the destination receives the median instead, as
// ImageMedianToDest does. The third argument is not read.
RO_API Ty::Object<void*> ImageMaxOnlyToDest(void* source, void* destination, int unused);

}  // namespace Vision
}  // namespace Ro

#endif
