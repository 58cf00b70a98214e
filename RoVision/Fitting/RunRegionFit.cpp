// The run-length overloads of the surface fits: the runs become the tight box they cover and its
// mask, and the rectangle overloads do the rest, so both forms visit the same cells in the same
// order.
#include <zApi/zObject.h>

#include "../Common/MaskSurfacePrivate.h"
#include "EllipseFit.h"
#include "FitPrivate.h"
#include "PlaneFit.h"

namespace Ro {
namespace Vision {
namespace {

void RunsAsMaskedBox(const Site& site, const RectRegionRLE& region, Rect2d<int>* box,
                     Ty::Object<void*>* mask) {
  mask::RunsToTightMask(site, region.runs, zObject_Allocator(region.runs), box, mask);
  if (!*mask) Throw(site, __LINE__, kInvalidArgument, "the region has no runs");
}

}  // namespace

void FitPlane(const Surface& surface, const RectRegionRLE& region, PlaneParams<double>* plane,
              zPoint3d64f* center) {
  if (!plane) return;
  Rect2d<int> box;
  Ty::Object<void*> mask;
  RunsAsMaskedBox({kFitModule, "Ro::Vision::FitPlane"}, region, &box, &mask);
  FitPlane(surface, box, mask, plane, center);
}

void FitEllipse(const Surface& surface, const RectRegionRLE& region, int useHeights,
                int signedAngle, zPoint3d64f* center, zPoint3d64f* axes, double* angle) {
  if (center) *center = zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
  if (axes) *axes = zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
  if (angle) *angle = kNullDouble;
  Rect2d<int> box;
  Ty::Object<void*> mask;
  RunsAsMaskedBox({kFitModule, "Ro::Vision::FitEllipse"}, region, &box, &mask);
  FitEllipse(surface, box, mask, useHeights, signedAngle, center, axes, angle);
}

}  // namespace Vision
}  // namespace Ro
