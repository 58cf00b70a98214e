// Reading a surface into its flat view, an item's offset from a surface message, and the six
// axis limits of a 3D box.
#ifndef ROVISION_UTILS_SURFACEDATA_H
#define ROVISION_UTILS_SURFACEDATA_H

#include <zApi/zDefs.h>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

// Fills `out` from `surface`: offset and scale copied; width and length from layer 0 (columns,
// rows) when it holds an object, else 0; heights = layer 0, intensity = layer 1 (either null when
// absent). No reference is added. A null `out` raises -997.
RO_API void RetrieveSurfaceInputData(const Surface& surface, SurfaceInputData* out);

// The offset that a surface message holds for item `index`. A null message raises -997; a
// failing message accessor raises its own status.
RO_API zPoint3d64f GetSurfaceItemOffset(void* message, int index);

// True when x, y and z are set and width, length and height are greater than 0 (a NaN size is
// not).
RO_API bool IsValidRegion3d(const zRect3d64f& region);

// The box's limits per axis. (x, y, z) is the box's centre when `centered` is true, else its
// lowest corner. All six are the double null when the box is not valid.
RO_API void GetRegionRanges(const zRect3d64f& region, bool centered, double* xMin, double* xMax,
                            double* yMin, double* yMax, double* zMin, double* zMax);

}  // namespace Vision
}  // namespace Ro

#endif
