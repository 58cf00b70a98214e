// MatTemplated against the imaging library on data without nulls, and against naive loops that
// apply the null rule on data with nulls.
#include <RoVision/Common/Mat.h>
#include <RoVision/Common/MatOpenCV.h>
#include <gtest/gtest.h>
#include <zApi/zApi.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <random>
#include <type_traits>
#include <vector>

#include "CommonTestSupport.h"
#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using rotest::IsNull;
using rotest::kHasNull;
using rotest::Null;

namespace {

// Random cells: integers within a range the type holds (so float sums stay exact), and nulls at
// the given rate for types that have one.
template <class T>
rv::MatTemplated<T> RandomMat(int rows, int cols, double nullRate, unsigned seed,
                              void* alloc = nullptr) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> value(std::is_unsigned_v<T> ? 0 : -1000,
                                           std::is_same_v<T, z8u> ? 255 : 3000);
  std::bernoulli_distribution null(kHasNull<T> ? nullRate : 0.0);
  auto m = rv::MatTemplated<T>::Create(rows, cols, alloc);
  for (int y = 0; y < rows; ++y)
    for (int x = 0; x < cols; ++x) m.Row(y)[x] = null(rng) ? Null<T>() : T(value(rng));
  return m;
}

template <class T>
std::vector<T> Cells(const rv::MatTemplated<T>& m) {
  std::vector<T> cells;
  for (int y = 0; y < m.Rows(); ++y) cells.insert(cells.end(), m.Row(y), m.Row(y) + m.Cols());
  return cells;
}

template <class T>
std::vector<T> Cells(const cv::Mat& m) {
  std::vector<T> cells;
  for (int y = 0; y < m.rows; ++y) cells.insert(cells.end(), m.ptr<T>(y), m.ptr<T>(y) + m.cols);
  return cells;
}

template <class T>
class MatTyped : public rotest::LeakCheckedTest {};
using MatTypes = ::testing::Types<z8u, z16s, z16u, float, double>;
TYPED_TEST_SUITE(MatTyped, MatTypes);

using MatTest = rotest::LeakCheckedTest;

TEST_F(MatTest, ViewsShareCellsAndCopiesDoNot) {
  Ty::Object<void*> image;
  ASSERT_EQ(zImage_Construct(image.Address(), zTypeOf(z16s), 5, 3, alloc_), zOK);
  static_cast<z16s*>(zImage_Row(image, 2))[4] = 77;
  auto m = rv::Mat16s::FromImage(image);
  EXPECT_EQ(std::pair(m.Rows(), m.Cols()), std::pair(3, 5));
  EXPECT_EQ(static_cast<void*>(m.Row(0)), zImage_Data(image));
  auto crop = m.Crop(3, 1, 2, 2);
  EXPECT_EQ(crop.Row(1)[1], 77);
  crop.Row(0)[0] = 5;  // a view writes through
  EXPECT_EQ(static_cast<z16s*>(zImage_Row(image, 1))[3], 5);

  auto copy = crop.ToArray2(alloc_);
  EXPECT_EQ(rotest::ReadArray2<z16s>(copy), (std::vector<std::vector<z16s>>{{5, 0}, {0, 77}}));
  auto asImage = crop.ToImage(alloc_);
  EXPECT_EQ(zImage_Width(asImage), 2u);
  EXPECT_EQ(static_cast<z16s*>(zImage_Row(asImage, 1))[1], 77);
  image.Reset();  // the view keeps the image alive
  EXPECT_EQ(m.Row(2)[4], 77);
}

#define MAT_FN(name) "Ro::Vision::MatTemplated::" #name

