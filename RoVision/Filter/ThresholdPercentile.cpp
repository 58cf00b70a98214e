#include "ThresholdPercentile.h"

#include <zApi/zArray2.h>

#include <algorithm>
#include <vector>

#include "FilterPrivate.h"
#include "PercentilePrivate.h"
#include "RegionCheckPrivate.h"

namespace Ro {
namespace Vision {

namespace {

const Site kSite{filter::kModule, "Ro::Vision::ThresholdPercentile"};

// The p-th percentile of the values by the rank rule; reorders them.
double PercentileOf(std::vector<double>& values, double p) {
  const percentile::RankPosition at = percentile::PositionOf(values.size(), p);
  std::nth_element(values.begin(), values.begin() + at.index, values.end());
  const double low = values[at.index];
  if (at.fraction == 0) return low;
  const double high = *std::min_element(values.begin() + at.index + 1, values.end());
  return percentile::Interpolate(low, high, at.fraction);
}

// Sets both results to null, then checks the pointers and percentiles.
void StartResults(double lowPercentile, double highPercentile, double* lowHeight,
                  double* highHeight) {
  if (!lowHeight || !highHeight) {
    Throw(kSite, __LINE__, kInvalidArgument, "a result pointer is null");
  }
  *lowHeight = kNullDouble;
  *highHeight = kNullDouble;
  if (!(lowPercentile >= 0 && lowPercentile < highPercentile && highPercentile <= 100)) {
    Throw(kSite, __LINE__, kInvalidArgument, "the percentiles must satisfy 0 <= low < high <= 100");
  }
}

// The threshold over the cells of `rect`; the mask byte of cell (row, column) is at mask row
// row - maskY, column column - maskX (the rectangle's corner for a rectangle-sized mask, 0 for a
// surface-sized one).
void ThresholdCells(const Surface& surface, double lowPercentile, double highPercentile,
                    const Rect2d<int>& rect, void* mask, int maskX, int maskY, double* lowHeight,
                    double* highHeight) {
  void* heights = surface.layers[0];
  if (zArray2_ItemType(heights) != TypeOf<z16s>()) {
    Throw(kSite, __LINE__, kNotSupported, "layer 0 must be a height map (z16s)");
  }
  const double scale = surface.scale.z;
  const double offset = surface.offset.z;
  auto forEachMasked = [&](auto&& visit) {
    for (int r = 0; r < rect.height; ++r) {
      const short* row = static_cast<const short*>(zArray2_Row(heights, rect.y + r)) + rect.x;
      unsigned char* bits =
          static_cast<unsigned char*>(zArray2_Row(mask, rect.y + r - maskY)) + (rect.x - maskX);
      for (int c = 0; c < rect.width; ++c) {
        if (bits[c]) visit(row[c], bits[c]);
      }
    }
  };
  std::vector<double> values;
  forEachMasked([&](short h, unsigned char&) {
    if (h != filter::kNullHeight) values.push_back(h * scale + offset);
  });
  double low = kNullDouble;
  double high = kNullDouble;
  if (!values.empty()) {
    low = PercentileOf(values, lowPercentile);
    high = PercentileOf(values, highPercentile);
  }
  // With no valid height every masked cell is null, so the whole mask is cleared.
  forEachMasked([&](short h, unsigned char& bit) {
    if (h == filter::kNullHeight) {
      bit = 0;
      return;
    }
    const double world = h * scale + offset;
    if (world < low || world > high) bit = 0;
  });
  *lowHeight = low;
  *highHeight = high;
}

}  // namespace

void ThresholdPercentile(const Surface& surface, double lowPercentile, double highPercentile,
                         Rect2d<int> rect, const Ty::Object<void*>& mask, double* lowHeight,
                         double* highHeight) {
  StartResults(lowPercentile, highPercentile, lowHeight, highHeight);
  if (!mask || surface.layers.empty() || !surface.layers[0]) return;
  void* heights = surface.layers[0];
  filter::CheckRectAndMask(kSite, rect, mask, zArray2_Rows(heights), zArray2_Columns(heights));
  ThresholdCells(surface, lowPercentile, highPercentile, rect, mask, rect.x, rect.y, lowHeight,
                 highHeight);
}

void ThresholdPercentile(RoiSurface& roi, double lowPercentile, double highPercentile,
                         double* lowHeight, double* highHeight) {
  StartResults(lowPercentile, highPercentile, lowHeight, highHeight);
  const Surface& surface = roi.GetSurface();
  if (surface.layers.empty() || !surface.layers[0]) return;
  void* mask = roi.GetMask();
  if (!mask) return;
  ThresholdCells(surface, lowPercentile, highPercentile, roi.GetBoundingBox(), mask, 0, 0,
                 lowHeight, highHeight);
}

}  // namespace Vision
}  // namespace Ro
