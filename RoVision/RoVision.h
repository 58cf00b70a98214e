// The RoVision library: measurement and vision algorithms for 3D line-profile scans.
#ifndef ROVISION_ROVISION_H
#define ROVISION_ROVISION_H

#include "Algebra/LinearAlgebra.h"
#include "Alignment/Anchor.h"
#include "Alignment/RefFrame.h"
#include "Common/Common.h"
#include "Common/MaskSurface.h"
#include "Common/alphanum.h"
#include "Filter/ProfileFilter.h"
#include "Filter/ProfileGaussian.h"
#include "Filter/RoiCrop.h"
#include "Filter/SurfaceDecimate.h"
#include "Filter/SurfaceFillGap.h"
#include "Filter/SurfaceFilter.h"
#include "Filter/Threshold.h"
#include "Fitting/CircleFit.h"
#include "Fitting/EllipseFit.h"
#include "Fitting/LineFit.h"
#include "Fitting/PlaneFit.h"
#include "Fitting/PolynomialFit.h"
#include "Fitting/SphereFit.h"
#include "Geometry/FeatureLine.h"
#include "Geometry/LinePlaneIntersection.h"
#include "Geometry/PolygonContainment.h"
#include "Geometry/SectorContainment.h"
#include "Geometry/ShapeConversion.h"
#include "Utils/RegionConversion.h"
#include "Utils/SurfaceData.h"

#endif
