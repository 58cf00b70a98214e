#include "Spectrum.h"

#include <zApi/zMem.h>

#include <cstring>

#include "ImageConvert.h"
#include "ImagePrivate.h"
#include "SpectrumPrivate.h"

namespace Ro {
namespace Vision {
namespace image {

void SpectrumRange(void* image16u, int* lo, int* hi) {
  double min = 0;
  double max = 0;
  ImageFindMinMax(image16u, &min, &max, 1);
  if (min > max) {
    *lo = 0;
    *hi = 0;
    return;
  }
  *lo = static_cast<int>(min);
  *hi = static_cast<int>(max);
}

Ty::Object<void*> HeightsAs16u(void* image, void* alloc) {
  const zType type = zImage_PixelType(image);
  if (type == TypeOf<z16s>()) return Image16sTo16u(image, alloc);
  if (type == TypeOf<z16u>()) return Ty::Object<void*>(image, true);
  return Ty::Object<void*>();
}

void RenderSpectrumRgba(void* image16u, z8u* rgba) {
  const zSize width = zImage_Width(image16u);
  const zSize height = zImage_Height(image16u);
  int lo = 0;
  int hi = 0;
  SpectrumRange(image16u, &lo, &hi);
  if (hi <= lo) {
    std::memset(rgba, 0, width * height * 4);
    return;
  }
  for (zSize y = 0; y < height; ++y) {
    const z16u* row = ConstRowOf<z16u>(image16u, y);
    z8u* out = rgba + y * width * 4;
    for (zSize x = 0; x < width; ++x, out += 4) {
      const Rgb rgb = row[x] == 0 ? Rgb{0, 0, 0} : SpectrumRamp(SpectrumPosition(row[x], lo, hi));
      out[0] = rgb.r;
      out[1] = rgb.g;
      out[2] = rgb.b;
      out[3] = 255;
    }
  }
}

}  // namespace image

using namespace image;

Ty::Object<void*> ImageToSpectrumImage(void* image, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageToSpectrumImage");
  RequireImage(site, __LINE__, image);
  Ty::Object<void*> heights = HeightsAs16u(image, alloc);
  if (!heights) return Ty::Object<void*>();
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  Ty::Object<void*> out = NewImage(site, __LINE__, TypeOf<zArgb>(), width, height, alloc);
  if (width == 0 || height == 0) return out;
  void* block = nullptr;
  Check(site, __LINE__, zMemAlloc(alloc, width * height * 4, &block));
  auto* rgba = static_cast<z8u*>(block);
  RenderSpectrumRgba(heights, rgba);
  zStatus status = zOK;
  for (zSize y = 0; y < height && status == zOK; ++y) {
    status = zMemCopy(zImage_Row(out, y), rgba + y * width * 4, width * 4);
  }
  const zStatus freed = zMemFree(alloc, block);
  Check(site, __LINE__, status);
  Check(site, __LINE__, freed);
  return out;
}

}  // namespace Vision
}  // namespace Ro
