#include "FeaturePoint.h"

#include <zApi/zArray1.h>
#include <zApi/zArray2.h>
#include <zApi/zImage.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr char kModule[] = "Geometry/Geometry";
constexpr char kName[] = "Ro::Vision::CalculateFeaturePoint";
constexpr int16_t kNull16 = GetNull<short>();
constexpr double kStepTolerance = 1e-6;  // in height steps

constexpr zPoint3d64f NullPoint() {
  return zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
}

// The cells to scan: row pointers of heights and mask (a null mask row counts every cell),
// already moved to the region's first column.
struct Region {
  int x0 = 0, y0 = 0;  // absolute column and row of the region's first cell
  int width = 0, height = 0;
  std::vector<const int16_t*> heights;
  std::vector<const uint8_t*> mask;
  int lowest = SHRT_MIN, highest = SHRT_MAX;  // the raw height window, ends included
  zPoint3d64f scale{1, 1, 1}, offset{0, 0, 0};
};

// Calls f(column offset, row offset, height) for every counted cell, in scan order.
template <class F>
void ForEachCell(const Region& g, F&& f) {
  for (int r = 0; r < g.height; ++r) {
    const int16_t* h = g.heights[r];
    const uint8_t* m = g.mask[r];
    for (int c = 0; c < g.width; ++c) {
      if ((m && !m[c]) || h[c] == kNull16 || h[c] < g.lowest || h[c] > g.highest) continue;
      f(c, r, h[c]);
    }
  }
}

zPoint3d64f ToWorld(const Region& g, double column, double row, double height) {
  return zPoint3d64f{column * g.scale.x + g.offset.x, row * g.scale.y + g.offset.y,
                     height * g.scale.z + g.offset.z};
}

// A histogram of 32-bit counters from the platform, so that a failing allocation raises its
// status at the line given.
struct Histogram {
  Ty::Object<void*> array;
  uint32_t* bins = nullptr;
  int size = 0;

  Histogram(int n, void* allocator, int line) : size(n) {
    zArray1 a = nullptr;
    Check(Site{kModule, kName}, line, zArray1_Construct(&a, TypeOf<z32u>(), zSize(n), allocator));
    array.Reset(a);
    bins = static_cast<uint32_t*>(zArray1_Data(a));
  }
};

// The median bin of a histogram of n counts: walking upward, the first bin where the running
// count reaches n / 2 + 1, averaged with the bin where it was exactly (n + 1) / 2 when that
// came earlier (an even count). The mean truncates toward zero.
int MedianBin(const Histogram& h, uint64_t n) {
  const uint64_t a = n / 2 + 1, b = (n + 1) / 2;
  uint64_t c = 0;
  int remembered = -1;
  for (int j = 0; j < h.size; ++j) {
    c += h.bins[j];
    if (remembered < 0 && c == b) remembered = j;
    if (c >= a) return remembered >= 0 ? (j + remembered) / 2 : j;
  }
  return remembered;  // n == 1 with a == 1 returns above; not reached for n >= 1
}

// The first bin whose running count reaches `target`; the last bin when none does.
int PercentileBin(const Histogram& h, uint64_t target) {
  uint64_t c = 0;
  for (int j = 0; j < h.size; ++j) {
    c += h.bins[j];
    if (c >= target) return j;
  }
  return h.size - 1;
}

struct HeightRange {
  int lowest = INT_MAX, highest = INT_MIN;
  uint64_t count = 0;
};

HeightRange RangeOf(const Region& g) {
  HeightRange range;
  ForEachCell(g, [&](int, int, int h) {
    range.lowest = std::min(range.lowest, h);
    range.highest = std::max(range.highest, h);
    ++range.count;
  });
  return range;
}

zPoint3d64f Centroid(const Region& g) {
  uint64_t n = 0;
  int64_t sx = 0, sy = 0, sz = 0;
  ForEachCell(g, [&](int c, int r, int h) {
    ++n;
    sx += c, sy += r, sz += h;
  });
  if (n == 0) return NullPoint();
  const double count = double(n);
  return ToWorld(g, g.x0 + sx / count, g.y0 + sy / count, sz / count);
}

zPoint3d64f Median(const Region& g, void* allocator) {
  const HeightRange range = RangeOf(g);
  if (range.count == 0) return NullPoint();
  Histogram columns(g.width, allocator, 1932);
  Histogram rows(g.height, allocator, 1933);
  Histogram heights(range.highest - range.lowest + 1, allocator, 1936);
  ForEachCell(g, [&](int c, int r, int h) {
    ++columns.bins[c];
    ++rows.bins[r];
    ++heights.bins[h - range.lowest];
  });
  return ToWorld(g, g.x0 + MedianBin(columns, range.count), g.y0 + MedianBin(rows, range.count),
                 range.lowest + MedianBin(heights, range.count));
}

