// Straight lines y = slope * x + intercept fitted to 2D points (zPoint64f: x, then y).
//
// A point whose x or y is the double null (-DBL_MAX) or NaN is not used. A line that cannot be
// determined is reported as slope and intercept both the double null.
#ifndef ROVISION_FITTING_LINEFIT_H
#define ROVISION_FITTING_LINEFIT_H

#include <zApi/zDefs.h>

#include <cstddef>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// Closed-form least squares with the axis chosen by spread: y is regressed on x when the x
// spread n*Sxx - Sx^2 is strictly larger in magnitude than the y spread, otherwise x on y (so
// steep lines come out well; ties go to x on y). A non-zero mask entry (one per point; the mask
// may be null) excludes the point. No usable point, or all usable points equal, gives the null
// line. The x-on-y branch does not test its covariance: a vertical set yields an infinite or NaN
// slope by design. Never raises; null outputs or a null `points` with count > 0 write nothing
// resp. the null line.
RO_API void FitLine(const zPoint64f* points, const int* mask, std::size_t count, double* slope,
                    double* intercept);

// Repeated FitLine that flags the point farthest from the current line (perpendicular distance,
// lowest index on ties) and refits, until count * maxOutlierPercent / 100 points (truncated, at
// most count - 2) are flagged or the line becomes null. The outputs start at the null line.
// `outliers`, when given, receives a new zArrayList of zBool (1 = removed), made with
// `allocator` and owned by the caller; an object it held before is released first. When
// `outliers` is null the list is destroyed.
// Raises -997 for count < 2, null points or null outputs; a failing list operation raises the
// platform's status.
RO_API void FitLineIterative(const zPoint64f* points, std::size_t count, double maxOutlierPercent,
                             double* slope, double* intercept, void** outliers, void* allocator);

// Random-sample consensus: `iterations` times, draw s = max(count * sampleFraction, 3) points
// (fraction clamped to [0, 1]) with replacement through zRandomSize, fit them, and collect every
// point whose perpendicular distance to that line is below `threshold` (strict). The first
// iteration that reaches a larger consensus than all before refits the outputs over its
// consensus; all iterations always run. When no iteration finds a consensus the outputs keep what
// they held. A sample whose line is null (every draw at one point) finds no consensus.
// Raises 0 when points is null or count < s; -997 for null outputs or a NaN fraction; a failing
// list operation raises the platform's status.
RO_API void FitLineRansac(const zPoint64f* points, std::size_t count, double sampleFraction,
                          std::size_t iterations, double threshold, double* slope,
                          double* intercept);

}  // namespace Vision
}  // namespace Ro

#endif
