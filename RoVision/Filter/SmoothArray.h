// Separable smoothing of a full array of doubles or floats.
#ifndef ROVISION_FILTER_SMOOTHARRAY_H
#define ROVISION_FILTER_SMOOTHARRAY_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"
#include "../Common/Records.h"

namespace Ro {
namespace Vision {

enum class SmoothKind : int {
  Box = 0,       // the mean of the window
  Gaussian = 1,  // weights exp(-d^2 / (2 sigma^2)) over the window, normalised to sum 1
};

// Smooths a zArray2 of z64f or z32f in two 1-D passes, first along the rows, then along the
// columns, into a new array of the same type and size created with `allocator` and put into
// `output` (which may be the input's handle). Borders replicate the edge element: the input is
// first padded with PadArray2 in PadMode::Replicate.
//
// The array must be full: there is no null handling, a null (-DBL_MAX, -FLT_MAX) or NaN is
// averaged like any other value. Sums are taken in double for both types.
//
// Box: window size.x columns by size.y rows; an even size is made odd by adding 1, so the window
// is always centred. sigma is not used.
// Gaussian: sigma.x and sigma.y (> 0) in cells, window size.x by size.y; a size of 0 in a
// direction takes round(8 sigma + 1) (half away from zero) made odd, the window OpenCV picks for
// float data; an even size is made odd.
// For z64f the result equals cv::blur and cv::GaussianBlur with BORDER_REPLICATE to about
// 1e-12 relative; for z32f within float rounding.
//
// Raises -997 (file "Filter/Filter") for a null input, a box size of 0, a sigma that is not > 0
// (NaN included) for Gaussian, or an unknown kind; -996 for another element type; the platform's
// status when an array cannot be made.
RO_API void SmoothFullArray2(const Ty::Object<void*>& input, SmoothKind kind,
                             Point2d<unsigned long long> size, Point2d<double> sigma,
                             Ty::Object<void*>& output, void* allocator);

}  // namespace Vision
}  // namespace Ro

#endif
