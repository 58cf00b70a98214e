#include "RegionConversion.h"

#include <cmath>
#include <cstdint>

namespace Ro {
namespace Vision {
namespace {

constexpr double kPi = 3.141592653589793;

// Doubles to 32-bit indices: NaN becomes 0 and values beyond the range are clamped to it.
int ToIndex(double v) {
  if (std::isnan(v)) return 0;
  if (v <= -2147483648.0) return INT32_MIN;
  if (v >= 2147483647.0) return INT32_MAX;
  return static_cast<int>(v);
}

double TolerantCeil(double v, double e) {
  const double k = std::trunc(v);
  if (v > 0) return k > v - e ? k : k + 1;
  return k - 1 > v - e ? k - 1 : k;
}

double TolerantFloor(double v, double e) {
  const double k = std::trunc(v);
  if (v > 0) return v + e > k + 1 ? k + 1 : k;
  return v + e > k ? k : k - 1;
}

// first and count of the samples inside [lo, hi] on one axis; counts are 64-bit so that the
// subtraction cannot overflow before clipping.
struct Span {
  int64_t first;
  int64_t count;
};

Span ToSpanEnds(double lo, double hi, double offset, double scale, const double* tolerance) {
  const double a = (lo - offset) / scale;
  const double b = (hi - offset) / scale;
  double first, last;
  if (tolerance) {
    const double e = *tolerance / scale;
    first = TolerantCeil(a, e);
    last = TolerantFloor(b, e);
  } else {
    first = std::ceil(a);
    last = std::floor(b);
  }
  const int64_t f = ToIndex(first);
  return Span{f, int64_t(ToIndex(last)) - f + 1};
}

Span ToSpan(double lo, double size, double offset, double scale, const double* tolerance) {
  return ToSpanEnds(lo, lo + size, offset, scale, tolerance);
}

// Returns false when the first index lies beyond the samples.
bool Clip(Span* span, int64_t n) {
  if (span->first > n - 1) {
    span->count = 0;
    return false;
  }
  if (span->first < 0) {
    span->count = span->count + span->first > 0 ? span->count + span->first : 0;
    span->first = 0;
  }
  if (span->first + span->count > n) span->count = n - span->first >= 1 ? n - span->first : 0;
  return true;
}

int ToInt(int64_t v) {
  if (v < INT32_MIN) return INT32_MIN;
  if (v > INT32_MAX) return INT32_MAX;
  return static_cast<int>(v);
}

}  // namespace

Region2d<double> ConvertRegionToCornerStyle(const Region2d<double>& r) {
  Region2d<double> out = r;
  out.x = r.x - r.width / 2;
  out.y = r.y - r.length / 2;
  return out;
}

RegionXZ<double> ConvertRegionToCornerStyle(const RegionXZ<double>& r) {
  RegionXZ<double> out = r;
  out.x = r.x - r.width / 2;
  out.z = r.z - r.height / 2;
  return out;
}

Region3d<double> ConvertRegionToCornerStyle(const Region3d<double>& r) {
  Region3d<double> out = r;
  out.x = r.x - r.width / 2;
  out.y = r.y - r.length / 2;
  out.z = r.z - r.height / 2;
  return out;
}

Region2d<double> ConvertRegionToCenterStyle(const Region2d<double>& r) {
  Region2d<double> out = r;
  out.x = r.x + r.width / 2;
  out.y = r.y + r.length / 2;
  return out;
}

RegionXZ<double> ConvertRegionToCenterStyle(const RegionXZ<double>& r) {
  RegionXZ<double> out = r;
  out.x = r.x + r.width / 2;
  out.z = r.z + r.height / 2;
  return out;
}

Region3d<double> ConvertRegionToCenterStyle(const Region3d<double>& r) {
  Region3d<double> out = r;
  out.x = r.x + r.width / 2;
  out.y = r.y + r.length / 2;
  out.z = r.z + r.height / 2;
  return out;
}

zRect64f ConvertRegionTozRect(const Region2d<double>& r) {
  return zRect64f{r.x - r.width / 2, r.y - r.length / 2, r.width, r.length};
}

zRect64f ConvertRegionTozRect(const RegionXZ<double>& r) {
  return zRect64f{r.x - r.width / 2, r.z - r.height / 2, r.width, r.height};
}

zRect3d64f ConvertRegionTozRect(const Region3d<double>& r) {
  return zRect3d64f{r.x - r.width / 2, r.y - r.length / 2, r.z - r.height / 2,
                    r.width,           r.length,           r.height};
}

double CosDegree(double angle) {
  return std::cos(angle * kPi / 180);
}
double SinDegree(double angle) {
  return std::sin(angle * kPi / 180);
}

void GetRegionPixel(unsigned long long count, double offset, double scale,
                    const RunLength<double>* region, RunLength<int>* out, const double* tolerance,
                    int clip) {
  if (!region || !out) return;
  Span span = ToSpan(region->start, region->length, offset, scale, tolerance);
  if (clip) Clip(&span, static_cast<int64_t>(count));
  out->start = ToInt(span.first);
  out->length = ToInt(span.count);
}

void GetRegionXZPixel(unsigned long long count, zPoint64f offset, zPoint64f scale,
                      const RegionXZ<double>* region, Rect2d<int>* out, const zPoint64f* tolerance,
                      int clip) {
  if (!region || !out) return;
  const RegionXZ<double> corner = ConvertRegionToCornerStyle(*region);
  Span x = ToSpan(corner.x, corner.width, offset.x, scale.x, tolerance ? &tolerance->x : nullptr);
  Span z = ToSpan(corner.z, corner.height, offset.y, scale.y, tolerance ? &tolerance->y : nullptr);
  if (clip) {
    const bool kept = x.first <= static_cast<int64_t>(count) - 1 && z.first < 32768;
    Clip(&x, static_cast<int64_t>(count));
    if (z.first < -32768) {
      const int64_t shortened = z.count - (-32768 - z.first);
      z.count = shortened > 0 ? shortened : 0;
      z.first = -32768;
    }
    if (z.first + z.count > 32768) z.count = 32768 - z.first > 0 ? 32768 - z.first : 0;
    if (!kept || x.count == 0 || z.count == 0) {
      x.count = 0;
      z.count = 0;
    }
  }
  out->x = ToInt(x.first);
  out->y = ToInt(z.first);
  out->width = ToInt(x.count);
  out->height = ToInt(z.count);
}

void GetRegionPixel(unsigned long long columns, unsigned long long rows, zPoint64f offset,
                    zPoint64f scale, const Region2d<double>* region, Rect2d<int>* out,
                    const zPoint64f* tolerance, int clip, int centerStyle) {
  if (!region || !out) return;
  const Region2d<double> corner = centerStyle ? ConvertRegionToCornerStyle(*region) : *region;
  Span x = ToSpan(corner.x, corner.width, offset.x, scale.x, tolerance ? &tolerance->x : nullptr);
  Span y = ToSpan(corner.y, corner.length, offset.y, scale.y, tolerance ? &tolerance->y : nullptr);
  if (clip) {
    const bool xInside = Clip(&x, static_cast<int64_t>(columns));
    const bool yInside = Clip(&y, static_cast<int64_t>(rows));
    if (!xInside || !yInside) {
      x.count = 0;
      y.count = 0;
    }
  }
  out->x = ToInt(x.first);
  out->y = ToInt(y.first);
  out->width = ToInt(x.count);
  out->height = ToInt(y.count);
}

void GetRegionPixel(unsigned long long columns, unsigned long long rows, zPoint3d64f offset,
                    zPoint3d64f scale, const Region3d<double>* region, Rect3d<int>* out,
                    const zPoint3d64f* tolerance, int clip) {
  if (!region || !out) return;
  const Region2d<double> plane{region->x, region->y, region->width, region->length, region->angleZ};
  const zPoint64f tolerance2d = tolerance ? zPoint64f{tolerance->x, tolerance->y} : zPoint64f{};
  Rect2d<int> rect;
  GetRegionPixel(columns, rows, zPoint64f{offset.x, offset.y}, zPoint64f{scale.x, scale.y}, &plane,
                 &rect, tolerance ? &tolerance2d : nullptr, clip, 1);
  const Span z = ToSpanEnds(region->z - region->height / 2, region->z + region->height / 2,
                            offset.z, scale.z, tolerance ? &tolerance->z : nullptr);
  out->x = rect.x;
  out->y = rect.y;
  out->width = rect.width;
  out->height = rect.height;
  out->z = ToInt(z.first);
  out->depth = ToInt(z.count);
  if (out->width <= 0 || out->height <= 0 || out->depth <= 0) {
    out->width = 0;
    out->height = 0;
    out->depth = 0;
  }
}

void GetRegionPixel(const SurfaceInputData& data, const Region3d<double>* region, Rect3d<int>* out,
                    const zPoint3d64f* tolerance, int clip) {
  GetRegionPixel(data.width, data.length, data.offset, data.scale, region, out, tolerance, clip);
}

}  // namespace Vision
}  // namespace Ro