// Integer sums as the volume rule states them; the divisions are in doubles, so a region
// without volume (W = 0) gives NaN.
zPoint3d64f VolumeCentroid(const Region& g) {
  const double rawZero = -g.offset.z / g.scale.z;
  const int64_t z0 = static_cast<int64_t>(rawZero < 0 ? rawZero - 0.5 : rawZero + 0.5);
  uint64_t n = 0;
  int64_t w = 0, sx = 0, sy = 0, sz = 0;
  ForEachCell(g, [&](int c, int r, int h) {
    ++n;
    const int64_t d = h - z0;
    const int64_t weight = d < 0 ? -d : d;
    w += weight;
    sx += weight * c;
    sy += weight * r;
    sz += d * (weight + 1) / 2;
  });
  if (n == 0) return NullPoint();
  const double total = double(w);
  const zPoint3d64f relative{sx / total, sy / total, sz / total};
  return ToWorld(g, g.x0 + relative.x, g.y0 + relative.y, double(z0) + relative.z);
}

// Types 4 to 9: the last counted cell whose key is at least (or at most) the best so far.
template <class Key>
zPoint3d64f Extreme(const Region& g, bool largest, Key key) {
  bool found = false;
  int64_t best = largest ? INT64_MIN : INT64_MAX;
  int bc = 0, br = 0, bh = 0;
  ForEachCell(g, [&](int c, int r, int h) {
    const int64_t k = key(g.x0 + c, g.y0 + r, h);
    if (largest ? k >= best : k <= best) {
      best = k;
      bc = c, br = r, bh = h;
      found = true;
    }
  });
  return found ? ToWorld(g, g.x0 + bc, g.y0 + br, bh) : NullPoint();
}

uint64_t PercentTarget(uint64_t n, double percent) {
  const double p = std::isnan(percent) ? 0 : std::min(100.0, std::max(0.0, percent));
  return static_cast<uint64_t>(double(n) * p / 100 + 0.5);
}

zPoint3d64f PercentileBand(const Region& g, double lowPercent, double highPercent,
                           void* allocator) {
  if (!(highPercent > lowPercent)) return NullPoint();
  const HeightRange range = RangeOf(g);
  if (range.count == 0) return NullPoint();
  Histogram heights(range.highest - range.lowest + 1, allocator, 1944);
  ForEachCell(g, [&](int, int, int h) { ++heights.bins[h - range.lowest]; });
  const int low = range.lowest + PercentileBin(heights, PercentTarget(range.count, lowPercent));
  const int high = range.lowest + PercentileBin(heights, PercentTarget(range.count, highPercent));
  if (low == high) return NullPoint();

  Region band = g;
  band.lowest = low;
  band.highest = high;
  return Centroid(band);
}

zPoint3d64f Compute(const Region& g, FeatureType type, double lowPercent, double highPercent,
                    void* allocator) {
  switch (type) {
    case FeatureType::Centroid:
      return Centroid(g);
    case FeatureType::Median:
      return Median(g, allocator);
    case FeatureType::Offset:
    case FeatureType::Offset10:
      return RangeOf(g).count ? ToWorld(g, 0, 0, 0) : NullPoint();
    case FeatureType::VolumeCentroid:
      return VolumeCentroid(g);
    case FeatureType::MaxX:
    case FeatureType::MinX:
      return Extreme(g, type == FeatureType::MaxX, [](int c, int, int) { return c; });
    case FeatureType::MaxY:
    case FeatureType::MinY:
      return Extreme(g, type == FeatureType::MaxY, [](int, int r, int) { return r; });
    case FeatureType::MaxZ:
    case FeatureType::MinZ:
      return Extreme(g, type == FeatureType::MaxZ, [](int, int, int h) { return h; });
    case FeatureType::PercentileBand:
      return PercentileBand(g, lowPercent, highPercent, allocator);
  }
  Throw(Site{kModule, kName}, __LINE__, kInvalidArgument, "feature type outside 0..11");
}

bool IsSet(double v) {
  return !IsNull(v) && !std::isnan(v);
}
bool IsScale(double v) {
  return IsSet(v) && v != 0 && std::isfinite(v);
}