TEST_F(MatTest, BadArgumentsRaise) {
  auto array = rotest::MakeArray2<z8u>(zTypeOf(z8u), {{1, 2, 3}, {4, 5, 6}}, alloc_);
  EXPECT_TY_THROW(rv::Mat8u::FromArray2(nullptr), -997, MAT_FN(FromArray2));
  EXPECT_TY_THROW(rv::Mat16s::FromArray2(array), -984, MAT_FN(FromArray2));
  EXPECT_TY_THROW(rv::Mat16s::FromImage(nullptr), -997, MAT_FN(FromImage));
  auto m = rv::Mat8u::FromArray2(array);
  for (auto [x, y, w, h] : {std::array{-1, 0, 1, 1},
                            {0, -1, 1, 1},
                            {2, 0, 2, 1},
                            {0, 1, 1, 2},
                            {0, 0, 0, 1},
                            {0, 0, 1, 0},
                            {1, 1, INT32_MAX, 1}})
    EXPECT_TY_THROW(m.Crop(x, y, w, h), -997, MAT_FN(Crop));
  EXPECT_EQ(m.Crop(0, 0, 3, 2).Cols(), 3);
  const auto binary = rv::ThresholdType::Binary;
  EXPECT_TY_THROW(m.Erode(rv::MorphShape::Rectangle, 2, 3), -997, MAT_FN(Erode));
  EXPECT_TY_THROW(m.Close(rv::MorphShape::Cross, 3, 0), -997, MAT_FN(Close));
  EXPECT_TY_THROW(m.ThresholdNiblack(3, 4, 0.2, 255, binary), -997, MAT_FN(ThresholdNiblack));
  EXPECT_TY_THROW(m.ThresholdOtsu(255, rv::ThresholdType::Truncate), -997, MAT_FN(ThresholdOtsu));
  EXPECT_TY_THROW(m.Resize(0, 3, rv::Interpolation::Linear), -997, MAT_FN(Resize));
  EXPECT_TY_THROW(m.Rotate(1, 1, 10, false, rv::Interpolation::Area), -997, MAT_FN(Rotate));
  EXPECT_TY_THROW(rv::Mat32f::Create(2, 2, alloc_).ThresholdOtsu(1, binary), -996,
                  MAT_FN(ThresholdOtsu));
  EXPECT_TY_THROW(rv::Mat16s::Create(-1, 2), -997, MAT_FN(Create));
}

TEST_F(MatTest, FailingAllocationsRaiseThePlatformStatus) {
  auto src = RandomMat<z16s>(20, 30, 0.2, 1);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    src.Open(rv::MorphShape::Ellipse, 5, 3, alloc_);
    src.Resize(13, 41, rv::Interpolation::Linear, alloc_);
    src.Rotate(10, 7, 33, true, rv::Interpolation::Linear, alloc_).ToImage(alloc_);
  });
}

// ---- thresholds

const rv::ThresholdType kAllThresholds[] = {  // in the order of the library's constants
    rv::ThresholdType::Binary, rv::ThresholdType::BinaryInverse, rv::ThresholdType::Truncate,
    rv::ThresholdType::ToZero, rv::ThresholdType::ToZeroInverse};

template <class T>
T NaiveThreshold(T v, T t, T m, rv::ThresholdType type) {
  const bool above = v > t;  // in the order of the types
  const T results[] = {above ? m : T(0), above ? T(0) : m, above ? t : v, above ? v : T(0),
                       above ? T(0) : v};
  return IsNull(v) ? v : results[int(type)];
}

TYPED_TEST(MatTyped, ThresholdEqualsTheLibraryAndKeepsNulls) {
  using T = TypeParam;
  auto clean = RandomMat<T>(37, 53, 0.0, 2, this->alloc_);
  auto nulls = RandomMat<T>(29, 41, 0.3, 3, this->alloc_);
  for (int i = 0; i < 5; ++i) {
    cv::Mat expected;
    cv::threshold(rv::AsCvMat(clean), expected, 100, 200, i);
    EXPECT_EQ(Cells(clean.Threshold(100, 200, kAllThresholds[i], this->alloc_)), Cells<T>(expected))
        << "type " << i;
    std::vector<T> naive = Cells(nulls);
    for (T& v : naive) v = NaiveThreshold<T>(v, 100, 200, kAllThresholds[i]);
    EXPECT_EQ(Cells(nulls.Threshold(100, 200, kAllThresholds[i], this->alloc_)), naive) << i;
  }
}

