// Thresholds of the matrix: fixed, Otsu and Niblack.
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#include "MatPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr const char* kFile = "Common/Mat";

int CvThresholdType(const Site& site, ThresholdType type) {
  switch (type) {
    case ThresholdType::Binary:
      return cv::THRESH_BINARY;
    case ThresholdType::BinaryInverse:
      return cv::THRESH_BINARY_INV;
    case ThresholdType::Truncate:
      return cv::THRESH_TRUNC;
    case ThresholdType::ToZero:
      return cv::THRESH_TOZERO;
    case ThresholdType::ToZeroInverse:
      return cv::THRESH_TOZERO_INV;
  }
  Throw(site, __LINE__, kInvalidArgument, "unknown threshold type");
}

void RequireBinaryType(const Site& site, ThresholdType type) {
  if (type != ThresholdType::Binary && type != ThresholdType::BinaryInverse)
    Throw(site, __LINE__, kInvalidArgument, "type must be Binary or BinaryInverse");
}

// dst = threshold(src) by the imaging library, then nulls of src copied into dst.
template <class T>
MatTemplated<T> ApplyThreshold(const Site& site, const MatTemplated<T>& src, double threshold,
                               double maxValue, int cvType, void* alloc) {
  MatTemplated<T> out = NewOutputMat<T>(site, src.Rows(), src.Cols(), alloc);
  if (out.Empty()) return out;
  cv::Mat dst = CvHeader(out);
  CvCall(site, __LINE__, [&] { cv::threshold(CvHeader(src), dst, threshold, maxValue, cvType); });
  RequireSameBuffer(site, dst, out.Row(0));
  if (AnyNullCell(site, src)) CopyNulls(site, src, out);
  return out;
}

// Otsu's level over a histogram: the bin i that maximises the between-class variance of
// {bins <= i} and {bins > i}, the first one on ties. The same arithmetic as the imaging library's
// 8-bit Otsu, so that both agree where both apply.
int OtsuLevel(const std::vector<uint64_t>& histogram) {
  double total = 0, mu = 0;
  for (size_t i = 0; i < histogram.size(); ++i) {
    total += double(histogram[i]);
    mu += double(i) * double(histogram[i]);
  }
  const double scale = 1.0 / total;
  mu *= scale;
  double mu1 = 0, q1 = 0, maxSigma = 0;
  int level = 0;
  for (size_t i = 0; i < histogram.size(); ++i) {
    const double p = double(histogram[i]) * scale;
    mu1 *= q1;
    q1 += p;
    const double q2 = 1.0 - q1;
    if (std::min(q1, q2) < FLT_EPSILON || std::max(q1, q2) > 1.0 - FLT_EPSILON) continue;
    mu1 = (mu1 + double(i) * p) / q1;
    const double mu2 = (mu - q1 * mu1) / q2;
    const double sigma = q1 * q2 * (mu1 - mu2) * (mu1 - mu2);
    if (sigma > maxSigma) {
      maxSigma = sigma;
      level = int(i);
    }
  }
  return level;
}

// The histogram of the valid 16-bit values, bin = value - lowest value of the type.
template <class T>
std::vector<uint64_t> Histogram16(const MatTemplated<T>& m, uint64_t* validCount) {
  constexpr int kOffset = -int(std::numeric_limits<T>::min());
  std::vector<uint64_t> histogram(65536, 0);
  for (int y = 0; y < m.Rows(); ++y) {
    const T* row = m.Row(y);
    for (int x = 0; x < m.Cols(); ++x) ++histogram[size_t(int(row[x]) + kOffset)];
  }
  if constexpr (MatNull<T>::kHas) histogram[size_t(int(MatNull<T>::kValue) + kOffset)] = 0;
  *validCount = 0;
  for (uint64_t c : histogram) *validCount += c;
  return histogram;
}

// Running sums of one window: exact 64-bit integers for integer types, doubles for floats.
template <class T>
using SumType = std::conditional_t<std::is_integral_v<T>, int64_t, double>;

