// Padding a zArray2 with margins on each side.
#ifndef ROVISION_FILTER_PADARRAY_H
#define ROVISION_FILTER_PADARRAY_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

// How the margins of PadArray2 are filled (the names follow OpenCV's border types).
enum class PadMode : int {
  Null = 0,        // the element type's null value (for points: each coordinate's null)
  Constant = 1,    // `value`, converted to the element type (for points: every coordinate)
  Replicate = 2,   // the nearest edge element: aaa|abcd|ddd
  Reflect101 = 3,  // mirrored about the edge element, which is not repeated: dcb|abcd|cba
};

// A new array of (rows + top + bottom) x (columns + left + right) items of the input's type,
// created with `allocator` and put into `output` (which may be the input's handle): the input
// in the middle, the margins filled by `mode`. Rows and columns are padded independently, so a
// corner takes the corner rule of both (replicate: the corner element).
//
// Element types: z8u, z16s, z32s, z32f, z64f, zPoint3d32s, zPoint3d64f.
//
// Margins larger than the array are fine for Null, Constant and Replicate. Reflect101 needs a
// margin of at most size - 1 on that axis (the mirror image must lie inside the array), and
// Replicate and Reflect101 need a non-empty axis when its margins are not 0.
//
// Raises -997 (file "Filter/Filter") for a null input, an unknown mode, a margin that the mode
// cannot fill (see above) or a constant that the element type cannot hold exactly (a fraction or
// an out-of-range value for an integer type; NaN); -996 for another element type; the
// platform's status when the output cannot be made.
RO_API void PadArray2(const Ty::Object<void*>& input, unsigned long long top,
                      unsigned long long bottom, unsigned long long left, unsigned long long right,
                      PadMode mode, double value, Ty::Object<void*>& output, void* allocator);

}  // namespace Vision
}  // namespace Ro

#endif
