// zArray2: rows x columns items of one type, row-major and contiguous. Dimension 0 is the rows,
// dimension 1 the columns.
#ifndef ZAPI_ZARRAY2_H
#define ZAPI_ZARRAY2_H

#include "zObject.h"
#include "zType.h"

Z_BEGIN_C

typedef void* zArray2;

/* A new zero-filled array; *array receives it (null on failure). */
Z_API zStatus zArray2_Construct(zArray2* array, zType type, zSize rows, zSize columns,
                                zAlloc alloc);
/* As zArray2_Construct, but the items are unspecified: for callers that write every item. */
Z_API zStatus zArray2_ConstructUninitialized(zArray2* array, zType type, zSize rows, zSize columns,
                                             zAlloc alloc);
Z_API zStatus zArray2_Clone(zArray2 src, zAlloc alloc, zArray2* array);
Z_API zType zArray2_ItemType(zArray2 array);
/* Length in dimension 0 (rows) or 1 (columns); 0 for another dimension or a null array. */
Z_API zSize zArray2_Length(zArray2 array, zSize dimension);
Z_API zSize zArray2_Rows(zArray2 array);
Z_API zSize zArray2_Columns(zArray2 array);
Z_API void* zArray2_Data(zArray2 array);
/* First item of a row; row < rows is the caller's duty (asserted in debug builds). */
Z_API void* zArray2_Row(zArray2 array, zSize row);
Z_API void* zArray2_At(zArray2 array, zSize row, zSize column);
Z_API zStatus zArray2_Zero(zArray2 array);
/* dst takes src's type and shape, then its items. */
Z_API zStatus zArray2_Copy(zArray2 dst, zArray2 src);
/* Makes the array rows x columns zero items of `type`, dropping the content. */
Z_API zStatus zArray2_Allocate(zArray2 array, zType type, zSize rows, zSize columns);

Z_END_C

#endif
