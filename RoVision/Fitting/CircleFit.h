// Robust circle fitting on 2D points (zPoint64f: x, then y).
#ifndef ROVISION_FITTING_CIRCLEFIT_H
#define ROVISION_FITTING_CIRCLEFIT_H

#include <zApi/zDefs.h>

#include <cstddef>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// Randomised least-trimmed-squares circle. With q = min(outlierPercent, 80) / 100 the search
// runs N = round(ln(1e-4) / ln(1 - (1 - q)^3)) trials (a failure probability of 1e-4); each takes
// the circle through three random points, keeps the h = ceil(count * (1 - q)) points nearest to
// it, refits them algebraically and scores the refit by the sum of the h smallest squared radial
// errors (useWeights = 0) or by a biweight of them with tuning constant 6 against their median
// (useWeights != 0). The best trial is then cleaned once: every point whose signed radial error
// lies strictly inside +-3 sigma of the inliers' errors becomes an inlier, every other inlier an
// outlier, and the circle is refitted over the inliers when anything changed.
//
// center and radius start at the double null. count <= 2 returns there; count = 3 gives the
// circle through the three points (null when collinear) and leaves the flags alone;
// outlierPercent = 0 gives the algebraic fit over all points with all flags 0. outlierFlags
// (count entries, may be null) receives 1 for an outlier, 0 for an inlier. The runtime library's
// generator is seeded with *seed, or with the current time when seed is null, so one seed gives
// one result. No point is tested for null; a NaN point ends among the outliers.
// Raises -997 for null points or a negative or NaN outlierPercent, and 0 (line 1977) when the
// clean-up is left with 3 or fewer inliers.
RO_API void FitCircleByRLTS(const zPoint64f* points, std::size_t count, double outlierPercent,
                            zPoint64f& center, double& radius, int* outlierFlags,
                            unsigned int* seed, int useWeights);

}  // namespace Vision
}  // namespace Ro

#endif