// Niblack on rows [begin, end): column sums over the window's rows, kept while sliding down and
// recomputed at `begin` so that the result does not depend on how rows are split among tasks
// (float sums would otherwise round differently).
template <class T>
void NiblackRows(const MatTemplated<T>& src, const MatTemplated<T>& dst, int halfW, int halfH,
                 double k, T high, T low, int begin, int end) {
  using S = SumType<T>;
  const int rows = src.Rows(), cols = src.Cols();
  std::vector<S> colSum(size_t(cols), 0), colSq(size_t(cols), 0);
  std::vector<int64_t> colCount(size_t(cols), 0);
  auto addRow = [&](int y, int sign) {
    const T* row = src.Row(y);
    for (int x = 0; x < cols; ++x) {
      if (IsNullCell(row[x])) continue;
      const S v = S(row[x]);
      colSum[size_t(x)] += sign * v;
      colSq[size_t(x)] += sign * v * v;
      colCount[size_t(x)] += sign;
    }
  };
  for (int y = std::max(0, begin - halfH); y <= std::min(rows - 1, begin + halfH); ++y)
    addRow(y, 1);
  for (int y = begin; y < end; ++y) {
    if (y > begin) {
      if (y - halfH - 1 >= 0) addRow(y - halfH - 1, -1);
      if (y + halfH < rows) addRow(y + halfH, 1);
    }
    const T* in = src.Row(y);
    T* out = dst.Row(y);
    S sum = 0, sq = 0;
    int64_t count = 0;
    for (int x = 0; x <= std::min(cols - 1, halfW); ++x) {
      sum += colSum[size_t(x)];
      sq += colSq[size_t(x)];
      count += colCount[size_t(x)];
    }
    for (int x = 0; x < cols; ++x) {
      if (x > 0) {
        const int leaving = x - halfW - 1, entering = x + halfW;
        if (leaving >= 0) {
          sum -= colSum[size_t(leaving)];
          sq -= colSq[size_t(leaving)];
          count -= colCount[size_t(leaving)];
        }
        if (entering < cols) {
          sum += colSum[size_t(entering)];
          sq += colSq[size_t(entering)];
          count += colCount[size_t(entering)];
        }
      }
      if (IsNullCell(in[x])) {
        out[x] = in[x];
        continue;
      }
      const double mean = double(sum) / double(count);
      const double variance = std::max(0.0, double(sq) / double(count) - mean * mean);
      out[x] = double(in[x]) > mean + k * std::sqrt(variance) ? high : low;
    }
  }
}

// Rows handed to one task at a time: the sums restart at each block's first row.
constexpr int kNiblackBlock = 64;

}  // namespace

template <class T>
MatTemplated<T> MatTemplated<T>::Threshold(double threshold, double maxValue, ThresholdType type,
                                           void* alloc) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::Threshold"};
  return ApplyThreshold(site, *this, threshold, maxValue, CvThresholdType(site, type), alloc);
}

template <class T>
MatTemplated<T> MatTemplated<T>::ThresholdOtsu(double maxValue, ThresholdType type, double* level,
                                               void* alloc) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::ThresholdOtsu"};
  RequireBinaryType(site, type);
  const int cvType = CvThresholdType(site, type);
  if constexpr (std::is_same_v<T, z8u>) {
    if (Empty()) Throw(site, __LINE__, kInvalidArgument, "no valid cell");
    MatTemplated<T> out = NewOutputMat<T>(site, rows_, cols_, alloc);
    cv::Mat dst = CvHeader(out);
    double found = 0;
    CvCall(site, __LINE__, [&] {
      found = cv::threshold(CvHeader(*this), dst, 0, maxValue, cvType | cv::THRESH_OTSU);
    });
    RequireSameBuffer(site, dst, out.Row(0));
    if (level) *level = found;
    return out;
  } else if constexpr (std::is_same_v<T, z16s> || std::is_same_v<T, z16u>) {
    uint64_t valid = 0;
    const std::vector<uint64_t> histogram = Histogram16(*this, &valid);
    if (valid == 0) Throw(site, __LINE__, kInvalidArgument, "no valid cell");
    const double found = double(OtsuLevel(histogram) + int(std::numeric_limits<T>::min()));
    if (level) *level = found;
    return ApplyThreshold(site, *this, found, maxValue, cvType, alloc);
  } else {
    (void)maxValue, (void)level, (void)alloc, (void)cvType;
    Throw(site, __LINE__, kNotSupported, "Otsu needs 8-bit or 16-bit cells");
  }
}

template <class T>
MatTemplated<T> MatTemplated<T>::ThresholdNiblack(int windowWidth, int windowHeight, double k,
                                                  double maxValue, ThresholdType type,
                                                  void* alloc) const {
  const Site site{kFile, "Ro::Vision::MatTemplated::ThresholdNiblack"};
  RequireBinaryType(site, type);
  if (windowWidth < 1 || windowHeight < 1 || windowWidth % 2 == 0 || windowHeight % 2 == 0)
    Throw(site, __LINE__, kInvalidArgument, "window sizes must be odd and positive");
  MatTemplated<T> out = NewOutputMat<T>(site, rows_, cols_, alloc);
  const T on = cv::saturate_cast<T>(maxValue);
  const T high = type == ThresholdType::Binary ? on : T(0);
  const T low = type == ThresholdType::Binary ? T(0) : on;
  const int blocks = (rows_ + kNiblackBlock - 1) / kNiblackBlock;
  ForRows(site, blocks, [&](int firstBlock, int endBlock) {
    for (int b = firstBlock; b < endBlock; ++b) {
      NiblackRows(*this, out, windowWidth / 2, windowHeight / 2, k, high, low, b * kNiblackBlock,
                  std::min(rows_, (b + 1) * kNiblackBlock));
    }
  });
  return out;
}

#define RO_INSTANTIATE(T)                                                                          \
  template MatTemplated<T> MatTemplated<T>::Threshold(double, double, ThresholdType, void*) const; \
  template MatTemplated<T> MatTemplated<T>::ThresholdOtsu(double, ThresholdType, double*, void*)   \
      const;                                                                                       \
  template MatTemplated<T> MatTemplated<T>::ThresholdNiblack(int, int, double, double,             \
                                                             ThresholdType, void*) const;
RO_FOR_EACH_MAT_TYPE(RO_INSTANTIATE)
#undef RO_INSTANTIATE

}  // namespace Vision
}  // namespace Ro
