// Geometry of the matrix: resize and rotation by the imaging library, with the null rule for
// interpolated cells.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

#include "MatPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr const char* kFile = "Common/Mat";

int CvInterpolation(const Site& site, Interpolation interpolation) {
  switch (interpolation) {
    case Interpolation::Nearest:
      return cv::INTER_NEAREST;
    case Interpolation::Linear:
      return cv::INTER_LINEAR;
    case Interpolation::Area:
      return cv::INTER_AREA;
  }
  Throw(site, __LINE__, kInvalidArgument, "unknown interpolation");
}

// 1 where m is null, else 0, as floats: run through the same resize or warp as the cells, a
// result above 0 means that a null cell (or, for a warp, the outside) had a non-zero weight. The
// float path computes the same weights as the cells' path, and no weight is negative, so there is
// no cancellation.
template <class T>
MatTemplated<z32f> NullIndicator(const Site& site, const MatTemplated<T>& m, void* alloc) {
  MatTemplated<z32f> indicator = NewOutputMat<z32f>(site, m.Rows(), m.Cols(), alloc);
  ForRows(site, m.Rows(), [&](int begin, int end) {
    for (int y = begin; y < end; ++y) {
      const T* s = m.Row(y);
      z32f* d = indicator.Row(y);
      for (int x = 0; x < m.Cols(); ++x) d[x] = IsNullCell(s[x]) ? 1.0f : 0.0f;
    }
  });
  return indicator;
}

template <class T>
void NullWhereTouched(const Site& site, const MatTemplated<z32f>& touched,
                      const MatTemplated<T>& out) {
  ForRows(site, out.Rows(), [&](int begin, int end) {
    for (int y = begin; y < end; ++y) {
      const z32f* t = touched.Row(y);
      T* d = out.Row(y);
      for (int x = 0; x < out.Cols(); ++x) d[x] = t[x] > 0.0f ? MatNull<T>::kValue : d[x];
    }
  });
}

template <class T, class F>
MatTemplated<T> CvInto(const Site& site, int rows, int cols, void* alloc, F&& call) {
  MatTemplated<T> out = NewOutputMat<T>(site, rows, cols, alloc);
  cv::Mat dst = CvHeader(out);
  CvCall(site, __LINE__, [&] { call(dst); });
  RequireSameBuffer(site, dst, out.Row(0));
  return out;
}

}  // namespace

template <class T>
MatTemplated<T> MatTemplated<T>::Resize(int cols, int rows, Interpolation interpolation,
                                        void* alloc) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::Resize"};
  if (cols < 1 || rows < 1) Throw(site, __LINE__, kInvalidArgument, "output size below 1");
  if (Empty()) Throw(site, __LINE__, kInvalidArgument, "the matrix is empty");
  const int cvInterpolation = CvInterpolation(site, interpolation);
  const cv::Size size(cols, rows);
  MatTemplated<T> out = CvInto<T>(site, rows, cols, alloc, [&](cv::Mat& dst) {
    cv::resize(CvHeader(*this), dst, size, 0, 0, cvInterpolation);
  });
  if (interpolation != Interpolation::Nearest && AnyNullCell(site, *this)) {
    const MatTemplated<z32f> indicator = NullIndicator(site, *this, alloc);
    const MatTemplated<z32f> touched = CvInto<z32f>(site, rows, cols, alloc, [&](cv::Mat& dst) {
      cv::resize(CvHeader(indicator), dst, size, 0, 0, cvInterpolation);
    });
    NullWhereTouched(site, touched, out);
  }
  return out;
}

template <class T>
MatTemplated<T> MatTemplated<T>::Rotate(double centerX, double centerY, double angle, bool fit,
                                        Interpolation interpolation, void* alloc) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::Rotate"};
  if (Empty()) Throw(site, __LINE__, kInvalidArgument, "the matrix is empty");
  if (interpolation == Interpolation::Area)
    Throw(site, __LINE__, kInvalidArgument, "a rotation interpolates Nearest or Linear");
  if (!std::isfinite(centerX) || !std::isfinite(centerY) || !std::isfinite(angle))
    Throw(site, __LINE__, kInvalidArgument, "centre and angle must be finite");
  cv::Mat rotation =
      cv::getRotationMatrix2D(cv::Point2f(float(centerX), float(centerY)), angle, 1.0);
  cv::Size size(cols_, rows_);
  if (fit) {
    // The bounding box of the rotated cell centres, moved to start at cell 0.
    double minX = HUGE_VAL, minY = HUGE_VAL, maxX = -HUGE_VAL, maxY = -HUGE_VAL;
    const double* m = rotation.ptr<double>();
    for (double cx : {0.0, double(cols_ - 1)}) {
      for (double cy : {0.0, double(rows_ - 1)}) {
        const double x = m[0] * cx + m[1] * cy + m[2], y = m[3] * cx + m[4] * cy + m[5];
        minX = std::min(minX, x), maxX = std::max(maxX, x);
        minY = std::min(minY, y), maxY = std::max(maxY, y);
      }
    }
    // 1e-6 keeps a right angle from growing a cell through rounding of sin and cos.
    size = cv::Size(int(std::ceil(maxX - minX - 1e-6)) + 1, int(std::ceil(maxY - minY - 1e-6)) + 1);
    rotation.at<double>(0, 2) -= minX;
    rotation.at<double>(1, 2) -= minY;
  }
  const int cvInterpolation = CvInterpolation(site, interpolation);
  const double outside = double(MatNull<T>::kValue);
  MatTemplated<T> out = CvInto<T>(site, size.height, size.width, alloc, [&](cv::Mat& dst) {
    cv::warpAffine(CvHeader(*this), dst, rotation, size, cvInterpolation, cv::BORDER_CONSTANT,
                   cv::Scalar::all(outside));
  });
  if (MatNull<T>::kHas && interpolation == Interpolation::Linear) {
    // The outside is null too, so this runs even when no cell is null.
    const MatTemplated<z32f> indicator = NullIndicator(site, *this, alloc);
    const MatTemplated<z32f> touched =
        CvInto<z32f>(site, size.height, size.width, alloc, [&](cv::Mat& dst) {
          cv::warpAffine(CvHeader(indicator), dst, rotation, size, cvInterpolation,
                         cv::BORDER_CONSTANT, cv::Scalar::all(1.0));
        });
    NullWhereTouched(site, touched, out);
  }
  return out;
}

#define RO_INSTANTIATE(T)                                                                       \
  template MatTemplated<T> MatTemplated<T>::Resize(int, int, Interpolation, void*) const;       \
  template MatTemplated<T> MatTemplated<T>::Rotate(double, double, double, bool, Interpolation, \
                                                   void*) const;
RO_FOR_EACH_MAT_TYPE(RO_INSTANTIATE)
#undef RO_INSTANTIATE

}  // namespace Vision
}  // namespace Ro
