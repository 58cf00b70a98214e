// Private to the imaging functions: the spectrum colour ramp and the 16-bit height range it is
// scaled to.
#ifndef ROVISION_IMAGEPROCESSING_SPECTRUMPRIVATE_H
#define ROVISION_IMAGEPROCESSING_SPECTRUMPRIVATE_H

#include <TyApi/TyObject.h>
#include <zApi/zDefs.h>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace image {

struct Rgb {
  z8u r, g, b;
};

// The colour of ramp position t: seven segments of 256 steps from black through blue, cyan,
// green, yellow, red and magenta to white. The falling segments use 767 - t and 1279 - t so that
// each ends at 0 on its last step.
inline Rgb SpectrumRamp(int t) {
  auto c = [](int v) { return static_cast<z8u>(v); };
  if (t < 0) return {0, 0, 0};
  if (t < 256) return {0, 0, c(t)};
  if (t < 512) return {0, c(t - 256), 255};
  if (t < 768) return {0, 255, c(767 - t)};
  if (t < 1024) return {c(t - 768), 255, 0};
  if (t < 1280) return {255, c(1279 - t), 0};
  if (t < 1536) return {255, 0, c(t - 1280)};
  if (t < 1792) return {255, c(t - 1536), 255};
  return {255, 255, 255};
}

// The ramp position of a non-null value v in [lo, hi] (hi > lo).
inline int SpectrumPosition(int v, int lo, int hi) {
  return static_cast<int>(1792.0 * (v - lo) / (hi - lo));
}

// The range [lo, hi] of the non-null (non-zero) values of a z16u image, truncated to integers;
// an image without any gives lo = hi = 0, which renders as "no range".
void SpectrumRange(void* image16u, int* lo, int* hi);

// The heights as z16u: a z16s image converted (null -32768 to 0), a z16u image shared; an empty
// object for any other type.
Ty::Object<void*> HeightsAs16u(void* image, void* alloc);

// Renders a z16u image into width x height RGBA pixels (red, green, blue, alpha): the null 0 is
// opaque black; with hi <= lo every byte is 0 (transparent black).
void RenderSpectrumRgba(void* image16u, z8u* rgba);

// The per-pixel form used by the BMP writer: red in bits 16-23, green 8-15, blue 0-7; black for
// the null and whenever hi <= lo.
inline z32u SpectrumPacked(int v, int lo, int hi) {
  if (hi <= lo || v == 0) return 0;
  const Rgb rgb = SpectrumRamp(SpectrumPosition(v, lo, hi));
  return (z32u{rgb.r} << 16) | (z32u{rgb.g} << 8) | z32u{rgb.b};
}

}  // namespace image
}  // namespace Vision
}  // namespace Ro

#endif
