// Image utilities: construction and copies, fills, borders, the value range and conversions
// between pixel types.
//
// Null conventions: z16s heights use -32768, z16u height images 0, z32f -FLT_MAX, z64f -DBL_MAX;
// z8u images use 0 (or 255, see Image8uTo16s_WithNullFormat). A missing height stays the null of
// the target type through every conversion.
//
// Images come in as borrowed untyped zImage handles; a null handle raises -997. Every new image
// is made with `alloc` (null: the platform's default allocator) and returned in a
// Ty::Object<void*> that the caller owns. A failing platform call raises its own status with the
// operation's name ("Ro::Vision::ImageFill"); a pixel type that an operation requires and does not
// get raises -984.
#ifndef ROVISION_IMAGEPROCESSING_IMAGECONVERT_H
#define ROVISION_IMAGEPROCESSING_IMAGECONVERT_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// A new image of the same pixel type, width and height; its pixels are zero, not copied.
RO_API Ty::Object<void*> ImageConstructFrom(void* image, void* alloc = nullptr);
// ImageConstructFrom plus a copy of every row.
RO_API Ty::Object<void*> ImageCopy(void* image, void* alloc = nullptr);

// Fills every pixel with the one pixel at `value` (pixel-size bytes). An all-zero value zeroes
// the image; any other is written across the first row, which is then copied to every row.
RO_API void ImageFill(void* image, const void* value);
// ImageFill with the minimum of the pixel type: 0 for unsigned types, -128, -32768,
// -2147483648 and -9223372036854775808 for the signed ones, -FLT_MAX, -DBL_MAX and
// (-32768, -32768, -32768) for zPoint3d16s. Other types have no minimum: -996.
RO_API void ImageFillMin(void* image);
// The same for arrays: Array1Fill item by item, Array2Fill the first row then copies of it.
RO_API void Array1Fill(void* array, const void* value);
RO_API void Array2Fill(void* array, const void* value);
RO_API void Array1FillMin(void* array);
RO_API void Array2FillMin(void* array);

// A new image of width (w + 2 border + 7) / 8 * 8 and height (h + 2 border + 7) / 8 * 8, filled
// with the type minimum, into which input row y is copied as row y + border starting at BYTE
// offset `border`: for pixels wider than one byte the horizontal shift is `border` bytes, not
// pixels. A negative border raises -997, a type without minimum -996.
RO_API Ty::Object<void*> ImageAddBorders(void* image, int border, void* alloc = nullptr);
// ImageAddBorders(image, 0): padding to multiples of 8 on the right and at the bottom.
RO_API Ty::Object<void*> ImageAddPadding(void* image, void* alloc = nullptr);

// The smallest and largest pixel of a z8u, z16s, z16u, z32f or z64f image as doubles. With
// skipNull non-zero the nulls (z16u 0, z16s -32768, z32f -FLT_MAX, z64f -DBL_MAX) are not
// counted; NaN is never counted. Without any counted pixel (or for another pixel type) min is
// DBL_MAX and max -DBL_MAX. Null output pointers raise -997.
RO_API void ImageFindMinMax(void* image, double* min, double* max, int skipNull);

// z16s to z16u: v - 32768 modulo 65536 (the null -32768 becomes 0); and the inverse.
RO_API Ty::Object<void*> Image16sTo16u(void* image, void* alloc = nullptr);
RO_API Ty::Object<void*> Image16uTo16s(void* image, void* alloc = nullptr);

// z8u to z16s: the null byte (255 when nullIs255 is non-zero, else 0) becomes -32768, any other
// byte v becomes v * 257 - 32768.
RO_API Ty::Object<void*> Image8uTo16s_WithNullFormat(void* image, int nullIs255,
                                                     void* alloc = nullptr);
RO_API Ty::Object<void*> Image8uTo16s(void* image, void* alloc = nullptr);
RO_API Ty::Object<void*> Image8uTo16s_MinNull(void* image, void* alloc = nullptr);

