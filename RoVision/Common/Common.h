// The library frame: element types and nulls, value records, scan records.
#ifndef ROVISION_COMMON_COMMON_H
#define ROVISION_COMMON_COMMON_H

#include "ElementTypes.h"
#include "Export.h"
#include "Records.h"
#include "ScanRecords.h"

#endif
