#include "ImageConvert.h"

#include <TyVision/TyVision.h>
#include <zApi/zArray1.h>
#include <zApi/zArray2.h>
#include <zApi/zMem.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

#include "ImagePrivate.h"

namespace Ro {
namespace Vision {
namespace image {

void CopyRows(const Site& site, void* dst, void* src) {
  const zSize bytes = zImage_Width(src) * zType_Size(zImage_PixelType(src));
  for (zSize y = 0; y < zImage_Height(src); ++y) {
    Check(site, __LINE__, zMemCopy(zImage_Row(dst, y), zImage_Row(src, y), bytes));
  }
}

bool TypeMinimum(zType type, void* value) {
  bool found = false;
  auto put = [&](auto minimum) {
    std::memcpy(value, &minimum, sizeof minimum);
    found = true;
  };
  if (type == TypeOf<z8u>() || type == TypeOf<z16u>() || type == TypeOf<z32u>() ||
      type == TypeOf<z64u>()) {
    std::memset(value, 0, zType_Size(type));
    found = true;
  } else if (type == TypeOf<z8s>()) {
    put(std::numeric_limits<z8s>::min());
  } else if (type == TypeOf<z16s>()) {
    put(std::numeric_limits<z16s>::min());
  } else if (type == TypeOf<z32s>()) {
    put(std::numeric_limits<z32s>::min());
  } else if (type == TypeOf<z64s>()) {
    put(std::numeric_limits<z64s>::min());
  } else if (type == TypeOf<z32f>()) {
    put(-FLT_MAX);
  } else if (type == TypeOf<z64f>()) {
    put(-DBL_MAX);
  } else if (type == TypeOf<zPoint3d16s>()) {
    put(zPoint3d16s{-32768, -32768, -32768});
  }
  return found;
}

}  // namespace image

using namespace image;

namespace {

// Room for one pixel of any platform type.
struct PixelValue {
  alignas(8) unsigned char bytes[64];
};

bool AllBytesZero(const void* value, zSize size) {
  const auto* bytes = static_cast<const unsigned char*>(value);
  for (zSize i = 0; i < size; ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

// Writes `value` into each of the `count` items of `row`, one item-size copy at a time.
void FillRow(unsigned char* row, const void* value, zSize size, zSize count) {
  for (zSize i = 0; i < count; ++i) std::memcpy(row + i * size, value, size);
}

void FillImage(const Site& site, void* image, const void* value) {
  const zSize size = zType_Size(zImage_PixelType(image));
  if (AllBytesZero(value, size)) {
    Check(site, __LINE__, zImage_Zero(image));
    return;
  }
  const zSize height = zImage_Height(image);
  if (height == 0) return;
  const zSize width = zImage_Width(image);
  auto* first = RowOf<unsigned char>(image, 0);
  FillRow(first, value, size, width);
  for (zSize y = 1; y < height; ++y) {
    Check(site, __LINE__, zMemCopy(zImage_Row(image, y), first, width * size));
  }
}

void FillImageMin(const Site& site, void* image) {
  PixelValue minimum;
  if (!TypeMinimum(zImage_PixelType(image), minimum.bytes)) {
    Throw(site, __LINE__, kNotSupported, "the pixel type has no minimum");
  }
  FillImage(site, image, minimum.bytes);
}

void RequireArray(const Site& site, int line, void* array) {
  if (!array) Throw(site, line, kInvalidArgument, "the array handle is null");
}

void RequireValue(const Site& site, int line, const void* value) {
  if (!value) Throw(site, line, kInvalidArgument, "the fill value is null");
}

void FillArray1(const Site& site, void* array, const void* value) {
  const zSize size = zType_Size(zArray1_ItemType(array));
  if (AllBytesZero(value, size)) {
    Check(site, __LINE__, zArray1_Zero(array));
    return;
  }
  FillRow(static_cast<unsigned char*>(zArray1_Data(array)), value, size, zArray1_Length(array));
}

void FillArray2(const Site& site, void* array, const void* value) {
  const zSize size = zType_Size(zArray2_ItemType(array));
  if (AllBytesZero(value, size)) {
    Check(site, __LINE__, zArray2_Zero(array));
    return;
  }
  const zSize rows = zArray2_Rows(array);
  if (rows == 0) return;
  const zSize columns = zArray2_Columns(array);
  auto* first = static_cast<unsigned char*>(zArray2_Row(array, 0));
  FillRow(first, value, size, columns);
  for (zSize r = 1; r < rows; ++r) {
    Check(site, __LINE__, zMemCopy(zArray2_Row(array, r), first, columns * size));
  }
}

zSize RoundUpTo8(zSize n) {
  return (n + 7) / 8 * 8;
}

// Applies `convert` to every pixel of `src` (type S) into a new image of type D and the same size.
template <class S, class D, class F>
Ty::Object<void*> MapPixels(const Site& site, void* src, zAlloc alloc, F&& convert) {
  Ty::Object<void*> out =
      NewImage(site, __LINE__, TypeOf<D>(), zImage_Width(src), zImage_Height(src), alloc);
  const zSize width = zImage_Width(src);
  for (zSize y = 0; y < zImage_Height(src); ++y) {
    const S* in = ConstRowOf<S>(src, y);
    D* row = RowOf<D>(out, y);
    for (zSize x = 0; x < width; ++x) row[x] = convert(in[x]);
  }
  return out;
}

template <class T>
bool IsNullPixel(T v) {
  return v == GetNull<T>();
}

template <class T>
void FindMinMaxTyped(void* image, bool skipNull, T null, double* min, double* max) {
  const zSize width = zImage_Width(image);
  double lo = DBL_MAX;
  double hi = -DBL_MAX;
  for (zSize y = 0; y < zImage_Height(image); ++y) {
    const T* row = ConstRowOf<T>(image, y);
    for (zSize x = 0; x < width; ++x) {
      if (skipNull && row[x] == null) continue;
      const double v = static_cast<double>(row[x]);
      if (v > hi) hi = v;
      if (v < lo) lo = v;
    }
  }
  *min = lo;
  *max = hi;
}

// Scales one value to 0..255; 0 when the scale cannot be formed.
template <class T>
z8u ScaleTo8bit(T v, double lo, double hi) {
  const double scaled = (static_cast<double>(v) - lo) / (hi - lo) * 255.0 + 0.0;
  if (!std::isfinite(scaled)) return 0;
  return static_cast<z8u>(static_cast<int>(scaled));
}

template <class T>
double GradientOf(T before, T after) {
  if (IsNullPixel(before) || IsNullPixel(after)) return kNullDouble;
  return (static_cast<double>(after) - static_cast<double>(before)) / 2.0;
}

template <class T>
void ComputeGradients(void* image, void* gx, void* gy) {
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  for (zSize y = 0; y < height; ++y) {
    const T* row = ConstRowOf<T>(image, y);
    const T* above = y > 0 ? ConstRowOf<T>(image, y - 1) : nullptr;
    const T* below = y + 1 < height ? ConstRowOf<T>(image, y + 1) : nullptr;
    double* outX = RowOf<double>(gx, y);
    double* outY = RowOf<double>(gy, y);
    for (zSize x = 0; x < width; ++x) {
      outX[x] = (x > 0 && x + 1 < width) ? GradientOf(row[x - 1], row[x + 1]) : kNullDouble;
      outY[x] = (above && below) ? GradientOf(above[x], below[x]) : kNullDouble;
    }
  }
}

void RequireItem(const Site& site, int line, void* item) {
  if (!item) Throw(site, line, kInvalidArgument, "the surface item handle is null");
}

}  // namespace

Ty::Object<void*> ImageConstructFrom(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageConstructFrom");
  RequireImage(site, __LINE__, image);
  return NewImageLike(site, __LINE__, image, alloc);
}

Ty::Object<void*> ImageCopy(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageCopy");
  RequireImage(site, __LINE__, image);
  Ty::Object<void*> out = NewImageLike(site, __LINE__, image, alloc);
  CopyRows(site, out, image);
  return out;
}

void ImageFill(void* image, const void* value) {
  const Site site = SiteOf("Ro::Vision::ImageFill");
  RequireImage(site, __LINE__, image);
  RequireValue(site, __LINE__, value);
  FillImage(site, image, value);
}

void ImageFillMin(void* image) {
  const Site site = SiteOf("Ro::Vision::ImageFillMin");
  RequireImage(site, __LINE__, image);
  FillImageMin(site, image);
}

void Array1Fill(void* array, const void* value) {
  const Site site = SiteOf("Ro::Vision::Array1Fill");
  RequireArray(site, __LINE__, array);
  RequireValue(site, __LINE__, value);
  FillArray1(site, array, value);
}

void Array2Fill(void* array, const void* value) {
  const Site site = SiteOf("Ro::Vision::Array2Fill");
  RequireArray(site, __LINE__, array);
  RequireValue(site, __LINE__, value);
  FillArray2(site, array, value);
}

void Array1FillMin(void* array) {
  const Site site = SiteOf("Ro::Vision::Array1FillMin");
  RequireArray(site, __LINE__, array);
  PixelValue minimum;
  if (!TypeMinimum(zArray1_ItemType(array), minimum.bytes)) {
    Throw(site, __LINE__, kNotSupported, "the item type has no minimum");
  }
  FillArray1(site, array, minimum.bytes);
}

void Array2FillMin(void* array) {
  const Site site = SiteOf("Ro::Vision::Array2FillMin");
  RequireArray(site, __LINE__, array);
  PixelValue minimum;
  if (!TypeMinimum(zArray2_ItemType(array), minimum.bytes)) {
    Throw(site, __LINE__, kNotSupported, "the item type has no minimum");
  }
  FillArray2(site, array, minimum.bytes);
}

Ty::Object<void*> ImageAddBorders(void* image, int border, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageAddBorders");
  RequireImage(site, __LINE__, image);
  if (border < 0) Throw(site, __LINE__, kInvalidArgument, "the border must not be negative");
  const zSize b = static_cast<zSize>(border);
  const zType type = zImage_PixelType(image);
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  Ty::Object<void*> out =
      NewImage(site, __LINE__, type, RoundUpTo8(width + 2 * b), RoundUpTo8(height + 2 * b), alloc);
  FillImageMin(site, out);
  const zSize rowBytes = width * zType_Size(type);
  for (zSize y = 0; y < height; ++y) {
    // The shift inside the row is b bytes, not b pixels.
    Check(site, __LINE__,
          zMemCopy(RowOf<unsigned char>(out, y + b) + b, zImage_Row(image, y), rowBytes));
  }
  return out;
}

Ty::Object<void*> ImageAddPadding(void* image, void* alloc) {
  return ImageAddBorders(image, 0, alloc);
}

void ImageFindMinMax(void* image, double* min, double* max, int skipNull) {
  const Site site = SiteOf("Ro::Vision::ImageFindMinMax");
  RequireImage(site, __LINE__, image);
  if (!min || !max) Throw(site, __LINE__, kInvalidArgument, "min and max must be given");
  *min = DBL_MAX;
  *max = -DBL_MAX;
  const bool skip = skipNull != 0;
  const zType type = zImage_PixelType(image);
  if (type == TypeOf<z16u>()) {
    FindMinMaxTyped<z16u>(image, skip, 0, min, max);
    return;
  }
  DispatchByType<z8u, z16s, z32f, z64f>(type, [&](auto tag) {
    using T = decltype(tag);
    // z8u has no null to skip here.
    const bool skipThis = skip && !std::is_same<T, z8u>::value;
    FindMinMaxTyped<T>(image, skipThis, GetNull<T>(), min, max);
  });
}

Ty::Object<void*> Image16sTo16u(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Image16sTo16u");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z16s>());
  return MapPixels<z16s, z16u>(site, image, alloc,
                               [](z16s v) { return static_cast<z16u>(v + 32768); });
}

Ty::Object<void*> Image16uTo16s(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Image16uTo16s");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z16u>());
  return MapPixels<z16u, z16s>(site, image, alloc,
                               [](z16u v) { return static_cast<z16s>(v - 32768); });
}

Ty::Object<void*> Image8uTo16s_WithNullFormat(void* image, int nullIs255, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Image8uTo16s_WithNullFormat");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z8u>());
  const z8u nullByte = nullIs255 ? 255 : 0;
  return MapPixels<z8u, z16s>(site, image, alloc, [nullByte](z8u v) {
    return v == nullByte ? GetNull<z16s>() : static_cast<z16s>(v * 257 - 32768);
  });
}

Ty::Object<void*> Image8uTo16s(void* image, void* alloc) {
  return Image8uTo16s_WithNullFormat(image, 1, alloc);
}

Ty::Object<void*> Image8uTo16s_MinNull(void* image, void* alloc) {
  return Image8uTo16s_WithNullFormat(image, 0, alloc);
}

Ty::Object<void*> Image64fTo16u(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Image64fTo16u");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z64f>());
  double lo = 0;
  double hi = 0;
  ImageFindMinMax(image, &lo, &hi, 1);
  const double scale = 65534.0 / (hi - lo);
  return MapPixels<z64f, z16u>(site, image, alloc, [lo, scale](z64f v) -> z16u {
    if (!(v > 1.1754943508222875e-38)) return 0;
    const double scaled = (v - lo) * scale + 1.0;
    // hi == lo (an infinite scale) or an infinite height: the low end of the range.
    if (!std::isfinite(scaled)) return 1;
    if (scaled >= 65535.0) return 65535;
    return static_cast<z16u>(scaled);
  });
}

Ty::Object<void*> ImageConvert32fTo64f(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageConvert32fTo64f");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z32f>());
  return MapPixels<z32f, z64f>(site, image, alloc, [](z32f v) { return static_cast<z64f>(v); });
}

Ty::Object<void*> Image16sFromItem(void* item, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Image16sFromItem");
  RequireItem(site, __LINE__, item);
  const zSize width = TvSurfaceMsg_Width(item);
  const zSize length = TvSurfaceMsg_Length(item);
  Ty::Object<void*> out =
      NewImage(site, __LINE__, TypeOf<z16s>(), RoundUpTo8(width), RoundUpTo8(length), alloc);
  const z16s null = GetNull<z16s>();
  FillImage(site, out, &null);
  for (zSize y = 0; y < length; ++y) {
    Check(site, __LINE__,
          zMemCopy(zImage_Row(out, y), TvSurfaceMsg_RangesRow(item, y), width * sizeof(z16s)));
  }
  return out;
}

Ty::Object<void*> Image16uFromItem(void* item, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Image16uFromItem");
  RequireItem(site, __LINE__, item);
  const zSize width = TvSurfaceMsg_Width(item);
  const zSize length = TvSurfaceMsg_Length(item);
  // Zero-filled: the padding is already the z16u null.
  Ty::Object<void*> out =
      NewImage(site, __LINE__, TypeOf<z16u>(), RoundUpTo8(width), RoundUpTo8(length), alloc);
  for (zSize y = 0; y < length; ++y) {
    const z16s* in = TvSurfaceMsg_RangesRow(item, y);
    z16u* row = RowOf<z16u>(out, y);
    for (zSize x = 0; x < width; ++x) row[x] = static_cast<z16u>(in[x] + 32768);
  }
  return out;
}

Ty::Object<void*> Array2FromIntensity(void* item, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Array2FromIntensity");
  RequireItem(site, __LINE__, item);
  zArray2 intensities = TvSurfaceMsg_Intensities(item);
  if (!intensities) return Ty::Object<void*>();
  zArray2 copy = nullptr;
  Check(site, __LINE__, zArray2_Clone(intensities, alloc, &copy));
  return Ty::Object<void*>(copy);
}

Ty::Object<void*> zArray22zImage(void* array, void* alloc) {
  const Site site = SiteOf("Ro::Vision::zArray22zImage");
  RequireArray(site, __LINE__, array);
  const zType type = zArray2_ItemType(array);
  const zSize rows = zArray2_Rows(array);
  const zSize columns = zArray2_Columns(array);
  Ty::Object<void*> out = NewImage(site, __LINE__, type, columns, rows, alloc);
  for (zSize r = 0; r < rows; ++r) {
    Check(site, __LINE__,
          zMemCopy(zImage_Row(out, r), zArray2_Row(array, r), columns * zType_Size(type)));
  }
  return out;
}

Ty::Object<void*> zImage2zArray2(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::zImage2zArray2");
  RequireImage(site, __LINE__, image);
  const zType type = zImage_PixelType(image);
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  zArray2 array = nullptr;
  Check(site, __LINE__, zArray2_Construct(&array, type, height, width, alloc));
  Ty::Object<void*> out(array);
  for (zSize y = 0; y < height; ++y) {
    Check(site, __LINE__,
          zMemCopy(zArray2_Row(array, y), zImage_Row(image, y), width * zType_Size(type)));
  }
  return out;
}

Ty::Object<void*> Image8bitFromImage(void* image, int skipNull, void* alloc) {
  const Site site = SiteOf("Ro::Vision::Image8bitFromImage");
  RequireImage(site, __LINE__, image);
  const zType type = zImage_PixelType(image);
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  if (type != TypeOf<z8u>() && type != TypeOf<z16s>() && type != TypeOf<z32f>() &&
      type != TypeOf<z64f>()) {
    Throw(site, __LINE__, kNotSupported, "only z8u, z16s, z32f and z64f images are scaled");
  }
  Ty::Object<void*> out =
      NewImage(site, __LINE__, TypeOf<z8u>(), RoundUpTo8(width), RoundUpTo8(height), alloc);
  if (type == TypeOf<z8u>()) {
    for (zSize y = 0; y < height; ++y) {
      Check(site, __LINE__, zMemCopy(zImage_Row(out, y), zImage_Row(image, y), width));
    }
    return out;
  }
  double lo = 0;
  double hi = 0;
  ImageFindMinMax(image, &lo, &hi, skipNull);
  DispatchByType<z16s, z32f, z64f>(type, [&](auto tag) {
    using T = decltype(tag);
    for (zSize y = 0; y < height; ++y) {
      const T* in = ConstRowOf<T>(image, y);
      z8u* row = RowOf<z8u>(out, y);
      for (zSize x = 0; x < width; ++x) {
        row[x] = (skipNull && IsNullPixel(in[x])) ? 0 : ScaleTo8bit(in[x], lo, hi);
      }
    }
  });
  return out;
}

Ty::Object<void*> ImageComputeBinary(void* image, int invert, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageComputeBinary");
  RequireImage(site, __LINE__, image);
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  Ty::Object<void*> out = NewImage(site, __LINE__, TypeOf<z8u>(), width, height, alloc);
  const z8u valid = invert ? 0 : 1;
  const z8u invalid = invert ? 1 : 0;
  auto mark = [&](auto isValid, auto tag) {
    using T = decltype(tag);
    for (zSize y = 0; y < height; ++y) {
      const T* in = ConstRowOf<T>(image, y);
      z8u* row = RowOf<z8u>(out, y);
      for (zSize x = 0; x < width; ++x) row[x] = isValid(in[x]) ? valid : invalid;
    }
  };
  const zType type = zImage_PixelType(image);
  if (type == TypeOf<z64f>()) {
    mark([](z64f v) { return v != -DBL_MAX; }, z64f{});
  } else if (type == TypeOf<z16s>()) {
    mark([](z16s v) { return v != GetNull<z16s>(); }, z16s{});
  } else if (type == TypeOf<z8u>()) {
    // A fixed intensity cut-off, deliberately not the null 0.
    mark([](z8u v) { return v >= 50; }, z8u{});
  }
  return out;
}

Ty::Object<void*> ImageThreshold(void* image, double threshold, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageThreshold");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z64f>());
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  Ty::Object<void*> out = NewImage(site, __LINE__, TypeOf<z8u>(), width, height, alloc);
  // Both images are contiguous: one block of width x height pixels each.
  const auto* in = static_cast<const z64f*>(zImage_Data(image));
  auto* mask = static_cast<z8u*>(zImage_Data(out));
  for (zSize i = 0; i < width * height; ++i) mask[i] = in[i] >= threshold ? 1 : 0;
  return out;
}

Ty::Object<void*> ImageClip(void* image, unsigned char threshold, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageClip");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z8u>());
  return MapPixels<z8u, z8u>(site, image, alloc,
                             [threshold](z8u v) { return v < threshold ? z8u{0} : v; });
}

Ty::Object<void*> zImage16sToBinaryMask(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::zImage16sToBinaryMask");
  RequireImage(site, __LINE__, image);
  RequireType(site, __LINE__, image, TypeOf<z16s>());
  return MapPixels<z16s, z8u>(site, image, alloc,
                              [](z16s v) { return v == GetNull<z16s>() ? z8u{0} : z8u{255}; });
}

void ImageApplyMask(void* image, void* mask) {
  const Site site = SiteOf("Ro::Vision::ImageApplyMask");
  if (!image || !mask) return;
  RequireType(site, __LINE__, image, TypeOf<z16s>());
  RequireType(site, __LINE__, mask, TypeOf<z8u>());
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  if (zImage_Width(mask) != width || zImage_Height(mask) != height) {
    Throw(site, __LINE__, kIncompatible, "the mask and the image differ in size");
  }
  for (zSize y = 0; y < height; ++y) {
    z16s* row = RowOf<z16s>(image, y);
    const z8u* on = ConstRowOf<z8u>(mask, y);
    for (zSize x = 0; x < width; ++x) {
      if (on[x] == 0) row[x] = GetNull<z16s>();
    }
  }
}

void ImageComputeGradients(void* image, Ty::Object<void*>& gradientX, Ty::Object<void*>& gradientY,
                           void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageComputeGradients");
  RequireImage(site, __LINE__, image);
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  const zType type = zImage_PixelType(image);
  if (type != TypeOf<z8u>() && type != TypeOf<z16s>() && type != TypeOf<z32f>() &&
      type != TypeOf<z64f>()) {
    Throw(site, __LINE__, kNotSupported, "only z8u, z16s, z32f and z64f images have gradients");
  }
  Ty::Object<void*> gx = NewImage(site, __LINE__, TypeOf<z64f>(), width, height, alloc);
  Ty::Object<void*> gy = NewImage(site, __LINE__, TypeOf<z64f>(), width, height, alloc);
  DispatchFilterType(type, [&](auto tag) { ComputeGradients<decltype(tag)>(image, gx, gy); });
  gradientX = std::move(gx);
  gradientY = std::move(gy);
}

}  // namespace Vision
}  // namespace Ro
