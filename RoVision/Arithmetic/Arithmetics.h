// Cell-by-cell arithmetic between two height-map surfaces: sum, difference, mean and masking.
//
// The inputs may have different x/y offsets and sizes; they are read on the grid spacing and z
// scale of the first surface (a). The result covers the overlap of the two surfaces (logic And,
// a cell is valid where both inputs are) or their union (logic Or, a cell is valid where at
// least one is). Heights are combined in 32-bit integers relative to a's z offset in steps of
// a's z scale, then brought back to 16 bits, moving the z offset as far as needed for the range
// to fit. Heights of -32768 are null and take no part; an 8-bit intensity of 0 is "no
// intensity".
//
// The surfaces are borrowed for the call; every array of a result is made with the allocator
// given to the constructor and is owned by the output surface.
#ifndef ROVISION_ARITHMETIC_ARITHMETICS_H
#define ROVISION_ARITHMETIC_ARITHMETICS_H

#include <zApi/zDefs.h>

#include <cstdint>
#include <tuple>

#include "../Common/Common.h"

namespace Ro {
namespace Vision {

enum class ArithmeticOperator : int32_t {
  Add = 0,
  Subtract = 1,
  Average = 2,
  Mask = 3,  // handled by ApplyMask
};

enum class ArithmeticLogic : int32_t {
  And = 0,  // the overlap; valid where both inputs are valid
  Or = 1,   // the union; valid where at least one input is valid
};

// One axis of one input inside the covered area: `count` cells from the input's index `first`
// land on the result's index `target` and onwards.
struct CellRange {
  int first = 0;
  int target = 0;
  int count = 0;
};

// The area a result covers, in world units and in cells, and where each input lies in it.
struct ArithmeticArea {
  double x = kNullDouble;  // world position of the result's first column
  double y = kNullDouble;  // world position of the result's first row
  double width = 0;        // world span covered along X
  double length = 0;       // world span covered along Y
  int columns = 0;         // result size; 0 when the span is empty
  int rows = 0;
  CellRange aColumns, aRows;
  CellRange bColumns, bRows;
};

class RO_API Arithmetics {
 public:
  // Outputs are made with `allocator` (null: the platform's default); rows are spread over
  // `threadPool` (null: the platform's default pool). Neither is owned.
  explicit Arithmetics(void* allocator = nullptr, void* threadPool = nullptr);

  // out = a (op) b under `logic`. The Mask operator hands over to ApplyMask (logic unused).
  // Both surfaces need a z16s height layer (else -997 when missing, -996 for another item type)
  // and set, positive x/y/z scales (-997). Intensities are combined only when both surfaces
  // carry an intensity layer, which must be z8u of the heights' size (-984). A result without
  // any valid cell raises -997 "Empty Data"; an operator outside Add..Mask raises -996
  // "Unimplemented operation". Whatever `out` held is released.
  void Apply(ArithmeticOperator op, ArithmeticLogic logic, const Surface& a, const Surface& b,
             Surface& out);

  // out = a on a's own grid, keeping a cell (height and intensity) only where `mask` has a
  // valid height at the same world position and nulling every other cell (intensity 0). A mask
  // that keeps nothing yields an all-null surface, not an error. Same checks as Apply.
  void ApplyMask(const Surface& a, const Surface& mask, Surface& out);

  // Fills the 32-bit `result` (layer 0: z32s, layer 1: z8u intensity or none) over `area` in
  // parallel, and returns the smallest and largest valid value (2147483647 and -2147483648 when
  // no cell is valid). The result does not depend on the number of tasks.
  std::tuple<int, int> ProcessData(ArithmeticOperator op, ArithmeticLogic logic, const Surface& a,
                                   const Surface& b, const Surface& result,
                                   const ArithmeticArea& area);

  // One row: `length` cells of a and b (a null row pointer reads as all null) into the 32-bit
  // row `out`; intensities are combined when `outIntensity` is not null (a null input intensity
  // row then reads as zeros). `minimum` and `maximum` are widened by every valid result.
  // The z offsets and scale come from a and b; b's heights are read with a's z scale.
  static void ProcessRow(ArithmeticOperator op, ArithmeticLogic logic, const Surface& a,
                         const Surface& b, const int16_t* rowA, const int16_t* rowB,
                         const uint8_t* intensityA, const uint8_t* intensityB, int length,
                         int& minimum, int& maximum, int32_t* out, uint8_t* outIntensity);

  // The covered area for inputs of columnsA x rowsA cells at offsetA and columnsB x rowsB at
  // offsetB, on the grid spacing `scale` (x, y). Each input spans [offset, offset + cells x
  // scale) per axis; And takes the larger start and the smaller end, Or the smaller start and
  // the larger end. The result has round(span / scale) cells from the span's start. A cell of
  // an input is inside when its world position lies inside the covered span (within a millionth
  // of a cell, so that offsets that are whole cells apart but carry rounding noise still
  // line up); it lands on the result's cell nearest to it (a tie goes to the higher index).
  static ArithmeticArea getBoundaries(ArithmeticLogic logic, zPoint64f scale, zPoint64f offsetA,
                                      zPoint64f offsetB, zSize columnsA, zSize rowsA,
                                      zSize columnsB, zSize rowsB);

  // The 32-bit result (heights relative to its z offset, -2147483648 null) as z16s heights,
  // given its smallest and largest valid value. The z offset moves by the fewest whole steps
  // that bring [minimum, maximum] into -32767..32767, so results that already fit keep their
  // offset. A range wider than 65534 steps cannot fit: the offset then moves to the middle of
  // the range and the heights beyond it are clamped to -32767 or 32767. Nulls become -32768.
  // The intensity layer, when present, is shared into the output. A missing layer 0 raises
  // -997, one that is not z32s -984, and minimum > maximum -997.
  Surface ConvertSurface32sTo16s(const Surface& result, int minimum, int maximum);

 private:
  void* allocator_;
  void* threadPool_;
};

}  // namespace Vision
}  // namespace Ro

#endif
