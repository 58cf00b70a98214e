#include "LineFit.h"

#include <TyApi/TyObject.h>
#include <zApi/zArrayList.h>
#include <zApi/zRandom.h>

#include <cmath>

#include "../Common/ElementTypes.h"
#include "FitPrivate.h"

namespace Ro {
namespace Vision {
namespace {

// Null and non-finite coordinates mark a point without data.
bool IsUsable(const zPoint64f& p) {
  return p.x != kNullDouble && p.y != kNullDouble && std::isfinite(p.x) && std::isfinite(p.y);
}

double PerpendicularDistance(double slope, double intercept, const zPoint64f& p) {
  return std::fabs(slope * p.x - p.y + intercept) / std::sqrt(slope * slope + 1);
}

void SetNullLine(double* slope, double* intercept) {
  *slope = kNullDouble;
  *intercept = kNullDouble;
}

// Raises the platform status of a failed list operation; `site.function` names the caller.
Ty::Object<void*> MakeList(const Site& site, int line, zType type, std::size_t capacity,
                           void* allocator) {
  Ty::Object<void*> list;
  Check(site, line, zArrayList_Construct(list.Address(), type, capacity, allocator));
  return list;
}

}  // namespace

void FitLine(const zPoint64f* points, const int* mask, std::size_t count, double* slope,
             double* intercept) {
  if (!slope || !intercept) return;
  if (!points) count = 0;
  double sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0, n = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (mask && mask[i] != 0) continue;
    const zPoint64f& p = points[i];
    if (!IsUsable(p)) continue;
    sx += p.x;
    sy += p.y;
    sxx += p.x * p.x;
    syy += p.y * p.y;
    sxy += p.x * p.y;
    n += 1;
  }
  const double dx = n * sxx - sx * sx;
  const double dy = n * syy - sy * sy;
  const double cxy = n * sxy - sx * sy;
  if (std::fabs(dx) > std::fabs(dy)) {
    *slope = cxy / dx;
    *intercept = (sxx * sy - sx * sxy) / dx;
  } else if (dy == 0) {
    SetNullLine(slope, intercept);
  } else {
    // x on y, turned into the y-on-x form; cxy = 0 (a vertical set) deliberately gives an
    // infinite or NaN slope.
    *slope = dy / cxy;
    *intercept = -(syy * sx - sy * sxy) / cxy;
  }
}

void FitLineIterative(const zPoint64f* points, std::size_t count, double maxOutlierPercent,
                      double* slope, double* intercept, void** outliers, void* allocator) {
  const Site site{kFitModule, "Ro::Vision::FitLineIterative"};
  if (!slope || !intercept) Throw(site, __LINE__, kInvalidArgument);
  SetNullLine(slope, intercept);
  if (count < 2) Throw(site, 1371, kInvalidArgument);
  if (!points) Throw(site, __LINE__, kInvalidArgument);

  Ty::Object<void*> pointList = MakeList(site, 1373, zTypeOf(zPoint64f), count, allocator);
  Check(site, 1374, zArrayList_Import(pointList, points, count));
  Ty::Object<void*> arrOutliersInternal = MakeList(site, 1376, zTypeOf(zBool), count, allocator);
  Check(site, 1377, zArrayList_Resize(arrOutliersInternal, count));
  Check(site, 1378, zArrayList_Zero(arrOutliersInternal));
  const zPoint64f* list = static_cast<const zPoint64f*>(zArrayList_Data(pointList));
  zBool* flags = static_cast<zBool*>(zArrayList_Data(arrOutliersInternal));

  // Negative and NaN percentages remove nothing; the clamp keeps at least two points.
  double wanted = double(count) * (maxOutlierPercent / 100);
  if (!(wanted > 0)) wanted = 0;
  const std::size_t maxRemoved =
      wanted >= double(count - 2) ? count - 2 : static_cast<std::size_t>(wanted);

  FitLine(list, flags, count, slope, intercept);
  for (std::size_t removed = 0; *slope != kNullDouble && removed < maxRemoved; ++removed) {
    double worst = -DBL_MAX;
    std::size_t worstIndex = count;
    for (std::size_t i = 0; i < count; ++i) {
      if (flags[i] != 0) continue;
      const double distance = PerpendicularDistance(*slope, *intercept, list[i]);
      if (distance > worst) {
        worst = distance;
        worstIndex = i;
      }
    }
    // Only NaN distances are left (an infinite slope): nothing can be ranked.
    if (worstIndex == count) break;
    flags[worstIndex] = 1;
    FitLine(list, flags, count, slope, intercept);
  }
  if (outliers) {
    zObject_Destroy(*outliers);
    *outliers = arrOutliersInternal.Detach();
  }
}

void FitLineRansac(const zPoint64f* points, std::size_t count, double sampleFraction,
                   std::size_t iterations, double threshold, double* slope, double* intercept) {
  const Site site{kFitModule, "Ro::Vision::FitLineRansac"};
  if (!slope || !intercept || std::isnan(sampleFraction)) Throw(site, __LINE__, kInvalidArgument);
  const double fraction = sampleFraction <= 0 ? 0 : sampleFraction >= 1 ? 1 : sampleFraction;
  double wanted = double(count) * fraction;
  if (wanted < 3.0) wanted = 3.0;
  const std::size_t s = static_cast<std::size_t>(wanted);
  if (!points) Throw(site, 1441, kFailure);
  if (count < s) Throw(site, 1442, kFailure);

  Ty::Object<void*> hypoInliners = MakeList(site, 1443, zTypeOf(zPoint64f), s, nullptr);
  Ty::Object<void*> consensusSet = MakeList(site, 1444, zTypeOf(zPoint64f), s, nullptr);
  const double indexScale = double(count) / 18446744073709551616.0;  // count / 2^64
  std::size_t bestSize = 0;
  for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
    Check(site, 1451, zArrayList_Clear(hypoInliners));
    Check(site, 1452, zArrayList_Clear(consensusSet));
    for (std::size_t k = 0; k < s; ++k) {
      std::size_t index = static_cast<std::size_t>(double(zRandomSize()) * indexScale);
      // A draw near 2^64 rounds up to 2^64 as a double and would land on count itself.
      if (index >= count) index = count - 1;
      Check(site, 1457, zArrayList_Append(hypoInliners, &points[index]));
    }
    if (zArrayList_Count(hypoInliners) != s) Throw(site, 1460, kFailure);

    double slopeTmp, interceptTmp;
    FitLine(static_cast<const zPoint64f*>(zArrayList_Data(hypoInliners)), nullptr, s, &slopeTmp,
            &interceptTmp);
    if (slopeTmp == kNullDouble) continue;
    for (std::size_t i = 0; i < count; ++i) {
      if (threshold > PerpendicularDistance(slopeTmp, interceptTmp, points[i])) {
        Check(site, 1468, zArrayList_Append(consensusSet, &points[i]));
      }
    }
    const std::size_t size = zArrayList_Count(consensusSet);
    if (size > bestSize) {
      bestSize = size;
      FitLine(static_cast<const zPoint64f*>(zArrayList_Data(consensusSet)), nullptr, size, slope,
              intercept);
    }
  }
}

}  // namespace Vision
}  // namespace Ro
