// Private to the geometry module: the height-range kernels of GetBoundingBox, exported only so
// that the unit tests can hold the vectorised path against the scalar one.
#ifndef ROVISION_GEOMETRY_BOUNDINGBOXPRIVATE_H
#define ROVISION_GEOMETRY_BOUNDINGBOXPRIVATE_H

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// The lowest and highest height of the cells [0, n) that are not -32768 and whose mask byte is
// non-zero (mask may be null: every non-null cell). With no such cell low stays 32767 and high
// -32768. Both functions give the same values for the same input.
RO_API void HeightRangeScalar(const short* heights, const unsigned char* mask, int n, short& low,
                              short& high);
RO_API void HeightRange(const short* heights, const unsigned char* mask, int n, short& low,
                        short& high);

}  // namespace Vision
}  // namespace Ro

#endif
