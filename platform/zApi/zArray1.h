// zArray1: n items of one type, contiguous.
#ifndef ZAPI_ZARRAY1_H
#define ZAPI_ZARRAY1_H

#include "zObject.h"
#include "zType.h"

Z_BEGIN_C

typedef void* zArray1;

/* A new zero-filled array of `length` items; *array receives it (null on failure). */
Z_API zStatus zArray1_Construct(zArray1* array, zType type, zSize length, zAlloc alloc);
/* A new array with the type, length and items of src. */
Z_API zStatus zArray1_Clone(zArray1 src, zAlloc alloc, zArray1* array);
Z_API zType zArray1_ItemType(zArray1 array);
Z_API zSize zArray1_Length(zArray1 array);
Z_API void* zArray1_Data(zArray1 array);
/* Address of item i; i < length is the caller's duty (asserted in debug builds). */
Z_API void* zArray1_At(zArray1 array, zSize i);
Z_API zStatus zArray1_Zero(zArray1 array);
/* dst takes src's type and length, then its items. */
Z_API zStatus zArray1_Copy(zArray1 dst, zArray1 src);
/* Changes the length, keeping the first items; new items are zero. */
Z_API zStatus zArray1_Resize(zArray1 array, zSize length);
/* Makes the array `length` zero items of `type`, dropping the content. */
Z_API zStatus zArray1_Allocate(zArray1 array, zType type, zSize length);

Z_END_C

#endif
