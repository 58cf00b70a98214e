// zSerializer: typed little-endian writes and reads on a zMemory stream. No framing bytes: a
// written value takes exactly its own size. BeginWrite/BeginRead take the type of the version
// field that the caller writes next; they check the state, they write nothing.
#ifndef ZAPI_ZSERIALIZER_H
#define ZAPI_ZSERIALIZER_H

#include "zMemory.h"
#include "zType.h"

Z_BEGIN_C

typedef void* zSerializer;

/* A serializer over `stream` (shared for the serializer's life). */
Z_API zStatus zSerializer_Construct(zSerializer* serializer, zMemory stream, zAlloc alloc);
Z_API zStatus zSerializer_BeginWrite(zSerializer serializer, zType versionType);
Z_API zStatus zSerializer_EndWrite(zSerializer serializer);
Z_API zStatus zSerializer_BeginRead(zSerializer serializer, zType versionType);
Z_API zStatus zSerializer_EndRead(zSerializer serializer);

/* Writes outside BeginWrite..EndWrite and reads outside BeginRead..EndRead: zERROR_STATE.
   A read past the end: zERROR_END_OF_STREAM, the output untouched. */
Z_API zStatus zSerializer_Write8u(zSerializer serializer, z8u value);
Z_API zStatus zSerializer_Write16u(zSerializer serializer, z16u value);
Z_API zStatus zSerializer_Write16s(zSerializer serializer, z16s value);
Z_API zStatus zSerializer_Write32u(zSerializer serializer, z32u value);
Z_API zStatus zSerializer_Write32s(zSerializer serializer, z32s value);
Z_API zStatus zSerializer_Write64f(zSerializer serializer, z64f value);
Z_API zStatus zSerializer_WriteBytes(zSerializer serializer, const void* data, zSize size);
Z_API zStatus zSerializer_Read8u(zSerializer serializer, z8u* value);
Z_API zStatus zSerializer_Read16u(zSerializer serializer, z16u* value);
Z_API zStatus zSerializer_Read16s(zSerializer serializer, z16s* value);
Z_API zStatus zSerializer_Read32u(zSerializer serializer, z32u* value);
Z_API zStatus zSerializer_Read32s(zSerializer serializer, z32s* value);
Z_API zStatus zSerializer_Read64f(zSerializer serializer, z64f* value);
Z_API zStatus zSerializer_ReadBytes(zSerializer serializer, void* data, zSize size);

Z_END_C

#endif