TEST_F(MatTest, OtsuEqualsTheLibraryFor8And16BitCells) {
  double level = 0;
  auto src8 = RandomMat<z8u>(64, 80, 0.0, 4, alloc_);
  auto out8 = src8.ThresholdOtsu(255, rv::ThresholdType::BinaryInverse, &level, alloc_);
  cv::Mat expected;
  EXPECT_EQ(level, cv::threshold(rv::AsCvMat(src8), expected, 0, 255,
                                 cv::THRESH_BINARY_INV | cv::THRESH_OTSU));
  EXPECT_EQ(Cells(out8), Cells<z8u>(expected));

  auto src16 = RandomMat<z16u>(64, 80, 0.0, 5, alloc_);
  auto out16 = src16.ThresholdOtsu(1000, rv::ThresholdType::Binary, &level, alloc_);
  EXPECT_EQ(level, cv::threshold(rv::AsCvMat(src16), expected, 0, 1000,
                                 cv::THRESH_BINARY | cv::THRESH_OTSU));
  EXPECT_EQ(Cells(out16), Cells<z16u>(expected));
}

TEST_F(MatTest, OtsuOfSignedHeightsSkipsNulls) {
  auto src = RandomMat<z16s>(50, 60, 0.25, 6, alloc_);
  // Reference: the library's 16-bit Otsu over the valid values only, shifted to unsigned.
  std::vector<z16u> valid;
  for (z16s v : Cells(src))
    if (v != -32768) valid.push_back(z16u(v + 32768));
  cv::Mat row(1, int(valid.size()), CV_16U, valid.data()), ignored;
  const double expectedLevel =
      cv::threshold(row, ignored, 0, 1, cv::THRESH_BINARY | cv::THRESH_OTSU) - 32768;
  double level = 0;
  auto out = src.ThresholdOtsu(7, rv::ThresholdType::Binary, &level, alloc_);
  EXPECT_EQ(level, expectedLevel);
  std::vector<z16s> expected = Cells(src);
  for (z16s& v : expected) v = NaiveThreshold<z16s>(v, z16s(level), 7, rv::ThresholdType::Binary);
  EXPECT_EQ(Cells(out), expected);
}

TEST_F(MatTest, SixteenBitOtsuSplitsModesThatShareAnEightBitBin) {
  // Two modes at 1060 and 1240 (spread 5) lie in the 8-bit bin 4 (1024..1279) of the rendering
  // v / 256.
  auto src = rv::Mat16u::Create(40, 50, alloc_);
  std::mt19937 rng(7);
  std::normal_distribution<double> noise(0, 5);
  int lowerTop = 0, upperBottom = 65535;
  cv::Mat eightBit(40, 50, CV_8U), binary8;
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 50; ++x) {
      const double v = std::clamp((x < 25 ? 1060 : 1240) + noise(rng), 1024.0, 1279.0);
      const z16u cell = src.Row(y)[x] = z16u(std::lround(v));
      if (x < 25)
        lowerTop = std::max<int>(lowerTop, cell);
      else
        upperBottom = std::min<int>(upperBottom, cell);
      eightBit.at<uchar>(y, x) = uchar(cell >> 8);
    }
  }
  double level = 0;
  auto out = src.ThresholdOtsu(1, rv::ThresholdType::Binary, &level, alloc_);
  // Every level in the gap splits alike; the first is taken.
  EXPECT_EQ(level, lowerTop);
  EXPECT_LT(level, upperBottom);
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 50; ++x) ASSERT_EQ(out.Row(y)[x], x < 25 ? 0 : 1);
  cv::threshold(eightBit, binary8, 0, 1, cv::THRESH_BINARY | cv::THRESH_OTSU);
  EXPECT_EQ(cv::countNonZero(binary8 != binary8.at<uchar>(0, 0)), 0)
      << "the 8-bit Otsu cannot tell the modes apart";
}

template <class T>
std::vector<T> NaiveNiblack(const rv::MatTemplated<T>& src, int w, int h, double k, T on) {
  std::vector<T> out;
  for (int y = 0; y < src.Rows(); ++y) {
    for (int x = 0; x < src.Cols(); ++x) {
      const T v = src.Row(y)[x];
      double sum = 0, sq = 0, n = 0;
      for (int yy = std::max(0, y - h / 2); yy <= std::min(src.Rows() - 1, y + h / 2); ++yy) {
        for (int xx = std::max(0, x - w / 2); xx <= std::min(src.Cols() - 1, x + w / 2); ++xx) {
          const T c = src.Row(yy)[xx];
          if (!IsNull(c)) sum += double(c), sq += double(c) * double(c), ++n;
        }
      }
      const double mean = sum / n;
      const double sd = std::sqrt(std::max(0.0, sq / n - mean * mean));
      out.push_back(IsNull(v) ? v : double(v) > mean + k * sd ? on : T(0));
    }
  }
  return out;
}

