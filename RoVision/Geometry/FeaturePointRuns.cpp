// The run-length form of CalculateFeaturePoint: the runs become the tight box they cover and its
// mask, and the rectangle form does the rest, so both visit the same cells in the same order.
#include <zApi/zArrayList.h>
#include <zApi/zObject.h>

#include "../Common/MaskSurfacePrivate.h"
#include "FeaturePoint.h"

namespace Ro {
namespace Vision {

zPoint3d64f CalculateFeaturePoint(const Surface& surface, const RectRegionRLE& region,
                                  FeatureType type, void* allocator) {
  const Site site{"Geometry/Geometry", "Ro::Vision::CalculateFeaturePoint"};
  void* runs = region.runs;
  if (region.kind != 2 || (runs && (zObject_Class(runs) != zClassOf(zArrayList) ||
                                    zArrayList_ItemType(runs) != RunRecordType()))) {
    Throw(site, 2542, kNotSupported, "the region must be kind 2 with a list of RunRecord");
  }
  Rect2d<int> box;
  Ty::Object<void*> mask;
  mask::RunsToTightMask(site, runs, allocator, &box, &mask);
  if (!mask) return zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
  return CalculateFeaturePoint(surface, box, mask, 0, 100, type, allocator);
}

}  // namespace Vision
}  // namespace Ro
