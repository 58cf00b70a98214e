// The zApi platform library: value types, objects, arrays, images, streams, files, parallel
// execution and random numbers.
#ifndef ZAPI_ZAPI_H
#define ZAPI_ZAPI_H

#include "zArray1.h"
#include "zArray2.h"
#include "zArrayList.h"
#include "zDefs.h"
#include "zFile.h"
#include "zImage.h"
#include "zMem.h"
#include "zMemory.h"
#include "zObject.h"
#include "zParallel.h"
#include "zRandom.h"
#include "zSerializer.h"
#include "zType.h"

#endif
