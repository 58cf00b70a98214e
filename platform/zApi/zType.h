// Item type descriptors. A descriptor is immutable and unique per type: compare by identity.
#ifndef ZAPI_ZTYPE_H
#define ZAPI_ZTYPE_H

#include "zDefs.h"

Z_BEGIN_C

typedef struct zTypeInfo {
  const char* name;
  zSize size;
} zTypeInfo;

typedef const zTypeInfo* zType;

/* A pointer-sized item, for lists of references (strings, objects). */
typedef void* zPtr;

#define Z_DECLARE_TYPE(T) Z_API extern const zTypeInfo zTypeInfo_##T
Z_DECLARE_TYPE(z8u);
Z_DECLARE_TYPE(z8s);
Z_DECLARE_TYPE(z16s);
Z_DECLARE_TYPE(z16u);
Z_DECLARE_TYPE(z32s);
Z_DECLARE_TYPE(z32u);
Z_DECLARE_TYPE(z64s);
Z_DECLARE_TYPE(z64u);
Z_DECLARE_TYPE(z32f);
Z_DECLARE_TYPE(z64f);
Z_DECLARE_TYPE(zSize);
Z_DECLARE_TYPE(zBool);
Z_DECLARE_TYPE(zPtr);
Z_DECLARE_TYPE(zPoint64f);
Z_DECLARE_TYPE(zPoint3d16s);
Z_DECLARE_TYPE(zPoint3d32s);
Z_DECLARE_TYPE(zPoint3d32f);
Z_DECLARE_TYPE(zPoint3d64f);
Z_DECLARE_TYPE(zRect64f);
Z_DECLARE_TYPE(zRect3d64f);
Z_DECLARE_TYPE(zPlane3d64f);
Z_DECLARE_TYPE(zRgb24);
Z_DECLARE_TYPE(zArgb);
#undef Z_DECLARE_TYPE

/* zTypeOf(z16s) yields the descriptor of z16s. */
#define zTypeOf(T) (&zTypeInfo_##T)

/* Size in bytes of one item; 0 for a null descriptor. */
Z_API zSize zType_Size(zType type);
Z_API const char* zType_Name(zType type);

Z_END_C

#endif
