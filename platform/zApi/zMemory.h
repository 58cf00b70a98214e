// zMemory: a byte stream with a read/write position, either growable (owns its bytes) or
// attached to a caller's bytes (read only, borrowed for the stream's life).
#ifndef ZAPI_ZMEMORY_H
#define ZAPI_ZMEMORY_H

#include "zObject.h"

Z_BEGIN_C

typedef void* zMemory;

/* A new, empty, growable stream. */
Z_API zStatus zMemory_Construct(zMemory* memory, zAlloc alloc);
/* Points the stream at `size` bytes of the caller (read only) and rewinds it; the stream's own
   bytes are dropped. A null `data` is refused unless size is 0. */
Z_API zStatus zMemory_Attach(zMemory memory, const void* data, zSize size);
Z_API zSize zMemory_Size(zMemory memory);
Z_API const void* zMemory_Data(zMemory memory);
Z_API zSize zMemory_Position(zMemory memory);
/* Moves the position; beyond the size is refused. */
Z_API zStatus zMemory_Seek(zMemory memory, zSize position);
/* Writes at the position, growing the stream; an attached stream refuses (zERROR_STATE). */
Z_API zStatus zMemory_Write(zMemory memory, const void* data, zSize size);
/* Reads exactly `size` bytes at the position. Fewer left: zERROR_END_OF_STREAM, nothing read,
   position unchanged. */
Z_API zStatus zMemory_Read(zMemory memory, void* data, zSize size);

Z_END_C

#endif