// z64f heights to z16u: lo and hi are the range of the non-null values; a value v above the
// smallest normal float becomes trunc((v - lo) * 65534 / (hi - lo) + 1), 1 to 65535; nulls, zero
// and negative values become 0, the z16u null. When hi equals lo every such value becomes 1.
RO_API Ty::Object<void*> Image64fTo16u(void* image, void* alloc = nullptr);

// z32f to z64f, value by value; the z32f null becomes -FLT_MAX, not the z64f null.
RO_API Ty::Object<void*> ImageConvert32fTo64f(void* image, void* alloc = nullptr);

// The heights of a TyVision surface message as a z16s image whose width and height are rounded
// up to multiples of 8; the padding is null (-32768).
RO_API Ty::Object<void*> Image16sFromItem(void* item, void* alloc = nullptr);
// The same as a z16u height image (v - 32768 modulo 65536; null and padding are 0).
RO_API Ty::Object<void*> Image16uFromItem(void* item, void* alloc = nullptr);
// The intensities of a surface message as a new zArray2 of z8u (length rows, width columns);
// an empty object when the message has no intensity layer.
RO_API Ty::Object<void*> Array2FromIntensity(void* item, void* alloc = nullptr);

// A zArray2 as a zImage (rows become the height, columns the width) and back; items copied.
RO_API Ty::Object<void*> zArray22zImage(void* array, void* alloc = nullptr);
RO_API Ty::Object<void*> zImage2zArray2(void* image, void* alloc = nullptr);

// A z8u image, its size rounded up to multiples of 8, holding the input scaled to 0..255:
// trunc((v - lo) / (hi - lo) * 255) with lo, hi from ImageFindMinMax(skipNull) for z16s, z32f and
// z64f; with skipNull non-zero a null becomes 0. When hi equals lo (or the scale is not finite)
// the pixel becomes 0. z8u is copied unchanged. Padding pixels are 0. Other types raise -996.
RO_API Ty::Object<void*> Image8bitFromImage(void* image, int skipNull, void* alloc = nullptr);

// A z8u image of 1 for valid and 0 for invalid pixels (exchanged when invert is non-zero).
// Invalid: z64f -DBL_MAX, z16s -32768, z8u below 50 (an intensity cut-off, not the null 0).
// Other pixel types: the new image is returned unwritten (all 0).
RO_API Ty::Object<void*> ImageComputeBinary(void* image, int invert, void* alloc = nullptr);
// A z8u image of 1 where the z64f pixel is >= threshold, else 0.
RO_API Ty::Object<void*> ImageThreshold(void* image, double threshold, void* alloc = nullptr);
// A z8u copy in which values below the threshold become 0.
RO_API Ty::Object<void*> ImageClip(void* image, unsigned char threshold, void* alloc = nullptr);
// A z8u mask of 255 where the z16s height is valid and 0 where it is -32768.
RO_API Ty::Object<void*> zImage16sToBinaryMask(void* image, void* alloc = nullptr);
// Nulls the z16s image in place wherever the z8u mask (same size) is 0. Does nothing unless
// both handles are given.
RO_API void ImageApplyMask(void* image, void* mask);

// Central differences of a z8u, z16s, z32f or z64f image as two z64f images:
// gx(x, y) = (v(x+1, y) - v(x-1, y)) / 2 and gy(x, y) = (v(x, y+1) - v(x, y-1)) / 2.
// A gradient is the null -DBL_MAX where either neighbour is null (z8u 0, z16s -32768,
// z32f -FLT_MAX, z64f -DBL_MAX) or lies outside the image, so the outer ring has no gradient
// across the edge. Other pixel types raise -996.
RO_API void ImageComputeGradients(void* image, Ty::Object<void*>& gradientX,
                                  Ty::Object<void*>& gradientY, void* alloc = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
