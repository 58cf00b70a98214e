// BMP files of height maps: the spectrum as 24-bit colour, and plain images through the platform.
#ifndef ROVISION_IMAGEPROCESSING_BMPIO_H
#define ROVISION_IMAGEPROCESSING_BMPIO_H

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// Writes the spectrum (see Spectrum.h) of a z16s or z16u image as a 24-bit BMP: little-endian
// headers of 14 and 40 bytes, rows bottom-up, each pixel blue, green, red, each row padded with
// zero bytes to a multiple of 4. Nulls, and every pixel when the non-null values are all equal,
// are black. Any other pixel type writes nothing and raises nothing. A null image or path raises
// -997; a failing platform call (stream, file) its own status. `alloc` serves the temporaries.
RO_API void ImageSaveSpectrumBmp(void* image, const char* path, void* alloc = nullptr);

// The platform's BMP export (z8u grey, zRgb24 and zArgb colour); its status is raised on failure.
RO_API void ImageSaveBmp(void* image, const char* path);

// The heights of a TyVision surface message (padded to multiples of 8 with nulls), scaled to 8-bit
// grey with nulls as 0, exported as a BMP.
RO_API void ImageSaveHeightMapFromItem(void* item, const char* path, void* alloc = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
