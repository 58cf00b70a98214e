#include <algorithm>
#include <cmath>

#include "FilterPrivate.h"
#include "GaussianKernelPrivate.h"

namespace Ro {
namespace Vision {

void GaussianKernel::Normalize(std::vector<double>& weights) {
  double sum = 0;
  for (double w : weights) sum += w;
  // Written as "not greater than" so that a NaN sum (a NaN sigma) is refused too.
  if (!(sum > 0)) {
    Throw({filter::kModule, "Ro::Vision::GaussianKernel::Normalize"}, 300, kAborted);
  }
  for (double& w : weights) w /= sum;
}

void GaussianKernel::Build() {
  const unsigned long long half = Half();
  weights_.assign(size_, 0.0);
  used_.assign(size_, 0.0);
  for (unsigned long long i = 0; i <= half; ++i) {
    const double d = static_cast<double>(i) - static_cast<double>(half);
    weights_[i] = std::exp(-(d * d) / (2 * sigma_ * sigma_));
    weights_[2 * half - i] = weights_[i];
  }
  Normalize(weights_);
  built_ = true;
}

const double* GaussianKernel::WeightsAt(unsigned long long position) {
  if (!built_) Build();
  const unsigned long long count = static_cast<unsigned long long>(last_ - first_);
  const unsigned long long half = Half();
  bool dropped = false;
  bool any = false;
  for (unsigned long long s = 0; s < size_; ++s) {
    // index = position - half + s, tested without leaving the unsigned range.
    const bool inside = position + s >= half && position + s - half < count;
    if (inside && first_[position + s - half] != filter::kNullHeight) {
      used_[s] = weights_[s];
      any = any || used_[s] != 0;
    } else {
      used_[s] = 0;
      dropped = true;
    }
  }
  if (!any) return nullptr;
  if (dropped) Normalize(used_);
  return used_.data();
}

void SmoothWithKernel(GaussianKernel& kernel, const short* heights,
                      const unsigned char* intensities, unsigned long long count, short* outHeights,
                      unsigned char* outIntensities, bool keepNulls) {
  constexpr unsigned char kNoIntensity = 255;
  kernel.SetRun(heights, count);
  const unsigned long long half = kernel.Half();
  for (unsigned long long o = 0; o < count; ++o) {
    // Read before writing: the output may be the input shifted far enough back.
    const bool ownNull = heights[o] == filter::kNullHeight;
    const double* weights = kernel.WeightsAt(o);
    short height = filter::kNullHeight;
    unsigned char intensity = kNoIntensity;
    if (weights) {
      const unsigned long long first = o >= half ? o - half : 0;
      const unsigned long long end = std::min(count, o + half + 1);
      double heightSum = 0;
      double intensitySum = 0;
      for (unsigned long long i = first; i < end; ++i) {
        if (heights[i] == filter::kNullHeight) continue;
        const double w = weights[i + half - o];
        heightSum += w * heights[i];
        if (intensities) intensitySum += w * intensities[i];
      }
      height = static_cast<short>(filter::RoundHalfAway(heightSum));
      intensity = static_cast<unsigned char>(intensitySum + 0.5);
    }
    if (keepNulls && ownNull) {
      height = filter::kNullHeight;
      intensity = kNoIntensity;
    }
    outHeights[o] = height;
    if (outIntensities) outIntensities[o] = intensity;
  }
}

}  // namespace Vision
}  // namespace Ro
