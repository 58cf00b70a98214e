// Private to the image operations: the module's name in exceptions, image construction that
// raises the platform status, typed row access and the checks shared by the entry functions.
#ifndef ROVISION_IMAGEPROCESSING_IMAGEPRIVATE_H
#define ROVISION_IMAGEPROCESSING_IMAGEPRIVATE_H

#include <TyApi/TyObject.h>
#include <zApi/zImage.h>

#include <cstdint>
#include <string>
#include <utility>

#include "../Common/ElementTypes.h"
#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace image {

constexpr char kModule[] = "ImageProcessing/ImageUtils";

inline Site SiteOf(const char* function) {
  return Site{kModule, function};
}

// A null image handle is refused before any platform call reads it.
inline void RequireImage(const Site& site, int line, void* image) {
  if (!image) Throw(site, line, kInvalidArgument, "the image handle is null");
}

inline void RequireType(const Site& site, int line, void* image, zType type) {
  if (zImage_PixelType(image) != type) {
    const std::string message = std::string("the image holds ") +
                                zType_Name(zImage_PixelType(image)) + " pixels, " +
                                zType_Name(type) + " are required";
    Throw(site, line, kIncompatible, message.c_str());
  }
}

// A new zero-filled image owned by the returned wrapper; a failing construction raises its status.
inline Ty::Object<void*> NewImage(const Site& site, int line, zType type, zSize width, zSize height,
                                  zAlloc alloc) {
  zImage image = nullptr;
  Check(site, line, zImage_Construct(&image, type, width, height, alloc));
  return Ty::Object<void*>(image);
}

// A new image whose pixels are unspecified (possibly recycled memory), for operations that
// write every pixel: they then skip both the zeroing and the first-touch cost of fresh pages.
inline Ty::Object<void*> NewImageUninitialized(const Site& site, int line, zType type, zSize width,
                                               zSize height, zAlloc alloc) {
  zImage image = nullptr;
  Check(site, line, zImage_ConstructUninitialized(&image, type, width, height, alloc));
  return Ty::Object<void*>(image);
}

// A new image with the pixel type and size of `image`.
inline Ty::Object<void*> NewImageLike(const Site& site, int line, void* image, zAlloc alloc) {
  return NewImage(site, line, zImage_PixelType(image), zImage_Width(image), zImage_Height(image),
                  alloc);
}

template <class T>
inline T* RowOf(void* image, zSize y) {
  return static_cast<T*>(zImage_Row(image, y));
}

template <class T>
inline const T* ConstRowOf(void* image, zSize y) {
  return static_cast<const T*>(zImage_Row(image, y));
}

// Row pointers of the three rows around y, the first and last row standing in for the missing
// neighbour.
template <class T>
struct ThreeRows {
  const T* above;
  const T* centre;
  const T* below;
};

template <class T>
ThreeRows<T> RowsAround(void* image, zSize y, zSize height) {
  return {ConstRowOf<T>(image, y > 0 ? y - 1 : 0), ConstRowOf<T>(image, y),
          ConstRowOf<T>(image, y + 1 < height ? y + 1 : height - 1)};
}

// Copies every row of src into dst (same pixel type and size).
void CopyRows(const Site& site, void* dst, void* src);

// The pixel types that the filters of this module handle, in the order they are tested.
template <class F>
bool DispatchFilterType(zType type, F&& f) {
  return DispatchByType<z8u, z16s, z32f, z64f>(type, std::forward<F>(f));
}

inline bool IsFilterType(zType type) {
  return DispatchFilterType(type, [](auto) {});
}

// A new image like `image` for a filter that writes every pixel of the types it handles: its
// pixels are left unspecified for those types, and zero for any other (returned unwritten).
inline Ty::Object<void*> NewFilterOutput(const Site& site, int line, void* image, zAlloc alloc) {
  const zType type = zImage_PixelType(image);
  if (!IsFilterType(type)) return NewImageLike(site, line, image, alloc);
  return NewImageUninitialized(site, line, type, zImage_Width(image), zImage_Height(image), alloc);
}

// The minimum of a pixel type into `value` (room for one pixel); false for a type without one.
bool TypeMinimum(zType type, void* value);

}  // namespace image
}  // namespace Vision
}  // namespace Ro

#endif
