#include "SphereFit.h"

#include <TyApi/TyObject.h>
#include <zApi/zArrayList.h>

#include <cmath>

#include "../Algebra/LinearAlgebra.h"
#include "FitPrivate.h"

namespace Ro {
namespace Vision {
namespace {

// Rounds of rejection when the caller sets no limit. A set that still changes after this many
// rounds alternates between two states; the last fit is kept.
constexpr std::size_t kRoundLimit = 100;

struct Sphere {
  zPoint3d64f center;
  double radius;
};

bool IsUsable(const zPoint3d64f& p) {
  return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z) && p.z != kNullDouble;
}

double Distance(const zPoint3d64f& p, const zPoint3d64f& q) {
  const double dx = p.x - q.x, dy = p.y - q.y, dz = p.z - q.z;
  return std::sqrt(dx * dx + dy * dy + dz * dz);
}

// The algebraic sphere over the kept points. Centring on the centroid and scaling to unit spread
// keeps the normal equations near 1 in size, so the solver's fixed pivot limit tells a flat or
// straight set from a sphere whatever the units and the number of points.
bool FitAlgebraicSphere(const zPoint3d64f* points, const std::vector<char>& kept, Sphere& out) {
  double n = 0;
  zPoint3d64f offset{0, 0, 0};
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (!kept[i]) continue;
    offset.x += points[i].x;
    offset.y += points[i].y;
    offset.z += points[i].z;
    n += 1;
  }
  offset = {offset.x / n, offset.y / n, offset.z / n};
  double spread = 0;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (kept[i]) spread += Distance(points[i], offset) * Distance(points[i], offset);
  }
  const double scale = std::sqrt(spread / n);
  if (!(scale > 0)) return false;

  // Rows (2u, 2v, 2w, 1 | u^2 + v^2 + w^2), normal equations averaged over the points.
  double pMat[4 * 5] = {};
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (!kept[i]) continue;
    const double u = (points[i].x - offset.x) / scale, v = (points[i].y - offset.y) / scale,
                 w = (points[i].z - offset.z) / scale;
    const double row[5] = {2 * u, 2 * v, 2 * w, 1, u * u + v * v + w * w};
    for (int r = 0; r < 4; ++r) {
      for (int c = 0; c < 5; ++c) pMat[r * 5 + c] += row[r] * row[c] / n;
    }
  }
  double pVec[4];
  if (!LinearSystemByGaussian(pMat, pVec, 4)) return false;
  const double squared = pVec[3] + pVec[0] * pVec[0] + pVec[1] * pVec[1] + pVec[2] * pVec[2];
  if (!(squared > 0)) return false;
  out.center = {offset.x + scale * pVec[0], offset.y + scale * pVec[1], offset.z + scale * pVec[2]};
  out.radius = scale * std::sqrt(squared);
  return true;
}

// Fits, then rejects and refits round by round. `points` are the usable points only.
void FitSphereKernel(const Site& site, int line, const zPoint3d64f* points, std::size_t count,
                     double outlierDistance, std::size_t maxRounds, zPoint3d64f* center,
                     double* radius, std::vector<zPoint3d64f>* outliers,
                     std::vector<zPoint3d64f>* inliers) {
  if (count < 4) Throw(site, line, kNotSupported, "a sphere needs at least 4 usable points");
  std::vector<char> kept(count, 1);
  Sphere sphere{};
  if (!FitAlgebraicSphere(points, kept, sphere)) {
    Throw(site, line, kNotSupported, "the points lie on a plane or a line");
  }
  const bool rejecting = outlierDistance != kNullDouble;
  const std::size_t rounds = maxRounds == 0 ? kRoundLimit : maxRounds;
  for (std::size_t round = 0; rejecting && round < rounds; ++round) {
    // Every point is judged again against the current sphere, so points that a first fit pulled
    // by gross outliers rejected come back once the sphere has settled.
    std::vector<char> next(count);
    std::size_t nextCount = 0;
    for (std::size_t i = 0; i < count; ++i) {
      next[i] = std::fabs(Distance(points[i], sphere.center) - sphere.radius) <= outlierDistance;
      nextCount += next[i];
    }
    if (next == kept || nextCount < 4) break;
    Sphere refit{};
    if (!FitAlgebraicSphere(points, next, refit)) break;  // the rest is flat: keep the last fit
    kept.swap(next);
    sphere = refit;
  }
  *center = sphere.center;
  *radius = sphere.radius;
  for (std::size_t i = 0; i < count; ++i) {
    std::vector<zPoint3d64f>* target = kept[i] ? inliers : outliers;
    if (target) target->push_back(points[i]);
  }
}

void StartOutputs(const Site& site, zPoint3d64f* center, double* radius, double outlierDistance,
                  std::vector<zPoint3d64f>* outliers, std::vector<zPoint3d64f>* inliers) {
  if (!center || !radius) Throw(site, __LINE__, kInvalidArgument);
  *center = zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
  *radius = kNullDouble;
  if (outliers) outliers->clear();
  if (inliers) inliers->clear();
  if (outlierDistance != kNullDouble && !(outlierDistance > 0)) {
    Throw(site, __LINE__, kInvalidArgument, "outlierDistance must be above 0 or the double null");
  }
}

}  // namespace

void FitSphere(const zPoint3d64f* points, std::size_t count, zPoint3d64f* center, double* radius,
               void* allocator, double outlierDistance, std::vector<zPoint3d64f>* outliers,
               std::vector<zPoint3d64f>* inliers) {
  const Site site{kFitModule, "Ro::Vision::FitSphere"};
  StartOutputs(site, center, radius, outlierDistance, outliers, inliers);
  if (!points && count > 0) Throw(site, __LINE__, kInvalidArgument);
  Ty::Object<void*> usable;
  Check(site, __LINE__,
        zArrayList_Construct(usable.Address(), zTypeOf(zPoint3d64f), count, allocator));
  for (std::size_t i = 0; i < count; ++i) {
    if (IsUsable(points[i])) Check(site, __LINE__, zArrayList_Append(usable, &points[i]));
  }
  FitSphereKernel(site, 3019, static_cast<const zPoint3d64f*>(zArrayList_Data(usable)),
                  zArrayList_Count(usable), outlierDistance, 0, center, radius, outliers, inliers);
}

void FitSphere(const Surface& surface, const Rect2d<int>& rect, void* mask, zPoint3d64f* center,
               double* radius, std::vector<zPoint3d64f>& outliers, double outlierDistance,
               std::vector<zPoint3d64f>* inliers, std::size_t maxRounds) {
  const Site site{kFitModule, "Ro::Vision::FitSphere"};
  StartOutputs(site, center, radius, outlierDistance, &outliers, inliers);
  const HeightRegion region = CheckHeightRegion(site, surface, rect, mask);
  const zPoint3d64f offset = surface.offset, scale = surface.scale;
  std::vector<zPoint3d64f> cells;
  ForEachValidCell(region, [&](int column, int row, short h) {
    cells.push_back({offset.x + double(column) * scale.x, offset.y + double(row) * scale.y,
                     offset.z + double(h) * scale.z});
  });
  FitSphereKernel(site, 3277, cells.data(), cells.size(), outlierDistance, maxRounds, center,
                  radius, &outliers, inliers);
}

}  // namespace Vision
}  // namespace Ro
