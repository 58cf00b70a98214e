// A cv::Mat header over a MatTemplated, for callers that use OpenCV themselves. This header needs
// OpenCV's core module on the include path; the library's other headers do not. The header
// shares the matrix's cells (no copy) and is valid while the matrix (or another holder of its
// platform object) lives.
#ifndef ROVISION_COMMON_MATOPENCV_H
#define ROVISION_COMMON_MATOPENCV_H

#include <opencv2/core.hpp>

#include "Mat.h"

namespace Ro {
namespace Vision {

template <class T>
cv::Mat AsCvMat(const MatTemplated<T>& m) {
  if (m.Empty()) return cv::Mat(m.Rows(), m.Cols(), cv::DataType<T>::type);
  return cv::Mat(m.Rows(), m.Cols(), cv::DataType<T>::type, m.Row(0), m.Stride());
}

}  // namespace Vision
}  // namespace Ro

#endif
