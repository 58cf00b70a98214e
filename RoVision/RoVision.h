// The RoVision library: measurement and vision algorithms for 3D line-profile scans.
#ifndef ROVISION_ROVISION_H
#define ROVISION_ROVISION_H

#include "Algebra/LinearAlgebra.h"
#include "Arithmetic/Arithmetics.h"
#include "Common/Common.h"
#include "Common/alphanum.h"
#include "Geometry/FeaturePoint.h"
#include "Utils/RegionConversion.h"
#include "Utils/SurfaceData.h"

#endif
