#include "MedianBlur.h"

#include <cfloat>

#include "ImagePrivate.h"
#include "NeighbourhoodPrivate.h"

namespace Ro {
namespace Vision {

using namespace image;

namespace {

// The mean of nine as the pixel type defines it.
template <class T>
T MeanOfNine(const T* const rows[3], zSize x) {
  if constexpr (std::is_same<T, z64f>::value) {
    double sum = 0;
    for (int r = 0; r < 3; ++r) sum += rows[r][x - 1] + rows[r][x] + rows[r][x + 1];
    return sum / 9.0;
  } else if constexpr (std::is_same<T, z32f>::value) {
    float sum = 0;
    for (int r = 0; r < 3; ++r) {
      sum += rows[r][x - 1];
      sum += rows[r][x];
      sum += rows[r][x + 1];
    }
    return static_cast<float>(static_cast<double>(sum) / 9.0);
  } else {
    int sum = 0;
    for (int r = 0; r < 3; ++r) sum += rows[r][x - 1] + rows[r][x] + rows[r][x + 1];
    return static_cast<T>(static_cast<double>(static_cast<float>(sum)) / 9.0);
  }
}

template <class T>
void BlurInterior(void* in, void* out) {
  const zSize width = zImage_Width(in);
  const zSize height = zImage_Height(in);
  for (zSize y = 1; y + 1 < height; ++y) {
    const T* rows[3] = {ConstRowOf<T>(in, y - 1), ConstRowOf<T>(in, y), ConstRowOf<T>(in, y + 1)};
    T* row = RowOf<T>(out, y);
    for (zSize x = 1; x + 1 < width; ++x) row[x] = MeanOfNine(rows, x);
  }
}

template <class T>
zStatus MedianRow(const T* a, const T* b, const T* c, T* out, zSize width) {
  if constexpr (std::is_same<T, z32f>::value) {
    return MedianRowPlatform(a, b, c, out, width);
  } else {
    return MedianRowFast(a, b, c, out, width);
  }
}

// z64f: the library's own selection; with keepNull a null source pixel stays null.
void MedianRow64f(const double* a, const double* b, const double* c, double* out, zSize width,
                  bool keepNull) {
  double values[9];
  for (zSize x = 0; x < width; ++x) {
    if (keepNull && b[x] == kNullDouble) {
      out[x] = kNullDouble;
      continue;
    }
    const zSize n = GatherAt(a, b, c, x, width, values);
    out[x] = MedianByHeaps(values, n);
  }
}

void MedianInto(const Site& site, void* in, void* out, bool keepNull) {
  const zSize width = zImage_Width(in);
  const zSize height = zImage_Height(in);
  DispatchFilterType(zImage_PixelType(in), [&](auto tag) {
    using T = decltype(tag);
    for (zSize y = 0; y < height; ++y) {
      const ThreeRows<T> rows = RowsAround<T>(in, y, height);
      if constexpr (std::is_same<T, z64f>::value) {
        MedianRow64f(rows.above, rows.centre, rows.below, RowOf<T>(out, y), width, keepNull);
      } else {
        Check(site, __LINE__,
              MedianRow(rows.above, rows.centre, rows.below, RowOf<T>(out, y), width));
      }
    }
  });
}

// Nulls every z64f pixel that a neighbour exceeds; plateaus keep their value.
void KeepMaximaInto(void* in, void* out) {
  const zSize width = zImage_Width(in);
  const zSize height = zImage_Height(in);
  for (zSize y = 0; y < height; ++y) {
    const ThreeRows<double> rows = RowsAround<double>(in, y, height);
    double* row = RowOf<double>(out, y);
    for (zSize x = 0; x < width; ++x) {
      const double v = rows.centre[x];
      const double best = ExtremeAt<MaxOp>(rows.above, rows.centre, rows.below, x, width);
      row[x] = best > v ? kNullDouble : v;
    }
  }
}

// Reallocates `destination` to the source's type and size when they differ.
void MatchDestination(const Site& site, void* source, void* destination) {
  const zType type = zImage_PixelType(source);
  const zSize width = zImage_Width(source);
  const zSize height = zImage_Height(source);
  if (zImage_PixelType(destination) != type || zImage_Width(destination) != width ||
      zImage_Height(destination) != height) {
    Check(site, __LINE__, zImage_Allocate(destination, type, width, height));
  }
}

}  // namespace

Ty::Object<void*> ImageBlur(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageBlur");
  RequireImage(site, __LINE__, image);
  // Constructed and copied; a type-minimum fill before the copy would be overwritten in full,
  // and so would zeroing.
  Ty::Object<void*> out = NewImageUninitialized(site, __LINE__, zImage_PixelType(image),
                                                zImage_Width(image), zImage_Height(image), alloc);
  CopyRows(site, out, image);
  DispatchFilterType(zImage_PixelType(image),
                     [&](auto tag) { BlurInterior<decltype(tag)>(image, out); });
  return out;
}

Ty::Object<void*> ImageBlurX(void* image, int count, void* alloc) {
  Ty::Object<void*> result = ImageBlur(image, alloc);
  for (int i = 1; i < count; ++i) result = ImageBlur(result, alloc);
  return result;
}

Ty::Object<void*> ImageMedian(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageMedian");
  RequireImage(site, __LINE__, image);
  Ty::Object<void*> out = NewFilterOutput(site, __LINE__, image, alloc);
  MedianInto(site, image, out, false);
  return out;
}

Ty::Object<void*> ImageMedianToDest(void* source, void* destination, int keepNull) {
  const Site site = SiteOf("Ro::Vision::ImageMedianToDest");
  if (!destination) return Ty::Object<void*>();
  RequireImage(site, __LINE__, source);
  MatchDestination(site, source, destination);
  MedianInto(site, source, destination, keepNull != 0);
  return Ty::Object<void*>(destination, true);
}

Ty::Object<void*> ImageMedianX(void* image, int count, int keepNull, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageMedianX");
  RequireImage(site, __LINE__, image);
  Ty::Object<void*> a = NewFilterOutput(site, __LINE__, image, alloc);
  Ty::Object<void*> b = NewFilterOutput(site, __LINE__, image, alloc);
  ImageMedianToDest(image, a, keepNull);
  for (int i = 1; i < count; ++i) {
    ImageMedianToDest(a, b, keepNull);
    std::swap(a, b);
  }
  return a;
}

Ty::Object<void*> ImageMaxOnlyToDest(void* source, void* destination, int /*unused*/) {
  const Site site = SiteOf("Ro::Vision::ImageMaxOnlyToDest");
  if (!destination) return Ty::Object<void*>();
  RequireImage(site, __LINE__, source);
  MatchDestination(site, source, destination);
  if (zImage_PixelType(source) == TypeOf<z64f>()) {
    KeepMaximaInto(source, destination);
  } else {
    // The non-double types receive the median: kept as the operation has always behaved.
    MedianInto(site, source, destination, false);
  }
  return Ty::Object<void*>(destination, true);
}

}  // namespace Vision
}  // namespace Ro
