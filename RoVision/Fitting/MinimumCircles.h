// The reference circles of roundness besides the least-squares circle: the minimum circumscribed
// circle (MCC), the maximum inscribed circle (MIC) and the minimum zone (MZC), on 2D points and
// on 3D points that lie near a plane (a bore's rim in a laser scan).
//
// Every fit comes in the same forms: a run of zPoint64f, a run of Point2d<double>, two runs of x
// and y, and a zArrayList of zPoint64f. `mask` (count entries, may be null) follows the line
// fits: a non-zero entry EXCLUDES its point. All arithmetic is in double precision, in
// coordinates taken relative to the middle of the points' bounding box so that a circle of
// radius 1e-3 about (1e6, 1e6) keeps its digits.
//
// Outputs start at the double null. Bad input raises status -988 with the qualified name of the
// fit ("Ro::Vision::FitCircle_MCC", "Ro::Vision::FitCircle_MIC", "Ro::Vision::FitCircle_MZC"):
// a null point run or list (with count > 0), a list of another item type, a NaN or infinite
// coordinate of a used point, fewer used points than the fit needs (2 for the MCC, 3 for the MIC
// and the MZC) and, for the MIC and the MZC, used points that are all collinear (they bound no
// area). The 3D forms also need the 4 points a plane fit needs. Nothing is ever returned empty
// without a throw.
#ifndef ROVISION_FITTING_MINIMUMCIRCLES_H
#define ROVISION_FITTING_MINIMUMCIRCLES_H

#include <zApi/zDefs.h>

#include <cstddef>

#include "../Common/Export.h"
#include "../Common/Records.h"

namespace Ro {
namespace Vision {

// The smallest circle that holds every used point (Welzl's randomised algorithm with
// move-to-front, expected linear time). The shuffle is drawn from a local generator with a fixed
// seed: a call is deterministic and re-entrant. The radius is the largest distance of a used
// point from the centre as evaluated in double precision, so every point lies within it.
RO_API void FitCircle_MCC(const zPoint64f* points, const int* mask, std::size_t count,
                          zPoint64f& center, double& radius);
RO_API void FitCircle_MCC(const Point2d<double>* points, const int* mask, std::size_t count,
                          zPoint64f& center, double& radius);
RO_API void FitCircle_MCC(const double* x, const double* y, const int* mask, std::size_t count,
                          zPoint64f& center, double& radius);
RO_API void FitCircle_MCC(void* const pointList, const int* mask, zPoint64f& center,
                          double& radius);

// The largest circle whose centre lies in the convex hull of the used points and which holds no
// point strictly inside. Its centre is a vertex of the points' Voronoi diagram inside the hull
// or a point where a Voronoi edge crosses the hull boundary; the diagram is the dual of a
// Delaunay triangulation built with exact predicates. The radius is the distance from the centre
// to the nearest used point.
RO_API void FitCircle_MIC(const zPoint64f* points, const int* mask, std::size_t count,
                          zPoint64f& center, double& radius);
RO_API void FitCircle_MIC(const Point2d<double>* points, const int* mask, std::size_t count,
                          zPoint64f& center, double& radius);
RO_API void FitCircle_MIC(const double* x, const double* y, const int* mask, std::size_t count,
                          zPoint64f& center, double& radius);
RO_API void FitCircle_MIC(void* const pointList, const int* mask, zPoint64f& center,
                          double& radius);

// The minimum zone: two concentric circles that hold every used point between them with the
// least radial separation, roundness = outerRadius - innerRadius. The centre is found by a
// branch-and-bound search for the global minimum of max|p - c| - min|p - c| (the separation is
// 2-Lipschitz in c, which gives each box a sound lower bound), then made exact: among the points
// that are critical at the found centre, every centre that balances two outer against two inner
// points, three outer points or three inner points is evaluated, and the best of them is kept.
// The search covers the square about the least-squares centre whose half side is the MCC radius
// plus the distance between the two centres: for points that go round at least half a circle
// the minimum zone centre lies there; for a short arc it may not, and the best centre inside
// that square is returned.
RO_API void FitCircle_MZC(const zPoint64f* points, const int* mask, std::size_t count,
                          zPoint64f& center, double& innerRadius, double& outerRadius,
                          double& roundness);
RO_API void FitCircle_MZC(const Point2d<double>* points, const int* mask, std::size_t count,
                          zPoint64f& center, double& innerRadius, double& outerRadius,
                          double& roundness);
RO_API void FitCircle_MZC(const double* x, const double* y, const int* mask, std::size_t count,
                          zPoint64f& center, double& innerRadius, double& outerRadius,
                          double& roundness);
RO_API void FitCircle_MZC(void* const pointList, const int* mask, zPoint64f& center,
                          double& innerRadius, double& outerRadius, double& roundness);

// 3D forms: the least-squares plane of the used points (FitPlanePoints) is fitted, the points are
// projected orthogonally into it, the circle is fitted in the plane, and its centre is returned
// in 3D together with the plane's unit normal (turned to z >= 0 as FitPlanePoints turns it).
// Radii are measured in the plane. They need at least 4 used points (the plane fit needs them).
RO_API void FitCircle_MCC(const zPoint3d64f* points, const int* mask, std::size_t count,
                          zPoint3d64f& center, double& radius, zPoint3d64f& normal);
RO_API void FitCircle_MIC(const zPoint3d64f* points, const int* mask, std::size_t count,
                          zPoint3d64f& center, double& radius, zPoint3d64f& normal);
RO_API void FitCircle_MZC(const zPoint3d64f* points, const int* mask, std::size_t count,
                          zPoint3d64f& center, double& innerRadius, double& outerRadius,
                          double& roundness, zPoint3d64f& normal);

}  // namespace Vision
}  // namespace Ro

#endif
