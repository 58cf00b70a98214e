// The matrix's storage: views of platform objects, new matrices, copies back and crops.
#include "Mat.h"

#include <zApi/zArray2.h>
#include <zApi/zImage.h>
#include <zApi/zMem.h>

#include <climits>
#include <cstring>

#include "ElementTypes.h"
#include "MatPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr const char* kFile = "Common/Mat";

// Sizes of the imaging library are ints.
void RequireIntSize(const Site& site, zSize rows, zSize cols) {
  if (rows > zSize(INT_MAX) || cols > zSize(INT_MAX))
    Throw(site, __LINE__, kInvalidArgument, "matrix size exceeds the int range");
}

template <class T>
void CopyCells(const MatTemplated<T>& src, void* (*row)(void*, zSize), void* dst) {
  const zSize bytes = zSize(src.Cols()) * sizeof(T);
  for (int y = 0; y < src.Rows(); ++y) std::memcpy(row(dst, zSize(y)), src.Row(y), bytes);
}

}  // namespace

template <class T>
MatTemplated<T> MatTemplated<T>::FromImage(void* image) {
  const Site site{kFile, "Ro::Vision::MatTemplated::FromImage"};
  if (!image) Throw(site, __LINE__, kInvalidArgument, "image is null");
  if (zImage_PixelType(image) != TypeOf<T>()) Throw(site, __LINE__, kIncompatible);
  const zSize rows = zImage_Height(image), cols = zImage_Width(image);
  RequireIntSize(site, rows, cols);
  return MatAccess::Make(Ty::Object<void*>(image, true), static_cast<T*>(zImage_Data(image)),
                         int(rows), int(cols), zImage_Stride(image));
}

template <class T>
MatTemplated<T> MatTemplated<T>::FromArray2(void* array) {
  const Site site{kFile, "Ro::Vision::MatTemplated::FromArray2"};
  if (!array) Throw(site, __LINE__, kInvalidArgument, "array is null");
  if (zArray2_ItemType(array) != TypeOf<T>()) Throw(site, __LINE__, kIncompatible);
  const zSize rows = zArray2_Rows(array), cols = zArray2_Columns(array);
  RequireIntSize(site, rows, cols);
  return MatAccess::Make(Ty::Object<void*>(array, true), static_cast<T*>(zArray2_Data(array)),
                         int(rows), int(cols), cols * sizeof(T));
}

template <class T>
MatTemplated<T> MatTemplated<T>::Create(int rows, int cols, void* alloc) {
  const Site site{kFile, "Ro::Vision::MatTemplated::Create"};
  if (rows < 0 || cols < 0) Throw(site, __LINE__, kInvalidArgument, "negative matrix size");
  return NewMat<T>(site, rows, cols, alloc);
}

template <class T>
bool MatTemplated<T>::HasNull() const {
  return AnyNullCell(Site{kFile, "Ro::Vision::MatTemplated::HasNull"}, *this);
}

template <class T>
Ty::Object<void*> MatTemplated<T>::ToImage(void* alloc) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::ToImage"};
  Ty::Object<void*> image;
  Check(site, __LINE__,
        zImage_Construct(image.Address(), TypeOf<T>(), zSize(cols_), zSize(rows_),
                         static_cast<zAlloc>(alloc)));
  CopyCells(*this, &zImage_Row, image.Get());
  return image;
}

template <class T>
Ty::Object<void*> MatTemplated<T>::ToArray2(void* alloc) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::ToArray2"};
  Ty::Object<void*> array;
  Check(site, __LINE__,
        zArray2_Construct(array.Address(), TypeOf<T>(), zSize(rows_), zSize(cols_),
                          static_cast<zAlloc>(alloc)));
  CopyCells(*this, &zArray2_Row, array.Get());
  return array;
}

template <class T>
MatTemplated<T> MatTemplated<T>::Crop(int x, int y, int width, int height) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::Crop"};
  // Compared in 64 bits so that x + width cannot overflow.
  if (x < 0 || y < 0 || width < 1 || height < 1 || int64_t(x) + width > cols_ ||
      int64_t(y) + height > rows_)
    Throw(site, __LINE__, kInvalidArgument, "the rectangle does not lie inside the matrix");
  return MatAccess::Make(owner_, Row(y) + x, height, width, stride_);
}

#define RO_INSTANTIATE(T) template class MatTemplated<T>;
RO_FOR_EACH_MAT_TYPE(RO_INSTANTIATE)
#undef RO_INSTANTIATE

}  // namespace Vision
}  // namespace Ro
