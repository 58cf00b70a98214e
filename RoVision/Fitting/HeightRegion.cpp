#include <zApi/zArray2.h>
#include <zApi/zObject.h>

#include "FitPrivate.h"

namespace Ro {
namespace Vision {

HeightRegion CheckHeightRegion(const Site& site, const Surface& surface, const Rect2d<int>& rect,
                               void* mask) {
  void* heights = surface.layers.empty() ? nullptr : surface.layers[0].Get();
  if (!heights || zObject_Class(heights) != zClassOf(zArray2) ||
      zArray2_ItemType(heights) != zTypeOf(z16s)) {
    Throw(site, __LINE__, kNotSupported, "layer 0 must be a height map (zArray2 of z16s)");
  }
  const long long rows = static_cast<long long>(zArray2_Rows(heights));
  const long long columns = static_cast<long long>(zArray2_Columns(heights));
  if (rect.width < 1 || rect.height < 1 || rect.x < 0 || rect.y < 0 ||
      static_cast<long long>(rect.x) + rect.width > columns ||
      static_cast<long long>(rect.y) + rect.height > rows) {
    Throw(site, __LINE__, kInvalidArgument,
          "the rectangle must hold at least one cell and lie inside the surface");
  }
  if (mask &&
      (zObject_Class(mask) != zClassOf(zArray2) || zArray2_ItemType(mask) != zTypeOf(z8u) ||
       zArray2_Rows(mask) != zSize(rect.height) || zArray2_Columns(mask) != zSize(rect.width))) {
    Throw(site, __LINE__, kIncompatible,
          "the mask must be a zArray2 of z8u the size of the rectangle");
  }
  HeightRegion region;
  region.heights = heights;
  region.mask = mask;
  region.rect = rect;
  return region;
}

}  // namespace Vision
}  // namespace Ro
