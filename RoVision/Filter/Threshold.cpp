#include "Threshold.h"

#include <zApi/zArray2.h>
#include <zApi/zObject.h>

#include <algorithm>
#include <cmath>

#include "FilterPrivate.h"
#include "ThresholdPrivate.h"

namespace Ro {
namespace Vision {
namespace filter {
namespace {

bool IsArray2(void* a) {
  return a && zObject_Class(a) == zClassOf(zArray2);
}

// The raw height of every cell of one row of `cells`, or null beyond the surface.
template <class Item, class ZOf>
void ClearRow(const Item* items, long long columns, int x0, int width, unsigned char* mask,
              bool bounded, long long low, long long high, ZOf zOf) {
  for (int c = 0; c < width; ++c) {
    if (!mask[c]) continue;
    const long long col = (long long)x0 + c;
    const long long h = col < columns ? zOf(items[col]) : kNullHeight;
    if (h == kNullHeight || (bounded && (h < low || h > high))) mask[c] = 0;
  }
}

}  // namespace

long long RoundHalfAwayToInteger(double value) {
  const double r = RoundHalfAway(value);
  if (!(r > -9.2e18)) return r != r ? 0 : -(1LL << 62);
  if (r > 9.2e18) return 1LL << 62;
  return (long long)r;
}

void ClearHeightsOutside(const Site& site, const Surface& surface, bool bounded, long long rawLow,
                         long long rawHigh, const Rect2d<int>& cells, void* mask, int maskX,
                         int maskY) {
  void* layer0 = surface.layers[0];
  const zType type = zArray2_ItemType(layer0);
  if (type != zTypeOf(z16s) && type != zTypeOf(zPoint3d16s)) {
    Throw(site, __LINE__, kNotSupported, "layer 0 must be a zArray2 of z16s or zPoint3d16s");
  }
  const long long rows = (long long)zArray2_Rows(layer0);
  const long long columns = (long long)zArray2_Columns(layer0);
  for (int r = 0; r < cells.height; ++r) {
    const long long row = (long long)cells.y + r;
    unsigned char* m =
        static_cast<unsigned char*>(zArray2_Row(mask, zSize(row - maskY))) + (cells.x - maskX);
    if (row >= rows) {
      std::fill(m, m + cells.width, (unsigned char)0);
      continue;
    }
    if (type == zTypeOf(z16s)) {
      ClearRow(static_cast<const short*>(zArray2_Row(layer0, zSize(row))), columns, cells.x,
               cells.width, m, bounded, rawLow, rawHigh, [](short h) { return h; });
    } else {
      ClearRow(static_cast<const zPoint3d16s*>(zArray2_Row(layer0, zSize(row))), columns, cells.x,
               cells.width, m, bounded, rawLow, rawHigh, [](const zPoint3d16s& p) { return p.z; });
    }
  }
}

}  // namespace filter

void ThresholdHeight(const Surface& surface, double low, double high, RoiSurface& roi) {
  if (surface.layers.empty() || !surface.layers[0]) return;
  void* mask = roi.GetMask();
  if (!mask) return;
  const Rect2d<int> box = roi.GetBoundingBox();
  const Site site{filter::kModule, "Ro::Vision::ThresholdHeight"};
  void* layer0 = surface.layers[0];
  if (!filter::IsArray2(layer0) || zArray2_Rows(mask) != zArray2_Rows(layer0) ||
      zArray2_Columns(mask) != zArray2_Columns(layer0)) {
    Throw(site, 632, kInvalidArgument, "the region must belong to a surface of this size");
  }
  const bool bounded = !IsNull(low) && !IsNull(high);
  const long long rawLow =
      bounded ? filter::RoundHalfAwayToInteger((low - surface.offset.z) / surface.scale.z) : 0;
  const long long rawHigh =
      bounded ? filter::RoundHalfAwayToInteger((high - surface.offset.z) / surface.scale.z) : 0;
  filter::ClearHeightsOutside(site, surface, bounded, rawLow, rawHigh, box, mask, 0, 0);
}

void ThresholdHeight(const Surface& surface, double low, double high, const Rect2d<int>& rect,
                     void* mask) {
  if (!mask || surface.layers.empty() || !surface.layers[0]) return;
  const Site site{filter::kModule, "Ro::Vision::ThresholdHeight"};
  void* layer0 = surface.layers[0];
  if (!filter::IsArray2(layer0) || !filter::IsArray2(mask) ||
      zArray2_ItemType(mask) != zTypeOf(z8u)) {
    Throw(site, 632, kInvalidArgument, "layer 0 and the mask must be zArray2 arrays");
  }
  const long long rows = (long long)zArray2_Rows(layer0);
  const long long columns = (long long)zArray2_Columns(layer0);
  if (rect.x < 0 || rect.y < 0 || rect.width > columns || rect.height > rows ||
      (long long)zArray2_Columns(mask) != rect.width ||
      (long long)zArray2_Rows(mask) != rect.height) {
    Throw(site, 632, kInvalidArgument);
  }
  const bool bounded = !IsNull(low) && !IsNull(high);
  const long long rawLow =
      bounded ? filter::RoundHalfAwayToInteger((low - surface.offset.z) / surface.scale.z) : 0;
  const long long rawHigh =
      bounded ? filter::RoundHalfAwayToInteger((high - surface.offset.z) / surface.scale.z) : 0;
  if (zArray2_ItemType(layer0) == zTypeOf(z16s)) {
    filter::ClearHeightsOutside(site, surface, bounded, rawLow, rawHigh, rect, mask, rect.x,
                                rect.y);
    return;
  }
  if (rect.width != columns || rect.height != rows) {
    Throw(site, bounded ? 706 : 655, kInvalidArgument, "a point grid needs the whole grid");
  }
  // On a point grid the mask stands for the grid itself: the rectangle's x and y are not added.
  filter::ClearHeightsOutside(site, surface, bounded, rawLow, rawHigh,
                              Rect2d<int>{0, 0, rect.width, rect.height}, mask, 0, 0);
}

void ThresholdIntensity(const Surface& surface, unsigned char low, unsigned char high,
                        const Rect2d<int>& rect, void* mask) {
  if (surface.layers.size() < 2 || !surface.layers[1] || !mask || low > high) return;
  void* intensity = surface.layers[1];
  if (!filter::IsArray2(intensity) || zArray2_ItemType(intensity) != zTypeOf(z8u) ||
      !filter::IsArray2(mask) || zArray2_ItemType(mask) != zTypeOf(z8u) || rect.x < 0 ||
      rect.y < 0 || rect.width < 0 || rect.height < 0 ||
      (long long)zArray2_Columns(mask) != rect.width ||
      (long long)zArray2_Rows(mask) != rect.height) {
    return;
  }
  const long long rows = (long long)zArray2_Rows(intensity);
  const long long columns = (long long)zArray2_Columns(intensity);
  for (int r = 0; r < rect.height; ++r) {
    const long long row = (long long)rect.y + r;
    unsigned char* m = static_cast<unsigned char*>(zArray2_Row(mask, zSize(r)));
    const unsigned char* v =
        row < rows ? static_cast<const unsigned char*>(zArray2_Row(intensity, zSize(row)))
                   : nullptr;
    for (int c = 0; c < rect.width; ++c) {
      if (!m[c]) continue;
      const long long col = (long long)rect.x + c;
      const unsigned char value = v && col < columns ? v[col] : 0;
      if (value < low || value > high) m[c] = 0;
    }
  }
}

}  // namespace Vision
}  // namespace Ro
