// Surface regions of interest, their masks and the operations on masks.
#ifndef ROVISION_COMMON_MASKSURFACE_H
#define ROVISION_COMMON_MASKSURFACE_H

#include "MaskKinds.h"
#include "MaskSurfaceComposed.h"
#include "MaskSurfaceFromSurface.h"
#include "MaskSurfaceOperations.h"
#include "MaskSurfaceRoi.h"
#include "MaskSurfaceShapes.h"

#endif
