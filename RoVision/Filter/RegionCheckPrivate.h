// Private to the Filter module: the checks of a rectangle and its mask over a surface, shared by
// the percentile threshold and the point gathering.
#ifndef ROVISION_FILTER_REGIONCHECKPRIVATE_H
#define ROVISION_FILTER_REGIONCHECKPRIVATE_H

#include <zApi/zArray2.h>

#include "../Common/ErrorPrivate.h"
#include "../Common/Records.h"

namespace Ro {
namespace Vision {
namespace filter {

// The rectangle must lie inside a rows x columns grid; the mask, when given, must be z8u of the
// rectangle's size.
inline void CheckRectAndMask(const Site& site, const Rect2d<int>& rect, void* mask,
                             std::size_t rows, std::size_t columns) {
  if (rect.x < 0 || rect.y < 0 || rect.width < 0 || rect.height < 0 ||
      static_cast<std::size_t>(rect.x) + static_cast<std::size_t>(rect.width) > columns ||
      static_cast<std::size_t>(rect.y) + static_cast<std::size_t>(rect.height) > rows) {
    Throw(site, __LINE__, kInvalidArgument, "the rectangle does not lie inside the surface");
  }
  if (!mask) return;
  if (zArray2_ItemType(mask) != TypeOf<z8u>()) {
    Throw(site, __LINE__, kIncompatible, "the mask must hold z8u items");
  }
  if (zArray2_Rows(mask) != static_cast<std::size_t>(rect.height) ||
      zArray2_Columns(mask) != static_cast<std::size_t>(rect.width)) {
    Throw(site, __LINE__, kInvalidArgument, "the mask is not the rectangle's size");
  }
}

}  // namespace filter
}  // namespace Vision
}  // namespace Ro

#endif
