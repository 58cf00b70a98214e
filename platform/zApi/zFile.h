// Whole files to and from memory.
#ifndef ZAPI_ZFILE_H
#define ZAPI_ZFILE_H

#include "zArray1.h"

Z_BEGIN_C

/* Writes `size` bytes to the file at `path`, replacing it. zERROR_FILE when it cannot. */
Z_API zStatus zFile_Save(const char* path, const void* data, zSize size);
/* Reads the whole file into a new zArray1 of z8u. zERROR_NOT_FOUND when the file does not exist,
   zERROR_FILE when it cannot be read. */
Z_API zStatus zFile_Load(const char* path, zAlloc alloc, zArray1* bytes);

Z_END_C

#endif
