// Morphology of the matrix: erosion, dilation, opening and closing with the imaging library's
// structuring elements, null cells absent.
#include <opencv2/imgproc.hpp>

#include <limits>

#include "MatPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr const char* kFile = "Common/Mat";

cv::Mat Element(const Site& site, MorphShape shape, int width, int height) {
  if (width < 1 || height < 1 || width % 2 == 0 || height % 2 == 0)
    Throw(site, __LINE__, kInvalidArgument, "element sizes must be odd and positive");
  int cvShape = cv::MORPH_RECT;
  switch (shape) {
    case MorphShape::Rectangle:
      break;
    case MorphShape::Ellipse:
      cvShape = cv::MORPH_ELLIPSE;
      break;
    case MorphShape::Cross:
      cvShape = cv::MORPH_CROSS;
      break;
    default:
      Throw(site, __LINE__, kInvalidArgument, "unknown element shape");
  }
  return cv::getStructuringElement(cvShape, cv::Size(width, height));
}

// The value that stands for "absent" in a minimum (erode) or a maximum (dilate): never chosen
// over a valid cell.
template <class T>
T Absent(bool erode) {
  if constexpr (std::numeric_limits<T>::has_infinity) {
    return erode ? std::numeric_limits<T>::infinity() : -std::numeric_limits<T>::infinity();
  } else {
    return erode ? std::numeric_limits<T>::max() : std::numeric_limits<T>::lowest();
  }
}

// One imaging-library morphology call (cvOp: MORPH_ERODE, _DILATE, _OPEN, _CLOSE) into a new
// matrix.
template <class T>
MatTemplated<T> CvMorphology(const Site& site, const MatTemplated<T>& src, int cvOp,
                             const cv::Mat& element, void* alloc) {
  MatTemplated<T> out = NewOutputMat<T>(site, src.Rows(), src.Cols(), alloc);
  if (out.Empty()) return out;
  cv::Mat dst = CvHeader(out);
  CvCall(site, __LINE__, [&] { cv::morphologyEx(CvHeader(src), dst, cvOp, element); });
  RequireSameBuffer(site, dst, out.Row(0));
  return out;
}

// Erosion or dilation of a matrix with nulls: nulls become a value that the minimum or maximum
// never picks over a valid cell (every valid cell is in its own neighbourhood), then the nulls
// are put back.
template <class T>
MatTemplated<T> NullAwareMinMax(const Site& site, const MatTemplated<T>& src, bool erode,
                                const cv::Mat& element, void* alloc) {
  const T absent = Absent<T>(erode);
  MatTemplated<T> out;
  if (absent == MatNull<T>::kValue) {
    // The null already loses every maximum (z16s dilation).
    out = CvMorphology(site, src, cv::MORPH_DILATE, element, alloc);
  } else {
    MatTemplated<T> replaced = NewOutputMat<T>(site, src.Rows(), src.Cols(), alloc);
    ForRows(site, src.Rows(), [&](int begin, int end) {
      for (int y = begin; y < end; ++y) {
        const T* s = src.Row(y);
        T* d = replaced.Row(y);
        for (int x = 0; x < src.Cols(); ++x) d[x] = IsNullCell(s[x]) ? absent : s[x];
      }
    });
    out = CvMorphology(site, replaced, erode ? cv::MORPH_ERODE : cv::MORPH_DILATE, element, alloc);
  }
  CopyNulls(site, src, out);
  return out;
}

template <class T>
MatTemplated<T> Morphology(const char* function, const MatTemplated<T>& src, int cvOp,
                           MorphShape shape, int width, int height, void* alloc) {
  const Site site{kFile, function};
  const cv::Mat element = Element(site, shape, width, height);
  if (!AnyNullCell(site, src)) return CvMorphology(site, src, cvOp, element, alloc);
  switch (cvOp) {
    case cv::MORPH_ERODE:
      return NullAwareMinMax(site, src, true, element, alloc);
    case cv::MORPH_DILATE:
      return NullAwareMinMax(site, src, false, element, alloc);
    case cv::MORPH_OPEN:
      return NullAwareMinMax(site, NullAwareMinMax(site, src, true, element, alloc), false, element,
                             alloc);
    default:
      return NullAwareMinMax(site, NullAwareMinMax(site, src, false, element, alloc), true, element,
                             alloc);
  }
}

}  // namespace

template <class T>
MatTemplated<T> MatTemplated<T>::Erode(MorphShape shape, int width, int height, void* alloc) const {
  return Morphology("Ro::Vision::MatTemplated::Erode", *this, cv::MORPH_ERODE, shape, width, height,
                    alloc);
}

template <class T>
MatTemplated<T> MatTemplated<T>::Dilate(MorphShape shape, int width, int height,
                                        void* alloc) const {
  return Morphology("Ro::Vision::MatTemplated::Dilate", *this, cv::MORPH_DILATE, shape, width,
                    height, alloc);
}

template <class T>
MatTemplated<T> MatTemplated<T>::Open(MorphShape shape, int width, int height, void* alloc) const {
  return Morphology("Ro::Vision::MatTemplated::Open", *this, cv::MORPH_OPEN, shape, width, height,
                    alloc);
}

template <class T>
MatTemplated<T> MatTemplated<T>::Close(MorphShape shape, int width, int height, void* alloc) const {
  return Morphology("Ro::Vision::MatTemplated::Close", *this, cv::MORPH_CLOSE, shape, width, height,
                    alloc);
}

#define RO_INSTANTIATE(T)                                                              \
  template MatTemplated<T> MatTemplated<T>::Erode(MorphShape, int, int, void*) const;  \
  template MatTemplated<T> MatTemplated<T>::Dilate(MorphShape, int, int, void*) const; \
  template MatTemplated<T> MatTemplated<T>::Open(MorphShape, int, int, void*) const;   \
  template MatTemplated<T> MatTemplated<T>::Close(MorphShape, int, int, void*) const;
RO_FOR_EACH_MAT_TYPE(RO_INSTANTIATE)
#undef RO_INSTANTIATE

}  // namespace Vision
}  // namespace Ro
