// Null-aware grey-level erosion and dilation of zImage height maps and masks.
//
// Pixel types handled, in this order: z8u, z16s, z32f, z64f. z16s compares as signed 16-bit, so
// the height null -32768 is the smallest value: it spreads under erosion and never wins under
// dilation; in z8u masks 0 ("off") does the same. z32f and z64f get no null handling.
// Minima and maxima run over the neighbourhood's rows from top to bottom and, in each row, its
// columns from left to right; a later pixel replaces the running value only when it is strictly
// smaller (larger).
//
// The input is a borrowed zImage handle (a null handle raises -997) and is never modified. The
// result is a new image of the input's type and size, made with `alloc` (null: the platform's
// default allocator) and owned by the returned Ty::Object<void*>. A failing construction raises
// the platform status with the operation's name, file "ImageProcessing/ImageUtils"; ImageDilate
// alone does not check it and returns an empty object instead. Another pixel type is not an
// error: see each operation.
#ifndef ROVISION_IMAGEPROCESSING_MORPHOLOGY_H
#define ROVISION_IMAGEPROCESSING_MORPHOLOGY_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// A copy of the input in which, for z8u and z16s, every pixel at least one away from the border
// whose 3x3 neighbourhood (centre included) holds a null (0, -32768) becomes null; other heights
// keep their value (only the 3x3 null growth, despite the name). For z32f and z64f every pixel at
// least two away from the border becomes the minimum of its 5x5 neighbourhood. The outer ring is
// copied from the input; an image too small for the neighbourhood, or of another pixel type,
// comes back as a plain copy.
RO_API Ty::Object<void*> ImageErode5(void* image, void* alloc = nullptr);
// A copy of the input in which every pixel at least two away from the border becomes the maximum
// of its 5x5 neighbourhood (all four types). A z16s pixel becomes null only if all 25 are null.
RO_API Ty::Object<void*> ImageDilate5(void* image, void* alloc = nullptr);

// The 3x3 minimum (maximum) of every pixel, the border replicated: the first and last rows use
// themselves as the missing neighbour row, and the first and last columns take only the two
// columns inside the image. An image one pixel wide takes its single column. Another pixel type:
// the new image comes back unwritten (zero-filled).
RO_API Ty::Object<void*> ImageErode(void* image, void* alloc = nullptr);
RO_API Ty::Object<void*> ImageDilate(void* image, void* alloc = nullptr);

// ImageErode for z16s, z32f and z64f. For z8u: an off pixel (0) and an isolated on pixel (all
// eight neighbours 0) are left unwritten (0 in the new image); the first and last columns get the
// minimum of their truncated neighbourhood; every other pixel the 3x3 minimum.
RO_API Ty::Object<void*> ImageErodeToPeak(void* image, void* alloc = nullptr);

// The 3x3 operation applied once, then again to its own result while the pass number is below
// count (a count of 1 or less gives one pass); each previous result is released. A failing
// construction of any pass raises its status with the repeated form's name.
RO_API Ty::Object<void*> ImageErodeX(void* image, int count, void* alloc = nullptr);
RO_API Ty::Object<void*> ImageDilateX(void* image, int count, void* alloc = nullptr);
RO_API Ty::Object<void*> ImageErodeToPeakX(void* image, int count, void* alloc = nullptr);

// ImageDilateX(ImageErodeX(image, count), count); the intermediate image is released.
RO_API Ty::Object<void*> ImageOpeningX(void* image, int count, void* alloc = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
