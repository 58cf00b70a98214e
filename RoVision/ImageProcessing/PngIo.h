// PNG images in memory and in files, encoded and decoded with LodePNG.
//
// Encoding writes stored (uncompressed) deflate blocks with no row filter, favouring speed over
// file size, and a compressed "Comment" text chunk. The encoded buffer is allocated by the
// encoder with malloc and handed to the caller, who owns it and releases it with free().
//
// 16-bit heights travel as unsigned grey samples: a z16s map is written as v + 32768 modulo 65536
// (the null -32768 as 0) and loaded back as a z16s map with 0 restored to -32768.
//
// A truncated, corrupt or hostile PNG raises Ty::Exception with LodePNG's error code as the
// status; its header is checked before decoding, and an image whose pixels could not fit in the
// compressed data, or that would decode to more than 1 GiB, is refused without allocating it.
// Failures name the operation ("Ro::Vision::ImageLoadPng") with file "ImageProcessing/ImageUtils".
#ifndef ROVISION_IMAGEPROCESSING_PNGIO_H
#define ROVISION_IMAGEPROCESSING_PNGIO_H

#include <TyApi/TyObject.h>
#include <TyVision/TyVision.h>

#include <cstddef>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// The spectrum (see Spectrum.h) of a z16s, z16u or z64f image (z64f first through
// Image64fTo16u) as an 8-bit RGBA PNG; automatic colour conversion is on, so an opaque image may
// be stored as RGB. Other pixel types raise -996. `alloc` serves the temporaries.
RO_API void ImageBufferForSaveSpectrumPng(void* image, unsigned char*& buffer, size_t& size,
                                          void* alloc = nullptr);
// The same buffer written to `path` (zFile_Save; a file failure raises its status).
RO_API void ImageSaveSpectrumPng(void* image, const char* path, void* alloc = nullptr);

// A PNG of the image itself: z8u as 8-bit grey, z16s (converted to z16u) and z16u as 16-bit
// grey, zArgb as RGBA and zRgb24 as RGB (both with automatic colour conversion). Other pixel
// types raise -996; a failing encode raises LodePNG's error code.
RO_API void ImageBufferForSavePng(void* image, unsigned char*& buffer, size_t& size,
                                  void* alloc = nullptr);
// ImageBufferForSavePng written to `path`.
RO_API void ImageSavePng(void* image, const char* path, void* alloc = nullptr);

// Decodes the PNG file at `path` into a new image of `format`: Mono8 gives z8u, Mono16 z16u
// (native sample values), Rgb8 zRgb24. Another format raises -996; a missing or unreadable file
// its platform status. `result` releases what it held and takes the image.
RO_API void ImageLoadPng(Ty::Object<void*>& result, TvPixelFormat format, const char* path,
                         void* alloc = nullptr);
// Decodes the PNG file at `path` through ImageLoadPngFromBuffer: a 16-bit grey PNG as a height
// map (z16u wanted, giving z16s), any other as z8u grey. A null `result` raises -997.
RO_API void ImageLoadPng(Ty::Object<void*>* result, const char* path, void* alloc = nullptr);
// Decodes `size` bytes of PNG. `type` is the descriptor of z8u (8-bit grey image) or z16u
// (16-bit grey samples returned as a z16s height map: sample - 32768 modulo 65536, so 0 becomes
// the null -32768); any other raises -996.
RO_API void ImageLoadPngFromBuffer(Ty::Object<void*>* result, const unsigned char* buffer,
                                   size_t size, const void* type, void* alloc = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
