// Allocators and raw memory. Every block the platform hands out is 64-byte aligned and
// zero-filled, so a new array or image reads as zeros.
#ifndef ZAPI_ZMEM_H
#define ZAPI_ZMEM_H

#include "zDefs.h"

Z_BEGIN_C

/* An allocator: a record of two functions. A zAlloc handle points to one; a null handle means
   the default allocator. allocate returns a 64-byte aligned, zero-filled block or null. */
typedef struct zAllocator zAllocator;
struct zAllocator {
  void* (*allocate)(zAllocator* self, zSize size);
  void (*release)(zAllocator* self, void* block);
};

typedef void* zAlloc;

Z_API zStatus zMemAlloc(zAlloc alloc, zSize size, void** block);
/* As zMemAlloc, but the content is unspecified (it may be recycled memory): for callers that
   write every byte. The platform's own allocators skip the zeroing; others zero as usual. */
Z_API zStatus zMemAllocRaw(zAlloc alloc, zSize size, void** block);
/* Accepts a null block. */
Z_API zStatus zMemFree(zAlloc alloc, void* block);
/* Copies size bytes; the ranges must not overlap. */
Z_API zStatus zMemCopy(void* dst, const void* src, zSize size);

/* The counting allocator, for tests: counts live bytes and blocks on top of the default
   allocator and can be told to fail an allocation. Thread-safe. Destroy it only when
   nothing it handed out is still alive. */
Z_API zStatus zCountingAlloc_Construct(zAlloc* alloc);
Z_API zStatus zCountingAlloc_Destroy(zAlloc alloc);
Z_API zSize zCountingAlloc_LiveBytes(zAlloc alloc);
Z_API zSize zCountingAlloc_LiveBlocks(zAlloc alloc);
/* Number of allocations made so far (failed ones included). */
Z_API zSize zCountingAlloc_Allocations(zAlloc alloc);
/* Makes the n-th allocation from now fail (n = 1: the next one); 0 disarms. */
Z_API zStatus zCountingAlloc_FailAfter(zAlloc alloc, zSize n);

Z_END_C

#endif
