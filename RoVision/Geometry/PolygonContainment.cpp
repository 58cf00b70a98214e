#include "PolygonContainment.h"

#include <algorithm>

namespace Ro {
namespace Vision {
namespace {

struct Corner {
  double u;
  double w;
};

bool OnSegment(const Corner& a, const Corner& b, const Corner& p) {
  if (p.u < std::min(a.u, b.u) || p.u > std::max(a.u, b.u)) return false;
  if (p.w < std::min(a.w, b.w) || p.w > std::max(a.w, b.w)) return false;
  return (b.u - a.u) * (p.w - a.w) == (b.w - a.w) * (p.u - a.u);
}

// The even-odd test over corners fetched by `at(i)`, edges on the boundary counted inside.
template <class At>
int Contains(size_t count, At at, const Corner& p) {
  bool inside = false;
  for (size_t i = 0, j = count - 1; i < count; j = i++) {
    const Corner a = at(j), b = at(i);
    if (OnSegment(a, b, p)) return 1;
    // The edge crosses the horizontal line through p (half-open, so a corner on that line is
    // counted once) to the right of p.
    if ((a.w > p.w) != (b.w > p.w)) {
      const double crossing = a.u + (p.w - a.w) * (b.u - a.u) / (b.w - a.w);
      if (p.u < crossing) inside = !inside;
    }
  }
  return inside ? 1 : 0;
}

}  // namespace

int IsPointInPolygon(const std::vector<Point2d<double>>& polygon, const Point2d<double>& point) {
  if (polygon.empty()) return 0;
  return Contains(
      polygon.size(),
      [&](size_t i) {
        return Corner{polygon[i].x, polygon[i].y};
      },
      Corner{point.x, point.y});
}

int IsPointInPolygon(const std::vector<PointXZ<double>>& polygon, const PointXZ<double>& point) {
  if (polygon.empty()) return 0;
  return Contains(
      polygon.size(),
      [&](size_t i) {
        return Corner{polygon[i].x, polygon[i].z};
      },
      Corner{point.x, point.z});
}

}  // namespace Vision
}  // namespace Ro