TYPED_TEST(MatTyped, NiblackEqualsANaiveWindowLoop) {
  using T = TypeParam;
  // 150 rows span several row blocks; integer cells keep the double sums exact.
  for (double nullRate : {0.0, 0.3}) {
    auto src = RandomMat<T>(150, 47, nullRate, 8, this->alloc_);
    auto out = src.ThresholdNiblack(7, 5, -0.3, 255, rv::ThresholdType::Binary, this->alloc_);
    EXPECT_EQ(Cells(out), NaiveNiblack(src, 7, 5, -0.3, T(255))) << "null rate " << nullRate;
  }
}

// ---- morphology

// In the order of the library's element constants (rectangle 0, cross 1, ellipse 2).
const rv::MorphShape kShapes[] = {rv::MorphShape::Rectangle, rv::MorphShape::Cross,
                                  rv::MorphShape::Ellipse};
const std::pair<int, int> kSizes[] = {{1, 1}, {3, 3}, {5, 3}, {7, 9}};

// The operation of the library's constant `op` (erode 0, dilate 1, open 2, close 3).
template <class T>
rv::MatTemplated<T> Morph(const rv::MatTemplated<T>& m, int op, int shape, int w, int h,
                          void* alloc) {
  using M = rv::MatTemplated<T>;
  const auto member = std::array{&M::Erode, &M::Dilate, &M::Open, &M::Close}[op];
  return (m.*member)(kShapes[shape], w, h, alloc);
}

// Minimum or maximum over the element's valid cells inside the image; null cells stay null.
template <class T>
rv::MatTemplated<T> NaiveMinMax(const rv::MatTemplated<T>& src, const cv::Mat& element,
                                bool erode) {
  auto out = rv::MatTemplated<T>::Create(src.Rows(), src.Cols());
  const int ax = element.cols / 2, ay = element.rows / 2;
  for (int y = 0; y < src.Rows(); ++y) {
    for (int x = 0; x < src.Cols(); ++x) {
      T best = src.Row(y)[x];
      for (int j = 0; j < element.rows && !IsNull(best); ++j) {
        for (int i = 0; i < element.cols; ++i) {
          const int yy = y + j - ay, xx = x + i - ax;
          if (!element.at<uchar>(j, i) || yy < 0 || xx < 0 || yy >= src.Rows() || xx >= src.Cols())
            continue;
          const T c = src.Row(yy)[xx];
          if (!IsNull(c)) best = erode ? std::min(best, c) : std::max(best, c);
        }
      }
      out.Row(y)[x] = best;
    }
  }
  return out;
}

template <class T>
rv::MatTemplated<T> NaiveMorph(const rv::MatTemplated<T>& src, const cv::Mat& element, int op) {
  const bool erodeFirst = op == cv::MORPH_ERODE || op == cv::MORPH_OPEN;
  auto once = NaiveMinMax(src, element, erodeFirst);
  return op < cv::MORPH_OPEN ? once : NaiveMinMax(once, element, !erodeFirst);
}

TYPED_TEST(MatTyped, MorphologyEqualsTheLibraryAndTreatsNullsAsAbsent) {
  using T = TypeParam;
  auto clean = RandomMat<T>(31, 43, 0.0, 9, this->alloc_);
  auto nulls = RandomMat<T>(27, 39, 0.35, 10, this->alloc_);
  if constexpr (kHasNull<T>) {
    nulls.Row(0)[0] = T(32767);  // the largest z16s height must survive an erosion next to nulls
    nulls.Row(0)[1] = nulls.Row(1)[0] = Null<T>();
  }
  for (int s = 0; s < 3; ++s) {
    for (auto [w, h] : kSizes) {
      const cv::Mat element = cv::getStructuringElement(s, cv::Size(w, h));
      for (int op = cv::MORPH_ERODE; op <= cv::MORPH_CLOSE; ++op) {
        SCOPED_TRACE(::testing::Message() << "shape " << s << " " << w << "x" << h << " op " << op);
        cv::Mat expected;
        cv::morphologyEx(rv::AsCvMat(clean), expected, op, element);
        EXPECT_EQ(Cells(Morph(clean, op, s, w, h, this->alloc_)), Cells<T>(expected));
        EXPECT_EQ(Cells(Morph(nulls, op, s, w, h, this->alloc_)),
                  Cells(NaiveMorph(nulls, element, op)));
      }
    }
  }
}

