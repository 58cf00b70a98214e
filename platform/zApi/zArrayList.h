// zArrayList: a growable list of items of one type, contiguous.
#ifndef ZAPI_ZARRAYLIST_H
#define ZAPI_ZARRAYLIST_H

#include "zObject.h"
#include "zType.h"

Z_BEGIN_C

typedef void* zArrayList;

/* A new empty list with room for `capacity` items. */
Z_API zStatus zArrayList_Construct(zArrayList* list, zType type, zSize capacity, zAlloc alloc);
Z_API zStatus zArrayList_Clone(zArrayList src, zAlloc alloc, zArrayList* list);
Z_API zType zArrayList_ItemType(zArrayList list);
Z_API zSize zArrayList_Count(zArrayList list);
Z_API zSize zArrayList_Capacity(zArrayList list);
Z_API void* zArrayList_Data(zArrayList list);
/* Address of item i; i < count is the caller's duty (asserted in debug builds). */
Z_API void* zArrayList_At(zArrayList list, zSize i);
/* Appends one item copied from `item` (item size bytes). */
Z_API zStatus zArrayList_Append(zArrayList list, const void* item);
/* Appends `count` items copied from `items`. */
Z_API zStatus zArrayList_AppendN(zArrayList list, const void* items, zSize count);
/* Replaces the content by `count` items copied from `items`. */
Z_API zStatus zArrayList_Import(zArrayList list, const void* items, zSize count);
/* Makes the list empty; the capacity stays. */
Z_API zStatus zArrayList_Clear(zArrayList list);
/* Changes the count, keeping the first items; new items are zero. */
Z_API zStatus zArrayList_Resize(zArrayList list, zSize count);
Z_API zStatus zArrayList_Reserve(zArrayList list, zSize capacity);
/* Sets every item to zero bytes. */
Z_API zStatus zArrayList_Zero(zArrayList list);

Z_END_C

#endif
