// False-colour rendering of 16-bit height maps.
//
// A pixel is coloured from its unsigned 16-bit value v (a z16s map is first taken as
// v + 32768 modulo 65536, so the null -32768 becomes 0) and the range [lo, hi] of the image's
// non-null values: t = trunc(1792 (v - lo) / (hi - lo)) runs black, blue, cyan, green, yellow,
// red, magenta and white in seven segments of 256 steps; hi itself is white. The null is opaque
// black. An image whose non-null values are all equal (or that has none) renders as all zero
// bytes, transparent black.
#ifndef ROVISION_IMAGEPROCESSING_SPECTRUM_H
#define ROVISION_IMAGEPROCESSING_SPECTRUM_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// A new zArgb image (bytes red, green, blue, alpha) of the input's size holding the spectrum of a
// z16s or z16u image; an empty object for any other pixel type. Made with `alloc`, which also
// serves the temporaries. A null handle raises -997; a failing allocation its platform status.
RO_API Ty::Object<void*> ImageToSpectrumImage(void* image, void* alloc = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
