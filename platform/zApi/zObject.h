// The object model: every platform object starts with one header holding its class, an atomic
// reference count and the allocator it was made with.
#ifndef ZAPI_ZOBJECT_H
#define ZAPI_ZOBJECT_H

#include "zDefs.h"
#include "zMem.h"

Z_BEGIN_C

typedef void* zObject;

/* A class descriptor; compare by identity with zClassOf(name). */
typedef struct zClassInfo zClassInfo;
typedef const zClassInfo* zClass;

#define Z_DECLARE_CLASS(name) Z_API extern const zClassInfo zClassInfo_##name
Z_DECLARE_CLASS(zArray1);
Z_DECLARE_CLASS(zArray2);
Z_DECLARE_CLASS(zArrayList);
Z_DECLARE_CLASS(zImage);
Z_DECLARE_CLASS(zMemory);
Z_DECLARE_CLASS(zSerializer);
Z_DECLARE_CLASS(zThreadPool);
#undef Z_DECLARE_CLASS
#define zClassOf(name) (&zClassInfo_##name)

/* Adds a reference. Accepts null. */
Z_API zStatus zObject_Share(zObject object);
/* Drops a reference and frees the object when none is left. Accepts null. */
Z_API zStatus zObject_Destroy(zObject object);
/* Current number of references; 0 for null. */
Z_API z32s zObject_RefCount(zObject object);
/* The class of an object; null for null. */
Z_API zClass zObject_Class(zObject object);
Z_API const char* zClass_Name(zClass cls);
/* The allocator the object was made with (null: the default allocator). */
Z_API zAlloc zObject_Allocator(zObject object);

Z_END_C

#endif