// ---- resize and rotation

const std::pair<int, int> kResizeSizes[] = {{17, 11}, {60, 45}, {23, 70}, {40, 30}};

// The source cells of one output coordinate under the library's linear resize (half-pixel
// centres, clamped at the borders), with non-zero weight only.
std::vector<int> LinearSources(int d, int srcSize, int dstSize) {
  const double scale = double(srcSize) / dstSize;
  float f = float((d + 0.5) * scale - 0.5);
  int s = int(std::floor(f));
  f -= float(s);
  if (s < 0) f = 0, s = 0;
  if (s >= srcSize - 1) f = 0, s = srcSize - 1;
  return f != 0 ? std::vector<int>{s, s + 1} : std::vector<int>{s};
}

TYPED_TEST(MatTyped, ResizeEqualsTheLibraryAndNullsFollowTheContributingCells) {
  using T = TypeParam;
  auto clean = RandomMat<T>(30, 40, 0.0, 11, this->alloc_);
  auto src = RandomMat<T>(30, 40, 0.05, 12, this->alloc_);
  const rv::Interpolation modes[] = {rv::Interpolation::Nearest, rv::Interpolation::Linear,
                                     rv::Interpolation::Area};
  const int cvModes[] = {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_AREA};
  for (auto [cols, rows] : kResizeSizes) {
    cv::Mat raw;
    for (int i = 0; i < 3; ++i) {
      cv::resize(rv::AsCvMat(clean), raw, cv::Size(cols, rows), 0, 0, cvModes[i]);
      EXPECT_EQ(Cells(clean.Resize(cols, rows, modes[i], this->alloc_)), Cells<T>(raw))
          << cols << "x" << rows << " mode " << i;
    }
    cv::resize(rv::AsCvMat(src), raw, cv::Size(cols, rows), 0, 0, cv::INTER_LINEAR);
    auto out = src.Resize(cols, rows, rv::Interpolation::Linear, this->alloc_);
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < cols; ++x) {
        bool null = false;
        for (int sy : LinearSources(y, 30, rows))
          for (int sx : LinearSources(x, 40, cols)) null |= IsNull(src.Row(sy)[sx]);
        ASSERT_EQ(out.Row(y)[x], null ? Null<T>() : raw.at<T>(y, x)) << x << "," << y;
      }
    }
    cv::resize(rv::AsCvMat(src), raw, cv::Size(cols, rows), 0, 0, cv::INTER_NEAREST);
    EXPECT_EQ(Cells(src.Resize(cols, rows, rv::Interpolation::Nearest, this->alloc_)),
              Cells<T>(raw));
  }
  // Area by an integer factor: each output cell covers a 2 x 2 block.
  cv::Mat raw;
  cv::resize(rv::AsCvMat(src), raw, cv::Size(20, 15), 0, 0, cv::INTER_AREA);
  auto area = src.Resize(20, 15, rv::Interpolation::Area, this->alloc_);
  for (int y = 0; y < 15; ++y) {
    for (int x = 0; x < 20; ++x) {
      bool null = false;
      for (int j = 0; j < 4; ++j) null |= IsNull(src.Row(2 * y + j / 2)[2 * x + j % 2]);
      ASSERT_EQ(area.Row(y)[x], null ? Null<T>() : raw.at<T>(y, x));
    }
  }
}

