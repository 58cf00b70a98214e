// The process-wide random generator: uniform 64-bit values, safe to call from several threads.
#ifndef ZAPI_ZRANDOM_H
#define ZAPI_ZRANDOM_H

#include "zDefs.h"

Z_BEGIN_C

/* The next value, uniform over [0, 2^64). */
Z_API z64u zRandomSize(void);
/* Restarts the sequence: the same seed gives the same values from a single thread. */
Z_API void zRandom_Seed(z64u seed);

Z_END_C

#endif
