// Private to the fitting module: the kernels of the minimum circles, on points already gathered
// and moved to a local origin.
#ifndef ROVISION_FITTING_MINIMUMCIRCLESPRIVATE_H
#define ROVISION_FITTING_MINIMUMCIRCLESPRIVATE_H

#include <vector>

namespace Ro {
namespace Vision {
namespace circles {

struct Vec {
  double x = 0, y = 0;
};

struct Circle {
  Vec center;
  double radius = 0;
};

struct Zone {
  Vec center;
  double inner = 0, outer = 0;
};

// The smallest enclosing circle of at least one point (the order of `points` is changed).
Circle MinimumEnclosing(std::vector<Vec>& points);

// The maximum inscribed circle of at least 3 points that are not all collinear. Returns false
// when they are collinear.
bool MaximumInscribed(const std::vector<Vec>& points, Circle& circle);

// The minimum zone of at least 3 points that are not all collinear. Returns false when they are.
bool MinimumZone(const std::vector<Vec>& points, Zone& zone);

}  // namespace circles
}  // namespace Vision
}  // namespace Ro

#endif
