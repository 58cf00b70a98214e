// Private to the Filter module: the integer limits that SurfaceFillGapXY derives from its
// parameters.
#ifndef ROVISION_FILTER_SURFACEFILLGAPPRIVATE_H
#define ROVISION_FILTER_SURFACEFILLGAPPRIVATE_H

#include <cmath>
#include <cstdint>

#include "SurfaceFillGap.h"

namespace Ro {
namespace Vision {

struct FillGapLimits {
  std::int32_t gapCellsX = 0;
  std::int32_t gapCellsY = 0;
  std::int32_t slopeStepX = 0;  // largest raw height change per column still taken as a slope
  std::int32_t slopeStepY = 0;
  std::int32_t spacingX1000 = 0;
  std::int32_t spacingY1000 = 0;
  std::int32_t fillMode = 0;
};

namespace fill_gap {

// Clamped to the 32-bit range; NaN gives 0.
inline std::int32_t ToInt32(double value) {
  if (!(value == value)) return 0;
  if (value >= 2147483647.0) return 2147483647;
  if (value <= -2147483648.0) return -2147483647 - 1;
  return static_cast<std::int32_t>(value);
}

inline std::int32_t Round(double value) {
  return ToInt32(value >= 0 ? value + 0.5 : value - 0.5);
}

inline std::int32_t GapCells(double maxGap, double spacing) {
  return maxGap > 0 ? ToInt32(maxGap / spacing) : 0;
}

inline std::int32_t SlopeStep(double spacing, double angle, double zScale) {
  constexpr double kPi = 3.141592653589793;
  if (!(std::fabs(angle) < 90)) return 32767;
  const double t = spacing * std::tan(std::fabs(angle) * kPi / 180) / zScale;
  return t < 32767 ? Round(t) : 32767;
}

}  // namespace fill_gap

inline FillGapLimits DeriveFillGapLimits(const SurfaceFillGapParams& p) {
  FillGapLimits limits;
  limits.gapCellsX = fill_gap::GapCells(p.maxGapX, p.xSpacing);
  limits.gapCellsY = fill_gap::GapCells(p.maxGapY, p.ySpacing);
  limits.slopeStepX = fill_gap::SlopeStep(p.xSpacing, p.maxSlopeAngleX, p.zScale);
  limits.slopeStepY = fill_gap::SlopeStep(p.ySpacing, p.maxSlopeAngleY, p.zScale);
  limits.spacingX1000 = fill_gap::Round(p.xSpacing * 1000);
  limits.spacingY1000 = fill_gap::Round(p.ySpacing * 1000);
  limits.fillMode = p.fillMode;
  return limits;
}

}  // namespace Vision
}  // namespace Ro

#endif