// The raw heights whose world height lies in [zMin, zMax]; a null side stays open.
void SetHeightWindow(Region* g, double zMin, double zMax) {
  constexpr double kInf = HUGE_VAL;
  const double s = g->scale.z, o = g->offset.z;
  double lo = ((IsSet(zMin) ? zMin : -kInf) - o) / s;
  double hi = ((IsSet(zMax) ? zMax : kInf) - o) / s;
  if (lo > hi) std::swap(lo, hi);  // a negative scale turns the window over
  // A window end given in world units misses its height step by rounding noise only.
  lo -= kStepTolerance;
  hi += kStepTolerance;
  g->lowest = static_cast<int>(std::max<double>(SHRT_MIN, std::min(std::ceil(lo), SHRT_MAX + 1.0)));
  g->highest =
      static_cast<int>(std::min<double>(SHRT_MAX, std::max(std::floor(hi), SHRT_MIN - 1.0)));
}

}  // namespace

zPoint3d64f CalculateFeaturePoint(const Surface& surface, const Rect2d<int>& rect, void* mask,
                                  double lowPercent, double highPercent, FeatureType type,
                                  void* allocator, double zMin, double zMax) {
  const Site site{kModule, kName};
  if (static_cast<uint32_t>(type) > static_cast<uint32_t>(FeatureType::PercentileBand))
    Throw(site, __LINE__, kInvalidArgument, "feature type outside 0..11");
  if (surface.layers.empty() || !surface.layers[0] || !mask || rect.width < 1 || rect.height < 1)
    return NullPoint();
  void* heights = surface.layers[0].Get();
  if (zArray2_ItemType(heights) != TypeOf<z16s>())
    Throw(site, __LINE__, kNotSupported, "heights must be z16s");
  if (zArray2_ItemType(mask) != TypeOf<z8u>())
    Throw(site, __LINE__, kIncompatible, "mask must be z8u");
  if (zArray2_Rows(mask) != zSize(rect.height) || zArray2_Columns(mask) != zSize(rect.width))
    return NullPoint();
  if (rect.x < 0 || rect.y < 0 || zSize(rect.x) + zSize(rect.width) > zArray2_Columns(heights) ||
      zSize(rect.y) + zSize(rect.height) > zArray2_Rows(heights))
    Throw(site, __LINE__, kInvalidArgument, "rectangle reaches outside the surface");
  const zPoint3d64f& s = surface.scale;
  const zPoint3d64f& o = surface.offset;
  if (!IsScale(s.x) || !IsScale(s.y) || !IsScale(s.z) || !IsSet(o.x) || !IsSet(o.y) || !IsSet(o.z))
    Throw(site, __LINE__, kInvalidArgument, "scales must be set and non-zero, offsets set");

  Region g;
  g.x0 = rect.x;
  g.y0 = rect.y;
  g.width = rect.width;
  g.height = rect.height;
  g.scale = s;
  g.offset = o;
  for (int r = 0; r < rect.height; ++r) {
    g.heights.push_back(static_cast<const int16_t*>(zArray2_Row(heights, zSize(rect.y + r))) +
                        rect.x);
    g.mask.push_back(static_cast<const uint8_t*>(zArray2_Row(mask, zSize(r))));
  }
  SetHeightWindow(&g, zMin, zMax);
  return Compute(g, type, lowPercent, highPercent, allocator);
}

zPoint3d64f CalculateFeaturePoint(const Ty::Object<void*>& image, FeatureType type,
                                  double lowPercent, double highPercent) {
  const Site site{kModule, kName};
  if (static_cast<uint32_t>(type) > static_cast<uint32_t>(FeatureType::PercentileBand))
    Throw(site, __LINE__, kInvalidArgument, "feature type outside 0..11");
  if (!image) return NullPoint();
  if (zImage_PixelType(image) != TypeOf<z16s>())
    Throw(site, __LINE__, kNotSupported, "image pixels must be z16s");
  if (zImage_Width(image) > INT_MAX || zImage_Height(image) > INT_MAX)
    Throw(site, __LINE__, kInvalidArgument, "image larger than 2^31 pixels per axis");
  Region g;
  g.width = static_cast<int>(zImage_Width(image));
  g.height = static_cast<int>(zImage_Height(image));
  for (int r = 0; r < g.height; ++r) {
    g.heights.push_back(static_cast<const int16_t*>(zImage_Row(image, zSize(r))));
    g.mask.push_back(nullptr);
  }
  return Compute(g, type, lowPercent, highPercent, nullptr);
}

}  // namespace Vision
}  // namespace Ro
