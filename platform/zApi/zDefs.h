// Value types, statuses and the export macro shared by every platform module.
#ifndef ZAPI_ZDEFS_H
#define ZAPI_ZDEFS_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define Z_API __declspec(dllexport)
#else
#define Z_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define Z_EXTERN_C extern "C"
#define Z_BEGIN_C extern "C" {
#define Z_END_C }
#else
#define Z_EXTERN_C
#define Z_BEGIN_C
#define Z_END_C
#endif

Z_BEGIN_C

typedef uint8_t z8u;
typedef int8_t z8s;
typedef int16_t z16s;
typedef uint16_t z16u;
typedef int32_t z32s;
typedef uint32_t z32u;
typedef int64_t z64s;
typedef uint64_t z64u;
typedef float z32f;
typedef double z64f;
typedef size_t zSize;
typedef int32_t zBool;
typedef int32_t zStatus;

typedef struct zPoint64f {
  z64f x, y;
} zPoint64f;

typedef struct zPoint3d16s {
  z16s x, y, z;
} zPoint3d16s;

typedef struct zPoint3d32s {
  z32s x, y, z;
} zPoint3d32s;

typedef struct zPoint3d32f {
  z32f x, y, z;
} zPoint3d32f;

typedef struct zPoint3d64f {
  z64f x, y, z;
} zPoint3d64f;

/* Corner-style rectangle: lowest corner, then sizes. */
typedef struct zRect64f {
  z64f x, y, width, height;
} zRect64f;

typedef struct zRect3d64f {
  z64f x, y, z, width, length, height;
} zRect3d64f;

/* Plane a*x + b*y + c*z + d = 0. */
typedef struct zPlane3d64f {
  z64f a, b, c, d;
} zPlane3d64f;

typedef struct zRgb24 {
  z8u r, g, b;
} zRgb24;

/* Bytes in memory order r, g, b, a: an RGBA pixel. */
typedef struct zArgb {
  z8u r, g, b, a;
} zArgb;

/* Success is 1; every failure of the platform is negative. The parameter status shares the
   library's "invalid argument" value; the others are chosen apart from the library's own
   statuses so that a test can tell a passed-on platform status from one the library raised. */
enum {
  zOK = 1,
  zERROR_PARAMETER = -997,
  zERROR_MEMORY = -1001,
  zERROR_NOT_FOUND = -1002,
  zERROR_FORMAT = -1003,
  zERROR_FILE = -1004,
  zERROR_END_OF_STREAM = -1005,
  zERROR_TYPE = -1006,
  zERROR_STATE = -1007,
  zERROR_SINGULAR = -1008,
  zERROR_ABORTED = -1009
};

/* A short English name of a status ("memory", "parameter", ...); "unknown" otherwise. */
Z_API const char* zStatus_Name(zStatus status);

Z_END_C

#endif
