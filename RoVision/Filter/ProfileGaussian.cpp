#include "ProfileGaussian.h"

#include <TyApi/TyObject.h>
#include <zApi/zArray1.h>

#include <climits>
#include <cmath>

#include "FilterPrivate.h"
#include "GaussianKernelPrivate.h"

namespace Ro {
namespace Vision {

int ConvertSigmaToKernelSize(double sigma) {
  const double t = filter::RoundHalfAway(((sigma - 0.8) * 10 / 3 + 1) * 2 + 1);
  if (std::isnan(t)) return 0;
  if (t >= INT_MAX) return INT_MAX;
  if (t <= INT_MIN) return INT_MIN;
  return static_cast<int>(t);
}

double ConvertKernelSizeToSigma(int kernelSize) {
  const long long k1 = static_cast<long long>(kernelSize) - 1;
  return 0.3 * (static_cast<double>(k1) * 0.5 - 1) + 0.8;
}

namespace {

// Replaces what *out held by `made` (the caller owns it from now on).
void Hand(void** out, Ty::Object<void*>& made) {
  zObject_Destroy(*out);
  *out = made.Detach();
}

}  // namespace

void ProfileGaussian(void* ranges, void* intensities, void* /*unusedInput*/, double sigma,
                     void** outRanges, void** outIntensities, void** /*unusedOutput*/,
                     int keepNulls, void* allocator) {
  const Site site{filter::kModule, "Ro::Vision::ProfileGaussian"};
  if (!ranges || !outRanges || (intensities && !outIntensities) || !(sigma >= 0)) {
    Throw(site, 1761, kInvalidArgument);
  }
  if (zArray1_ItemType(ranges) != zTypeOf(z16s) ||
      (intensities && zArray1_ItemType(intensities) != zTypeOf(z8u))) {
    Throw(site, 1762, kNotSupported);
  }
  const zSize count = zArray1_Length(ranges);
  if (intensities && zArray1_Length(intensities) != count) Throw(site, __LINE__, kIncompatible);

  int length = ConvertSigmaToKernelSize(sigma);
  if (length % 2 == 0) length += 1;
  Ty::Object<void*> smoothed;
  Ty::Object<void*> smoothedIntensities;
  if (length < 2) {
    Check(site, 1791, zArray1_Clone(ranges, allocator, smoothed.Address()));
    if (intensities) {
      Check(site, 1793, zArray1_Clone(intensities, allocator, smoothedIntensities.Address()));
    }
  } else {
    Check(site, 1770, zArray1_Construct(smoothed.Address(), zTypeOf(z16s), count, allocator));
    if (intensities) {
      Check(site, 1784,
            zArray1_Construct(smoothedIntensities.Address(), zTypeOf(z8u), count, allocator));
    }
    GaussianKernel kernel(static_cast<unsigned long long>(length), sigma);
    SmoothWithKernel(
        kernel, static_cast<const short*>(zArray1_Data(ranges)),
        intensities ? static_cast<const unsigned char*>(zArray1_Data(intensities)) : nullptr, count,
        static_cast<short*>(zArray1_Data(smoothed)),
        intensities ? static_cast<unsigned char*>(zArray1_Data(smoothedIntensities)) : nullptr,
        keepNulls != 0);
  }
  Hand(outRanges, smoothed);
  if (intensities) Hand(outIntensities, smoothedIntensities);
}

}  // namespace Vision
}  // namespace Ro
