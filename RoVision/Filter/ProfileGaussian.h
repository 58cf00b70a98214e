// Gaussian smoothing of a profile's ranges (and intensities) into new arrays, and the relation
// between a Gaussian sigma and an odd window length.
#ifndef ROVISION_FILTER_PROFILEGAUSSIAN_H
#define ROVISION_FILTER_PROFILEGAUSSIAN_H

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// t = ((sigma - 0.8) * 10 / 3 + 1) * 2 + 1, rounded half away from zero. The result may be even
// or below 1 (0 gives -2); callers correct it. Saturates at the int range (a NaN gives 0).
RO_API int ConvertSigmaToKernelSize(double sigma);

// 0.3 * ((k - 1) * 0.5 - 1) + 0.8, with k - 1 taken in integers (3 gives 0.8).
RO_API double ConvertKernelSizeToSigma(int kernelSize);

// Smooths `ranges` (a zArray1 of z16s, -32768 = null) with a Gaussian of the given sigma over
// ConvertSigmaToKernelSize(sigma) values (made odd), exactly as ProfileFilter::Gaussian does,
// into a new zArray1 written to *outRanges. With `intensities` (a zArray1 of z8u of the same
// length) a new z8u array is written to *outIntensities: the same per-position weights (decided
// by the ranges alone), weighted sum plus 0.5 truncated, and 255 wherever the height is null.
// A window below 2 makes the outputs plain copies. With keepNulls a null input range stays
// null (and its intensity becomes 255).
//
// The new arrays are made with `allocator` and owned by the caller; whatever *outRanges and
// *outIntensities held is released once the call succeeds (on failure they are untouched).
// `unusedInput` and `unusedOutput` have no effect. Without intensities *outIntensities is left
// as it is.
//
// Raises -997 for null ranges, a null outRanges, a null outIntensities with intensities given,
// or a negative or NaN sigma; -996 for ranges that are not z16s or intensities that are not
// z8u; -984 for intensities of another length; the platform's status when an array cannot be
// made.
RO_API void ProfileGaussian(void* ranges, void* intensities, void* unusedInput, double sigma,
                            void** outRanges, void** outIntensities, void** unusedOutput,
                            int keepNulls, void* allocator);

}  // namespace Vision
}  // namespace Ro

#endif
