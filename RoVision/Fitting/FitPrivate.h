// Private to the fitting module: the module's file name for errors, the random subset draw and
// the two small circle fits that the robust circle search is built from.
//
// The three functions are exported only so that the unit tests can reach them; they are not part
// of the installed interface.
#ifndef ROVISION_FITTING_FITPRIVATE_H
#define ROVISION_FITTING_FITPRIVATE_H

#include <zApi/zArray2.h>

#include <cstddef>

#include "../Common/ErrorPrivate.h"
#include "../Common/Records.h"
#include "../Common/ScanRecords.h"

namespace Ro {
namespace Vision {

constexpr char kFitModule[] = "Fitting/Fit";

// The single-precision epsilon, the zero tolerance for pivots and collinearity.
constexpr double kFitEpsilon = 1.1920928955078125e-7;

// Draws n distinct points of `points` with the runtime library's rand() (never seeded here) and
// copies them, in the order drawn, into out[0 .. n). n = count copies all points in order.
// n > count raises -984. n = 0 writes nothing (it would never complete otherwise).
RO_API void GetNRandomPoints(const Point2d<double>* points, std::size_t count, Point2d<double>* out,
                             std::size_t n);

// The circle through three points. Either output may be null. Both are the double null when
// the points are collinear (|determinant| below the single-precision epsilon).
RO_API void FitCircleThreePoints(const Point2d<double>& p1, const Point2d<double>& p2,
                                 const Point2d<double>& p3, Point2d<double>* center,
                                 double* radius);

// The algebraic least-squares circle x^2 + y^2 = 2a x + 2b y + c over all points (no null test):
// centre (a, b), radius sqrt(c + a^2 + b^2). Either output may be null. Both are the double null
// when `points` is null, count < 3 or the normal matrix cannot be inverted (collinear points).
RO_API void FitCircleAlgebraic(const Point2d<double>* points, std::size_t count,
                               Point2d<double>* center, double* radius);

// A checked rectangle of a height map (layer 0, z16s) with its optional mask (z8u, the size of
// the rectangle, non-zero = use the cell; null = the whole rectangle).
struct HeightRegion {
  void* heights = nullptr;
  void* mask = nullptr;
  Rect2d<int> rect;
};

// Raises -997 for a rectangle without cells or outside the surface, -996 when layer 0 is not a
// zArray2 of z16s, -984 for a mask of another type or size.
HeightRegion CheckHeightRegion(const Site& site, const Surface& surface, const Rect2d<int>& rect,
                               void* mask);

// Calls visit(column, row, height) for every valid cell (height not -32768, mask byte non-zero)
// row by row, left to right; column and row are surface indices.
template <class Visit>
void ForEachValidCell(const HeightRegion& region, Visit&& visit) {
  const int x0 = region.rect.x, width = region.rect.width;
  for (int r = 0; r < region.rect.height; ++r) {
    const int row = region.rect.y + r;
    const short* heights = static_cast<const short*>(zArray2_Row(region.heights, row)) + x0;
    const unsigned char* mask =
        region.mask ? static_cast<const unsigned char*>(zArray2_Row(region.mask, r)) : nullptr;
    for (int c = 0; c < width; ++c) {
      if (heights[c] == -32768 || (mask && mask[c] == 0)) continue;
      visit(x0 + c, row, heights[c]);
    }
  }
}

}  // namespace Vision
}  // namespace Ro

#endif
