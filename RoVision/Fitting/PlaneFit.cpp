#include "PlaneFit.h"

#include <zApi/zArrayList.h>

#include <cmath>
#include <vector>

#include "../Algebra/LinearAlgebra.h"
#include "FitPrivate.h"

namespace Ro {
namespace Vision {
namespace {

// The blocked sums flush every this many points: short runs keep the rounding error of the
// products of a large surface small without a second accumulator per point.
constexpr int kBlock = 128;

// The plane of the points that forEach(visit) hands to visit(x, y, z), in the same order on both
// passes. Both entries (a list and a grid region) run this one body so their bits agree.
template <class ForEach>
void FitPlaneKernel(ForEach&& forEach, PlaneParams<double>* plane, zPoint3d64f* center) {
  double sx = 0, sy = 0, sz = 0, n = 0;
  forEach([&](double x, double y, double z) {
    sx += x;
    sy += y;
    sz += z;
    n += 1;
  });
  if (n <= 3 || !std::isfinite(sx) || !std::isfinite(sy) || !std::isfinite(sz)) return;

  const double invN = 1 / n;
  double sums[6] = {}, block[6] = {};
  auto flush = [&] {
    for (int i = 0; i < 6; ++i) {
      sums[i] += block[i] * invN;
      block[i] = 0;
    }
  };
  int inBlock = 0;
  forEach([&](double x, double y, double z) {
    const double dx = n * x - sx, dy = n * y - sy, dz = n * z - sz;
    block[0] += dx * dx;
    block[1] += dx * dy;
    block[2] += dx * dz;
    block[3] += dy * dy;
    block[4] += dy * dz;
    block[5] += dz * dz;
    if (++inBlock == kBlock) {
      flush();
      inBlock = 0;
    }
  });
  flush();

  double productSums[9] = {sums[0], sums[1], sums[2],  //
                           sums[1], sums[3], sums[4],  //
                           sums[2], sums[4], sums[5]};
  double eigenVectors[9];
  DecomposeEigen(productSums, eigenVectors, 3, 0);
  const double* normal = eigenVectors + 6;  // the smallest eigenvalue comes last
  const double sign = normal[2] > 0 ? 1 : -1;
  const zPoint3d64f centerPoint{sx / n, sy / n, sz / n};
  plane->a = sign * normal[0];
  plane->b = sign * normal[1];
  plane->c = sign * normal[2];
  plane->d = -(plane->a * centerPoint.x + plane->b * centerPoint.y + plane->c * centerPoint.z);
  if (center) *center = centerPoint;
}

void SetNull(PlaneParams<double>* plane, zPoint3d64f* center) {
  *plane = PlaneParams<double>{};
  if (center) *center = zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
}

}  // namespace

void FitPlanePoints(void* const points, PlaneParams<double>* plane, zPoint3d64f* center) {
  if (!points || !plane) return;
  SetNull(plane, center);
  if (zArrayList_ItemType(points) != zTypeOf(zPoint3d64f)) {
    Throw({kFitModule, "Ro::Vision::FitPlanePoints"}, 266, kNotSupported);
  }
  const zPoint3d64f* list = static_cast<const zPoint3d64f*>(zArrayList_Data(points));
  const std::size_t count = zArrayList_Count(points);
  FitPlaneKernel(
      [&](auto&& visit) {
        for (std::size_t i = 0; i < count; ++i) visit(list[i].x, list[i].y, list[i].z);
      },
      plane, center);
}

void FitPlane(const Surface& surface, const Rect2d<int>& rect, void* mask,
              PlaneParams<double>* plane, zPoint3d64f* center) {
  if (!plane) return;
  SetNull(plane, center);
  const HeightRegion region =
      CheckHeightRegion({kFitModule, "Ro::Vision::FitPlane"}, surface, rect, mask);
  // World X of each column, computed once with the same expression as per cell.
  std::vector<double> xs(std::size_t(rect.width));
  for (int c = 0; c < rect.width; ++c) {
    xs[std::size_t(c)] = surface.offset.x + double(rect.x + c) * surface.scale.x;
  }
  const zPoint3d64f offset = surface.offset, scale = surface.scale;
  FitPlaneKernel(
      [&](auto&& visit) {
        ForEachValidCell(region, [&](int column, int row, short h) {
          visit(xs[std::size_t(column - rect.x)], offset.y + double(row) * scale.y,
                offset.z + double(h) * scale.z);
        });
      },
      plane, center);
}

}  // namespace Vision
}  // namespace Ro
