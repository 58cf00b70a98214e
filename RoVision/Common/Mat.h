// MatTemplated<T>: a matrix of the imaging library's element types with thresholds, Otsu and
// Niblack binarisation, morphology, crop, resize and rotation, aware of null cells.
//
// Element types: z8u, z16s, z16u, z32f, z64f (other instances do not exist).
//
// Storage. A matrix is a view of rows of cells held by a platform object (a zImage or zArray2):
// FromImage and FromArray2 view the caller's object without a copy (they add a reference to it,
// so it lives as long as the matrix); Crop views a rectangle of the same cells. Every operation
// that computes new cells writes them into a new zArray2 made with the allocator it is given
// (null: the platform's default), which the returned matrix owns. ToImage and ToArray2 always
// copy, into a new object made with the caller's allocator. The imaging library is used inside
// the library only: this header needs no OpenCV (MatOpenCV.h adds a cv::Mat header over a matrix
// for callers that have OpenCV).
//
// Nulls. z16s (-32768), z32f (-FLT_MAX) and z64f (-DBL_MAX) have a null, the value of a cell
// without data; z8u and z16u have none (0 is an intensity or an "off" mask cell like any other).
// The null rule, the same for every operation:
//   - a null cell of the input is a null cell of the output at the same place (thresholds,
//     morphology, Niblack); it never takes part in a statistic or a neighbourhood: thresholds
//     skip it, morphology treats it as a cell outside the image (it is never the minimum or
//     maximum of a neighbourhood), Otsu's histogram and Niblack's window sums count valid cells
//     only;
//   - an interpolated cell (Resize, Rotate with Linear or Area) is null when any input cell with a
//     non-zero interpolation weight is null, and for Rotate also when such a cell lies outside
//     the input; Nearest copies cells as they are, nulls included, and fills the outside with
//     null.
// On data without nulls every operation gives the bits of the imaging library's call it stands
// on.
//
// Failures raise Ty::Exception (file "Common/Mat", function "Ro::Vision::MatTemplated::<name>"):
// -997 for a bad argument (negative or even window, rectangle outside the matrix, empty matrix
// where cells are needed), -984 for a platform object of another element type, -996 for an
// operation that the element type has no path for (Otsu on z32f/z64f); a failing allocation
// raises the platform's status.
#ifndef ROVISION_COMMON_MAT_H
#define ROVISION_COMMON_MAT_H

#include <TyApi/TyObject.h>
#include <zApi/zDefs.h>

#include "Export.h"

namespace Ro {
namespace Vision {

// The meanings of the imaging library's thresholds, with t the threshold and m the maximum value:
// Binary: v > t ? m : 0; BinaryInverse: v > t ? 0 : m; Truncate: v > t ? t : v;
// ToZero: v > t ? v : 0; ToZeroInverse: v > t ? 0 : v.
enum class ThresholdType { Binary, BinaryInverse, Truncate, ToZero, ToZeroInverse };

// Structuring elements of the imaging library, any odd width and height.
enum class MorphShape { Rectangle, Ellipse, Cross };

enum class Interpolation { Nearest, Linear, Area };

template <class T>
class RO_API MatTemplated {
 public:
  // An empty matrix (0 x 0).
  MatTemplated() = default;

  // Views of a caller's zImage or zArray2 of element type T, without a copy; -997 for a null
  // handle, -984 for another element type.
  static MatTemplated FromImage(void* image);
  static MatTemplated FromArray2(void* array);
  // A new zero-filled matrix owned by the result; -997 for a negative size.
  static MatTemplated Create(int rows, int cols, void* alloc = nullptr);

  int Rows() const { return rows_; }
  int Cols() const { return cols_; }
  bool Empty() const { return rows_ == 0 || cols_ == 0; }
  // Bytes from one row to the next.
  zSize Stride() const { return stride_; }
  T* Row(int row) const {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(data_) + row * stride_);
  }
  // The platform object that holds the cells (borrowed).
  void* Owner() const { return owner_.Get(); }
  // True when some cell is null (always false for z8u and z16u).
  bool HasNull() const;

  // Copies into a new zImage or zArray2 of element type T made with `alloc`.
  Ty::Object<void*> ToImage(void* alloc = nullptr) const;
  Ty::Object<void*> ToArray2(void* alloc = nullptr) const;

  MatTemplated Threshold(double threshold, double maxValue, ThresholdType type,
                         void* alloc = nullptr) const;
  // Binary or BinaryInverse at the level that maximises the between-class variance of the
  // valid cells (Otsu), over 256 bins for z8u and over all 65536 values for z16s and z16u (not
  // over an 8-bit rendering). Cells v <= level form the lower class. The level is written to
  // `level` when it is not null. -996 for z32f and z64f, -997 for another type or no valid cell.
  MatTemplated ThresholdOtsu(double maxValue, ThresholdType type, double* level = nullptr,
                             void* alloc = nullptr) const;
  // Binary or BinaryInverse against the local level mean + k x standard deviation of the
  // windowWidth x windowHeight window (odd sizes) centred on each cell; the window is clipped at
  // the borders and counts valid cells only. Standard deviation of the population (divided by
  // the count), from box sums of x and x squared (exact 64-bit integer sums for integer types).
  MatTemplated ThresholdNiblack(int windowWidth, int windowHeight, double k, double maxValue,
                                ThresholdType type, void* alloc = nullptr) const;

  // Minimum (Erode) or maximum (Dilate) over the structuring element centred on each cell;
  // cells outside the image and null cells are absent. Open is Erode then Dilate, Close is
  // Dilate then Erode. -997 for an even or non-positive size.
  MatTemplated Erode(MorphShape shape, int width, int height, void* alloc = nullptr) const;
  MatTemplated Dilate(MorphShape shape, int width, int height, void* alloc = nullptr) const;
  MatTemplated Open(MorphShape shape, int width, int height, void* alloc = nullptr) const;
  MatTemplated Close(MorphShape shape, int width, int height, void* alloc = nullptr) const;

  // A view of the width x height rectangle whose top-left cell is (x, y); -997 when it does not
  // lie inside the matrix or is empty.
  MatTemplated Crop(int x, int y, int width, int height) const;
  // The imaging library's resize to cols x rows (half-pixel centres); -997 for a size below 1.
  MatTemplated Resize(int cols, int rows, Interpolation interpolation, void* alloc = nullptr) const;
  // Rotation by `angle` degrees (counter-clockwise on screen, as the imaging library turns)
  // about the point (centerX, centerY) in cell units. With fit false the output has the input's
  // size; with fit true it is enlarged or shrunk to hold the whole rotated input, shifted so that
  // the rotated input's bounding box starts at cell 0. Outside cells are 0 for z8u and z16u and
  // null for the other types. Area is not a rotation mode: -997.
  MatTemplated Rotate(double centerX, double centerY, double angle, bool fit,
                      Interpolation interpolation, void* alloc = nullptr) const;

 private:
  friend struct MatAccess;
  Ty::Object<void*> owner_;
  T* data_ = nullptr;
  int rows_ = 0;
  int cols_ = 0;
  zSize stride_ = 0;
};

extern template class MatTemplated<z8u>;
extern template class MatTemplated<z16s>;
extern template class MatTemplated<z16u>;
extern template class MatTemplated<z32f>;
extern template class MatTemplated<z64f>;

using Mat8u = MatTemplated<z8u>;
using Mat16s = MatTemplated<z16s>;
using Mat16u = MatTemplated<z16u>;
using Mat32f = MatTemplated<z32f>;
using Mat64f = MatTemplated<z64f>;

}  // namespace Vision
}  // namespace Ro

#endif
