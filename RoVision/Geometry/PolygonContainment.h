// Whether a point lies in a polygon given by its corners in order (1 inside, 0 outside).
//
// Even-odd rule: a point is inside when a ray from it crosses the polygon's edges an odd number
// of times, so self-intersecting polygons alternate inside and outside. The closing edge from
// the last corner to the first is implied. A point on an edge or a corner counts as inside,
// decided exactly: for an axis-aligned rectangle the test is exactly lo <= x <= hi and
// lo <= y <= hi, the inclusive rule of the region-to-index conversion, so the rectangle's
// polygon holds the samples of its index box. Fewer than three corners hold only the points on
// them and on the segment between them; no corners hold nothing.
#ifndef ROVISION_GEOMETRY_POLYGONCONTAINMENT_H
#define ROVISION_GEOMETRY_POLYGONCONTAINMENT_H

#include <vector>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

RO_API int IsPointInPolygon(const std::vector<Point2d<double>>& polygon,
                            const Point2d<double>& point);
RO_API int IsPointInPolygon(const std::vector<PointXZ<double>>& polygon,
                            const PointXZ<double>& point);

}  // namespace Vision
}  // namespace Ro

#endif
