// zImage: width x height pixels of one type, rows contiguous (stride = width x pixel size).
#ifndef ZAPI_ZIMAGE_H
#define ZAPI_ZIMAGE_H

#include "zObject.h"
#include "zType.h"

Z_BEGIN_C

typedef void* zImage;

/* A new zero-filled image; *image receives it (null on failure). */
Z_API zStatus zImage_Construct(zImage* image, zType type, zSize width, zSize height, zAlloc alloc);
/* As zImage_Construct, but the pixels are unspecified: for callers that write every pixel. */
Z_API zStatus zImage_ConstructUninitialized(zImage* image, zType type, zSize width, zSize height,
                                            zAlloc alloc);
Z_API zStatus zImage_Clone(zImage src, zAlloc alloc, zImage* image);
Z_API zType zImage_PixelType(zImage image);
Z_API zSize zImage_Width(zImage image);
Z_API zSize zImage_Height(zImage image);
/* Bytes from one row to the next. */
Z_API zSize zImage_Stride(zImage image);
Z_API void* zImage_Data(zImage image);
/* First pixel of row y; y < height is the caller's duty (asserted in debug builds). */
Z_API void* zImage_Row(zImage image, zSize y);
Z_API void* zImage_At(zImage image, zSize x, zSize y);
Z_API zStatus zImage_Zero(zImage image);
/* dst takes src's pixel type and size, then its pixels. */
Z_API zStatus zImage_Copy(zImage dst, zImage src);
/* Makes the image width x height zero pixels of `type`, dropping the content. */
Z_API zStatus zImage_Allocate(zImage image, zType type, zSize width, zSize height);
/* Writes a BMP file: z8u as 8-bit grey with a palette, zRgb24 and zArgb as 24-bit colour (alpha
   dropped). Other pixel types: zERROR_TYPE, no file. */
Z_API zStatus zImage_Export(zImage image, const char* path);

Z_END_C

#endif
