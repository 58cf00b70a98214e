// The TyVision platform library: plain message records that a host (or a test) builds and the
// library reads through accessors. Messages are platform objects: share and destroy them with
// zObject_Share and zObject_Destroy. Accessors given a null handle or a message of another kind
// return zERROR_PARAMETER (status accessors) or zero values.
#ifndef TYVISION_TYVISION_H
#define TYVISION_TYVISION_H

#include "../zApi/zArray1.h"
#include "../zApi/zArray2.h"
#include "../zApi/zImage.h"

Z_BEGIN_C

typedef void* TvMsg;

/* Pixel formats of image messages and of PNG loading. */
typedef enum TvPixelFormat {
  TvPixelFormat_Mono8 = 0x1080001,
  TvPixelFormat_Mono16 = 0x1100007,
  TvPixelFormat_Rgb8 = 0x2180014
} TvPixelFormat;

/* Surface message: a height map of `length` rows by `width` columns (z16s, zero-filled), an
   optional intensity layer (z8u), an offset and a resolution per axis, and `itemCount` items
   (at least 1) each with its own offset (initially the message's offset). */
Z_API zStatus TvSurfaceMsg_Construct(TvMsg* msg, zSize width, zSize length, zSize itemCount,
                                     zBool withIntensity, zAlloc alloc);
Z_API zSize TvSurfaceMsg_Width(TvMsg msg);
Z_API zSize TvSurfaceMsg_Length(TvMsg msg);
Z_API zPoint3d64f TvSurfaceMsg_Offset(TvMsg msg);
Z_API zPoint3d64f TvSurfaceMsg_Scale(TvMsg msg);
Z_API zStatus TvSurfaceMsg_SetOffset(TvMsg msg, zPoint3d64f offset);
Z_API zStatus TvSurfaceMsg_SetScale(TvMsg msg, zPoint3d64f scale);
Z_API zSize TvSurfaceMsg_ItemCount(TvMsg msg);
/* The offset of item `index`; an index outside [0, item count) gives zERROR_NOT_FOUND. */
Z_API zStatus TvSurfaceMsg_OffsetForRef(TvMsg msg, z32s index, zPoint3d64f* offset);
Z_API zStatus TvSurfaceMsg_SetOffsetForRef(TvMsg msg, z32s index, zPoint3d64f offset);
/* The heights (zArray2 of z16s, length x width) and intensities (zArray2 of z8u, or null),
   borrowed from the message. */
Z_API zArray2 TvSurfaceMsg_Ranges(TvMsg msg);
Z_API zArray2 TvSurfaceMsg_Intensities(TvMsg msg);
/* Row `row` of the heights; row < length is the caller's duty. */
Z_API z16s* TvSurfaceMsg_RangesRow(TvMsg msg, zSize row);

/* Data message: one profile of `count` z16s ranges (zero-filled) with offset and resolution in
   x and z. */
Z_API zStatus TvDataMsg_Construct(TvMsg* msg, zSize count, zAlloc alloc);
Z_API zSize TvDataMsg_Count(TvMsg msg);
/* The ranges (zArray1 of z16s), borrowed from the message. */
Z_API zArray1 TvDataMsg_Ranges(TvMsg msg);
Z_API zPoint64f TvDataMsg_Offset(TvMsg msg);
Z_API zPoint64f TvDataMsg_Scale(TvMsg msg);
Z_API zStatus TvDataMsg_SetOffset(TvMsg msg, zPoint64f offset);
Z_API zStatus TvDataMsg_SetScale(TvMsg msg, zPoint64f scale);

/* Image message: a zero-filled image of the pixel format (z8u, z16u or zRgb24). An unknown
   format gives zERROR_PARAMETER. */
Z_API zStatus TvImageMsg_Construct(TvMsg* msg, TvPixelFormat format, zSize width, zSize height,
                                   zAlloc alloc);
Z_API zSize TvImageMsg_Width(TvMsg msg);
Z_API zSize TvImageMsg_Height(TvMsg msg);
Z_API TvPixelFormat TvImageMsg_Format(TvMsg msg);
/* The image, borrowed from the message. */
Z_API zImage TvImageMsg_Image(TvMsg msg);
/* The pixel type of a format; null for an unknown one. */
Z_API zType TvPixelFormat_Type(TvPixelFormat format);

/* Line-feature message: a point on the line and its direction, in world units. */
Z_API zStatus TvLineFeatureMsg_Construct(TvMsg* msg, zPoint3d64f position, zPoint3d64f direction,
                                         zAlloc alloc);
Z_API zStatus TvLineFeatureMsg_Position(TvMsg msg, zPoint3d64f* position);
Z_API zStatus TvLineFeatureMsg_Direction(TvMsg msg, zPoint3d64f* direction);

Z_END_C

#endif