// The library's affine warp works on coordinates quantised to 1/32 cell: the source cells of
// output (x, y) with non-zero bilinear weight, where (-1, -1) stands for "outside".
std::vector<std::pair<int, int>> WarpSources(const cv::Mat& forward, int x, int y, int cols,
                                             int rows) {
  cv::Mat inverse;
  cv::invertAffineTransform(forward, inverse);
  const double* m = inverse.ptr<double>();
  const int X0 = int(std::lrint((m[1] * y + m[2]) * 1024)) + 16;
  const int Y0 = int(std::lrint((m[4] * y + m[5]) * 1024)) + 16;
  const int X = (X0 + int(std::lrint(m[0] * x * 1024))) >> 5;
  const int Y = (Y0 + int(std::lrint(m[3] * x * 1024))) >> 5;
  const int sx = X >> 5, sy = Y >> 5, fx = X & 31, fy = Y & 31;
  std::vector<std::pair<int, int>> sources;
  for (int j = 0; j <= (fy ? 1 : 0); ++j) {
    for (int i = 0; i <= (fx ? 1 : 0); ++i) {
      const int xx = sx + i, yy = sy + j;
      const bool inside = xx >= 0 && yy >= 0 && xx < cols && yy < rows;
      sources.push_back(inside ? std::make_pair(xx, yy) : std::make_pair(-1, -1));
    }
  }
  return sources;
}

TYPED_TEST(MatTyped, RotateEqualsTheLibraryAndNullsFollowTheContributingCellsAndTheOutside) {
  using T = TypeParam;
  auto clean = RandomMat<T>(30, 40, 0.0, 13, this->alloc_);
  cv::Mat rotation = cv::getRotationMatrix2D(cv::Point2f(12.5f, 9), 27, 1.0);
  cv::Mat expected;
  cv::warpAffine(rv::AsCvMat(clean), expected, rotation, cv::Size(40, 30), cv::INTER_NEAREST,
                 cv::BORDER_CONSTANT, cv::Scalar::all(double(Null<T>())));
  EXPECT_EQ(Cells(clean.Rotate(12.5, 9, 27, false, rv::Interpolation::Nearest, this->alloc_)),
            Cells<T>(expected));
  // A quarter turn with a fitted output is the library's exact 90-degree rotation.
  cv::rotate(rv::AsCvMat(clean), expected, cv::ROTATE_90_COUNTERCLOCKWISE);
  EXPECT_EQ(Cells(clean.Rotate(3, 4, 90, true, rv::Interpolation::Nearest, this->alloc_)),
            Cells<T>(expected));
  if constexpr (!kHasNull<T>) {
    cv::warpAffine(rv::AsCvMat(clean), expected, rotation, cv::Size(40, 30), cv::INTER_LINEAR);
    EXPECT_EQ(Cells(clean.Rotate(12.5, 9, 27, false, rv::Interpolation::Linear, this->alloc_)),
              Cells<T>(expected));
    return;
  }
  auto src = RandomMat<T>(30, 40, 0.05, 14, this->alloc_);
  for (double angle : {0.0, 17.0, -63.5, 180.0}) {
    auto out = src.Rotate(19, 14.5, angle, true, rv::Interpolation::Linear, this->alloc_);
    // The forward transform the rotation used: the fitted box starts at cell 0.
    rotation = cv::getRotationMatrix2D(cv::Point2f(19, 14.5f), angle, 1.0);
    const double* m = rotation.ptr<double>();
    double minX = 1e300, minY = 1e300;
    for (double cx : {0.0, 39.0})
      for (double cy : {0.0, 29.0}) {
        minX = std::min(minX, m[0] * cx + m[1] * cy + m[2]);
        minY = std::min(minY, m[3] * cx + m[4] * cy + m[5]);
      }
    rotation.at<double>(0, 2) -= minX;
    rotation.at<double>(1, 2) -= minY;
    cv::Mat raw;
    cv::warpAffine(rv::AsCvMat(src), raw, rotation, cv::Size(out.Cols(), out.Rows()),
                   cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar::all(double(Null<T>())));
    int valid = 0;
    for (int y = 0; y < out.Rows(); ++y) {
      for (int x = 0; x < out.Cols(); ++x) {
        bool null = false;
        for (auto [sx, sy] : WarpSources(rotation, x, y, 40, 30))
          null |= sx < 0 || IsNull(src.Row(sy)[sx]);
        valid += !null;
        ASSERT_EQ(out.Row(y)[x], null ? Null<T>() : raw.at<T>(y, x))
            << angle << ": " << x << "," << y;
      }
    }
    EXPECT_GT(valid, 500);
  }
}

}  // namespace
