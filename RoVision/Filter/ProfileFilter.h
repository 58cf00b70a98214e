// Smoothing and gap filling of one profile's ranges: a run of signed 16-bit values in which
// -32768 marks a missing (null) point.
#ifndef ROVISION_FILTER_PROFILEFILTER_H
#define ROVISION_FILTER_PROFILEFILTER_H

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// Wraps an input run and an output run of `count` values. Each filter writes the output; once a
// filter has written it, each further call filters the previous result instead of the input
// (chaining: `filter.Average(3, 0).Median(3, 0)`). The caller's buffers are borrowed, never
// freed, and may be the same buffer or overlap: a filter whose sliding window would see its own
// writes works from a private copy, made with `allocator` (null: the default allocator).
//
// Windows are centred and cut at both ends of the run, never padded. Window lengths 0 and 1 do
// no filtering: on a fresh object the input is copied to the output, on a used one nothing
// happens (and the object stays as it was).
//
// Failures raise Ty::Exception with file "Filter/Filter": -997 for a null input or output or a
// zero count, -997 for an even window length of Average, Median or Gaussian (0 included), and
// the platform's status when the private copy cannot be made.
class RO_API ProfileFilter {
 public:
  class Impl;

  ProfileFilter(const short* input, unsigned long long count, short* output, void* allocator);
  ~ProfileFilter();
  ProfileFilter(const ProfileFilter&) = delete;
  ProfileFilter& operator=(const ProfileFilter&) = delete;

  // Fills runs of nulls whose edges are at most maxGap indices apart (so at most maxGap - 1
  // nulls). With diff the right edge minus the left one and gap their distance: when
  // -maxSlope * gap <= diff <= maxSlope * gap the nulls are interpolated linearly (integer
  // division truncated toward zero); a steeper rise or drop fills flat with the higher edge when
  // fillHigh is non-zero, else with the lower one. Leading and trailing nulls stay null.
  ProfileFilter& FillGap(unsigned long long maxGap, int maxSlope, int fillHigh);

  // Mean of the non-null values in the window, truncated toward zero; null when there is none.
  // With keepNulls a position whose input is null stays null, otherwise it is filled.
  ProfileFilter& Average(unsigned long long windowSize, int keepNulls);

  // Median of the non-null values in the window; with an even count, the two middle values'
  // sum halved and truncated toward zero. Null when there is none. keepNulls as in Average.
  ProfileFilter& Median(unsigned long long windowSize, int keepNulls);

  // Gaussian weights exp(-d^2 / (2 sigma^2)) over the window (sigma <= 0: the sigma that
  // ConvertKernelSizeToSigma gives for windowSize), renormalised over the slots that are inside
  // the run and not null; the weighted sum is rounded half away from zero. Null when no slot is
  // left. keepNulls as in Average. A NaN sigma raises -988.
  ProfileFilter& Gaussian(unsigned long long windowSize, double sigma, int keepNulls);

 private:
  Impl* impl_;
};

}  // namespace Vision
}  // namespace Ro

#endif
