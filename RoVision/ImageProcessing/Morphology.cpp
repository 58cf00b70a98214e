#include "Morphology.h"

#include "ImagePrivate.h"
#include "NeighbourhoodPrivate.h"

namespace Ro {
namespace Vision {

using namespace image;

namespace {

template <class Op, class T>
void Extreme3x3(void* in, void* out) {
  const zSize width = zImage_Width(in);
  const zSize height = zImage_Height(in);
  for (zSize y = 0; y < height; ++y) {
    const ThreeRows<T> rows = RowsAround<T>(in, y, height);
    ExtremeRowFast<Op>(rows.above, rows.centre, rows.below, RowOf<T>(out, y), width);
  }
}

// z8u and z16s of ImageErode5: a pixel with a null in its 3x3 neighbourhood becomes null.
template <class T>
void GrowNulls3x3(void* in, void* out) {
  const zSize width = zImage_Width(in);
  const zSize height = zImage_Height(in);
  const T null = GetNull<T>();
  for (zSize y = 1; y + 1 < height; ++y) {
    const T* rows[3] = {ConstRowOf<T>(in, y - 1), ConstRowOf<T>(in, y), ConstRowOf<T>(in, y + 1)};
    T* row = RowOf<T>(out, y);
    for (zSize x = 1; x + 1 < width; ++x) {
      bool hasNull = false;
      for (const T* r : rows)
        hasNull = hasNull || r[x - 1] == null || r[x] == null || r[x + 1] == null;
      if (hasNull) row[x] = null;
    }
  }
}

// The 5x5 extreme of every pixel at least two away from the border.
template <class Op, class T>
void Extreme5x5Interior(void* in, void* out) {
  const zSize width = zImage_Width(in);
  const zSize height = zImage_Height(in);
  for (zSize y = 2; y + 2 < height; ++y) {
    const T* rows[5];
    for (zSize i = 0; i < 5; ++i) rows[i] = ConstRowOf<T>(in, y - 2 + i);
    T* row = RowOf<T>(out, y);
    for (zSize x = 2; x + 2 < width; ++x) {
      T best = rows[0][x - 2];
      for (const T* r : rows) {
        for (zSize i = x - 2; i <= x + 2; ++i) {
          if (Op::Better(r[i], best)) best = r[i];
        }
      }
      row[x] = best;
    }
  }
}

// ImageErodeToPeak on z8u: off pixels and isolated on pixels stay unwritten.
void ErodeToPeak8u(void* in, void* out) {
  const zSize width = zImage_Width(in);
  const zSize height = zImage_Height(in);
  for (zSize y = 0; y < height; ++y) {
    const ThreeRows<z8u> rows = RowsAround<z8u>(in, y, height);
    z8u* row = RowOf<z8u>(out, y);
    for (zSize x = 0; x < width; ++x) {
      if (rows.centre[x] == 0) continue;
      if (x > 0 && x + 1 < width) {
        const z8u neighbours =
            std::max({rows.above[x - 1], rows.above[x], rows.above[x + 1], rows.centre[x - 1],
                      rows.centre[x + 1], rows.below[x - 1], rows.below[x], rows.below[x + 1]});
        if (neighbours == 0) continue;
      }
      row[x] = ExtremeAt<MinOp>(rows.above, rows.centre, rows.below, x, width);
    }
  }
}

// A copy of the input made the way the "5" operations start: construct, then copy every row.
// (The type-minimum fill that could precede the copy is overwritten by it in full and is left
// out.)
Ty::Object<void*> CopyForBandFilter(const Site& site, void* image, zAlloc alloc) {
  RequireImage(site, __LINE__, image);
  Ty::Object<void*> out = NewImageUninitialized(site, __LINE__, zImage_PixelType(image),
                                                zImage_Width(image), zImage_Height(image), alloc);
  CopyRows(site, out, image);  // writes every pixel
  return out;
}

// One 3x3 pass; the construction status is returned rather than raised so that ImageDilate can
// leave it unchecked.
enum class Pass { kErode, kDilate, kErodeToPeak };

zStatus RunPass(Pass pass, void* image, zAlloc alloc, Ty::Object<void*>* result) {
  // Every pixel of a handled type is written, except where ErodeToPeak leaves 8-bit pixels alone:
  // only those outputs need zero-filled memory.
  const zType type = zImage_PixelType(image);
  const bool writesAll =
      IsFilterType(type) && !(pass == Pass::kErodeToPeak && type == zTypeOf(z8u));
  zImage out = nullptr;
  const zStatus status =
      writesAll ? zImage_ConstructUninitialized(&out, type, zImage_Width(image),
                                                zImage_Height(image), alloc)
                : zImage_Construct(&out, type, zImage_Width(image), zImage_Height(image), alloc);
  if (status != zOK) return status;
  result->Reset(out);
  DispatchFilterType(zImage_PixelType(image), [&](auto tag) {
    using T = decltype(tag);
    if (pass == Pass::kDilate) {
      Extreme3x3<MaxOp, T>(image, out);
    } else if (pass == Pass::kErodeToPeak && std::is_same<T, z8u>::value) {
      ErodeToPeak8u(image, out);
    } else {
      Extreme3x3<MinOp, T>(image, out);
    }
  });
  return zOK;
}

Ty::Object<void*> RunChecked(Pass pass, const Site& site, void* image, zAlloc alloc) {
  RequireImage(site, __LINE__, image);
  Ty::Object<void*> result;
  Check(site, __LINE__, RunPass(pass, image, alloc, &result));
  return result;
}

Ty::Object<void*> Repeat(Pass pass, const Site& site, void* image, int count, zAlloc alloc) {
  Ty::Object<void*> result = RunChecked(pass, site, image, alloc);
  for (int i = 1; i < count; ++i) result = RunChecked(pass, site, result, alloc);
  return result;
}

}  // namespace

Ty::Object<void*> ImageErode5(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageErode5");
  Ty::Object<void*> out = CopyForBandFilter(site, image, alloc);
  DispatchFilterType(zImage_PixelType(image), [&](auto tag) {
    using T = decltype(tag);
    if constexpr (std::is_integral<T>::value) {
      GrowNulls3x3<T>(image, out);
    } else {
      Extreme5x5Interior<MinOp, T>(image, out);
    }
  });
  return out;
}

Ty::Object<void*> ImageDilate5(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageDilate5");
  Ty::Object<void*> out = CopyForBandFilter(site, image, alloc);
  DispatchFilterType(zImage_PixelType(image),
                     [&](auto tag) { Extreme5x5Interior<MaxOp, decltype(tag)>(image, out); });
  return out;
}

Ty::Object<void*> ImageErode(void* image, void* alloc) {
  return RunChecked(Pass::kErode, SiteOf("Ro::Vision::ImageErode"), image, alloc);
}

Ty::Object<void*> ImageDilate(void* image, void* alloc) {
  RequireImage(SiteOf("Ro::Vision::ImageDilate"), __LINE__, image);
  // The construction status is deliberately not checked: a failure gives an empty object.
  Ty::Object<void*> result;
  (void)RunPass(Pass::kDilate, image, alloc, &result);
  return result;
}

Ty::Object<void*> ImageErodeToPeak(void* image, void* alloc) {
  return RunChecked(Pass::kErodeToPeak, SiteOf("Ro::Vision::ImageErodeToPeak"), image, alloc);
}

Ty::Object<void*> ImageErodeX(void* image, int count, void* alloc) {
  return Repeat(Pass::kErode, SiteOf("Ro::Vision::ImageErodeX"), image, count, alloc);
}

Ty::Object<void*> ImageDilateX(void* image, int count, void* alloc) {
  return Repeat(Pass::kDilate, SiteOf("Ro::Vision::ImageDilateX"), image, count, alloc);
}

Ty::Object<void*> ImageErodeToPeakX(void* image, int count, void* alloc) {
  return Repeat(Pass::kErodeToPeak, SiteOf("Ro::Vision::ImageErodeToPeakX"), image, count, alloc);
}

Ty::Object<void*> ImageOpeningX(void* image, int count, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageOpeningX");
  Ty::Object<void*> eroded = Repeat(Pass::kErode, site, image, count, alloc);
  return Repeat(Pass::kDilate, site, eroded, count, alloc);
}

}  // namespace Vision
}  // namespace Ro
