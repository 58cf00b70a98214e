// Private to the Filter module: a Gaussian smoothing kernel over a run of 16-bit heights that
// drops the slots falling outside the run or on a null and renormalises what is left.
#ifndef ROVISION_FILTER_GAUSSIANKERNELPRIVATE_H
#define ROVISION_FILTER_GAUSSIANKERNELPRIVATE_H

#include <vector>

namespace Ro {
namespace Vision {

class GaussianKernel {
 public:
  // `size` slots (odd), centred, with the given sigma. Built on first use.
  GaussianKernel(unsigned long long size, double sigma) : size_(size), sigma_(sigma) {}

  // The run of `count` values that positions refer to.
  void SetRun(const short* first, unsigned long long count) {
    first_ = first;
    last_ = first + count;
  }

  unsigned long long Size() const { return size_; }
  unsigned long long Half() const { return (size_ - 1) / 2; }

  // The weights for the window centred on run index `position`: slot s covers index
  // position - Half() + s. Slots outside the run or on a null weigh 0; when any slot was dropped
  // the others are renormalised to sum 1. Null when every slot weighs 0.
  const double* WeightsAt(unsigned long long position);

  // Divides each weight by their sum; a sum that is not positive (or NaN) raises -988.
  static void Normalize(std::vector<double>& weights);

 private:
  void Build();

  unsigned long long size_;
  double sigma_;
  bool built_ = false;
  const short* first_ = nullptr;
  const short* last_ = nullptr;
  std::vector<double> weights_;
  std::vector<double> used_;
};

// Smooths `count` heights (and, when given, their intensities with the weights the heights
// decide) into the outputs. Heights: the weighted sum rounded half away from zero, null when no
// slot is left. Intensities: the weighted sum plus 0.5, truncated; 255 where the height is null.
// With keepNulls a position whose input height is null gets a null height (and intensity 255).
void SmoothWithKernel(GaussianKernel& kernel, const short* heights,
                      const unsigned char* intensities, unsigned long long count, short* outHeights,
                      unsigned char* outIntensities, bool keepNulls);

}  // namespace Vision
}  // namespace Ro

#endif
