// Private to the Filter module: the rank rule shared by the percentile filter and the percentile
// threshold.
//
// With the n valid values sorted ascending as x[0..n-1], the p-th percentile is taken at
// pos = (n - 1) * p / 100 (in double), i = floor(pos), by linear interpolation between the two
// nearest ranks: x[i] + (x[i + 1] - x[i]) * (pos - i), and x[i] itself when pos = i.
#ifndef ROVISION_FILTER_PERCENTILEPRIVATE_H
#define ROVISION_FILTER_PERCENTILEPRIVATE_H

#include <cstddef>

namespace Ro {
namespace Vision {
namespace percentile {

// The rank position of the p-th percentile among n values, split into its floor and fraction.
struct RankPosition {
  std::size_t index;
  double fraction;
};

inline RankPosition PositionOf(std::size_t n, double p) {
  const double pos = static_cast<double>(n - 1) * p / 100.0;
  const auto index = static_cast<std::size_t>(pos);
  return {index, pos - static_cast<double>(index)};
}

inline double Interpolate(double low, double high, double fraction) {
  return low + (high - low) * fraction;
}

// Integer results are truncated toward zero, as the library's integer medians are; with p = 50
// this is exactly the two middle values' sum halved and truncated.
inline int Interpolate(int low, int high, double fraction) {
  return static_cast<int>(
      Interpolate(static_cast<double>(low), static_cast<double>(high), fraction));
}

}  // namespace percentile
}  // namespace Vision
}  // namespace Ro

#endif
