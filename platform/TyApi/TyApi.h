// The TyApi platform library: the handle wrapper, the exception type and the debug log.
#ifndef TYAPI_TYAPI_H
#define TYAPI_TYAPI_H

#include "TyException.h"
#include "TyLogging.h"
#include "TyObject.h"

#endif
