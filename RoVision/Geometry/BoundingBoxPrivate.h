// Private to the geometry module: the row scan of GetBoundingBox, exported only so that the unit
// tests can hold every vectorised path against the scalar one.
#ifndef ROVISION_GEOMETRY_BOUNDINGBOXPRIVATE_H
#define ROVISION_GEOMETRY_BOUNDINGBOXPRIVATE_H

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// The valid cells of one row (height not -32768 and, with a mask, mask byte non-zero): the first
// and the last valid column (both -1 when the row has none) and the lowest and highest valid
// height (32767 and -32768 when it has none).
struct RowExtent {
  int first = -1, last = -1;
  short low = 32767, high = -32768;
};

// The instruction sets the row scan is written for. Every path gives the same RowExtent for the
// same cells; the scalar one is the plain definition the others are tested against.
enum class RowScanPath { kScalar, kSse2, kAvx2, kAvx512 };

// Whether `path` is compiled in and this processor (and its operating system) runs it.
RO_API bool RowScanPathSupported(RowScanPath path);
// The fastest supported path (AVX-512, AVX2, SSE2, scalar), from the processor's features.
RO_API RowScanPath FastestRowScanPath();

// The extent of the cells [0, n) of one row; `mask` may be null (every non-null cell is valid).
// `path` must be supported.
RO_API RowExtent ScanRowCells(RowScanPath path, const short* heights, const unsigned char* mask,
                              int n);

// The kernel behind ScanRowCells for `path`, for callers that scan many rows with one path.
using RowScanner = RowExtent (*)(const short* heights, const unsigned char* mask, int n);
RowScanner RowScannerFor(RowScanPath path);

}  // namespace Vision
}  // namespace Ro

#endif
