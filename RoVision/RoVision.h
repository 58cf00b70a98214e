// The RoVision library: measurement and vision algorithms for 3D line-profile scans.
#ifndef ROVISION_ROVISION_H
#define ROVISION_ROVISION_H

#include "Common/Common.h"
#include "Common/alphanum.h"
#include "ImageProcessing/BmpIo.h"
#include "ImageProcessing/ImageConvert.h"
#include "ImageProcessing/MedianBlur.h"
#include "ImageProcessing/Morphology.h"
#include "ImageProcessing/PngIo.h"
#include "ImageProcessing/Spectrum.h"
#include "Utils/RegionConversion.h"
#include "Utils/SurfaceData.h"

#endif
