#include <RoVision/Filter/PadArray.h>
#include <RoVision/Filter/SmoothArray.h>

#include <cfloat>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <random>

#include "FilterTestSupport.h"

namespace {

using Ro::Vision::PadArray2;
using Ro::Vision::PadMode;
using Ro::Vision::Point2d;
using Ro::Vision::SmoothFullArray2;
using Ro::Vision::SmoothKind;
constexpr char kPad[] = "Ro::Vision::PadArray2";
constexpr char kSmooth[] = "Ro::Vision::SmoothFullArray2";

class PadArrayTest : public rotest::LeakCheckedTest {};

template <class T>
std::vector<std::vector<T>> Padded(const Ty::Object<void*>& in, unsigned long long t,
                                   unsigned long long b, unsigned long long l, unsigned long long r,
                                   PadMode mode, double value = 0) {
  Ty::Object<void*> out;
  PadArray2(in, t, b, l, r, mode, value, out, nullptr);
  return rotest::ReadArray2<T>(out);
}

TEST_F(PadArrayTest, ModesOnASmallGrid) {
  const auto in = rotest::MakeArray2<short>(zTypeOf(z16s), {{1, 2, 3}, {4, 5, 6}}, alloc_);
  using G = std::vector<std::vector<short>>;
  constexpr short N = -32768;
  EXPECT_EQ(Padded<short>(in, 1, 0, 1, 2, PadMode::Null),
            (G{{N, N, N, N, N, N}, {N, 1, 2, 3, N, N}, {N, 4, 5, 6, N, N}}));
  EXPECT_EQ(Padded<short>(in, 0, 1, 0, 1, PadMode::Constant, 9),
            (G{{1, 2, 3, 9}, {4, 5, 6, 9}, {9, 9, 9, 9}}));
  // Replicate copes with margins wider than the array.
  EXPECT_EQ(Padded<short>(in, 3, 0, 4, 0, PadMode::Replicate), (G{{1, 1, 1, 1, 1, 2, 3},
                                                                  {1, 1, 1, 1, 1, 2, 3},
                                                                  {1, 1, 1, 1, 1, 2, 3},
                                                                  {1, 1, 1, 1, 1, 2, 3},
                                                                  {4, 4, 4, 4, 4, 5, 6}}));
  EXPECT_EQ(Padded<short>(in, 1, 1, 2, 2, PadMode::Reflect101), (G{{6, 5, 4, 5, 6, 5, 4},
                                                                   {3, 2, 1, 2, 3, 2, 1},
                                                                   {6, 5, 4, 5, 6, 5, 4},
                                                                   {3, 2, 1, 2, 3, 2, 1}}));
}

// Every element type against OpenCV's copyMakeBorder on the same bytes (points as 3 channels).
template <class T, int CvType>
void ExpectEqualsOpenCv(zType type) {
  std::mt19937 random(3);
  const int rows = 7, columns = 9;
  cv::Mat source(rows, columns, CvType);
  Ty::Object<void*> in;
  ASSERT_EQ(zArray2_Construct(in.Address(), type, rows, columns, nullptr), zOK);
  auto* bytes = static_cast<unsigned char*>(zArray2_Data(in));
  for (std::size_t i = 0; i < rows * columns * sizeof(T); ++i) bytes[i] = random() % 100;
  std::memcpy(source.data, bytes, rows * columns * sizeof(T));
  const std::pair<PadMode, int> modes[] = {{PadMode::Replicate, cv::BORDER_REPLICATE},
                                           {PadMode::Reflect101, cv::BORDER_REFLECT_101},
                                           {PadMode::Constant, cv::BORDER_CONSTANT}};
  for (auto [mode, border] : modes) {
    Ty::Object<void*> out;
    PadArray2(in, 2, 6, 8, 3, mode, 7, out, nullptr);
    cv::Mat expected;
    cv::copyMakeBorder(source, expected, 2, 6, 8, 3, border, cv::Scalar::all(7));
    ASSERT_EQ(zArray2_Rows(out), static_cast<zSize>(expected.rows));
    ASSERT_EQ(zArray2_Columns(out), static_cast<zSize>(expected.cols));
    EXPECT_EQ(std::memcmp(zArray2_Data(out), expected.data, expected.total() * sizeof(T)), 0)
        << "type " << CvType << " mode " << static_cast<int>(mode);
  }
}

TEST_F(PadArrayTest, EveryElementTypeEqualsOpenCv) {
  ExpectEqualsOpenCv<z8u, CV_8UC1>(zTypeOf(z8u));
  ExpectEqualsOpenCv<z16s, CV_16SC1>(zTypeOf(z16s));
  ExpectEqualsOpenCv<z32s, CV_32SC1>(zTypeOf(z32s));
  ExpectEqualsOpenCv<z32f, CV_32FC1>(zTypeOf(z32f));
  ExpectEqualsOpenCv<z64f, CV_64FC1>(zTypeOf(z64f));
  ExpectEqualsOpenCv<zPoint3d32s, CV_32SC3>(zTypeOf(zPoint3d32s));
  ExpectEqualsOpenCv<zPoint3d64f, CV_64FC3>(zTypeOf(zPoint3d64f));
}

TEST_F(PadArrayTest, NullPointsAndNullDoubles) {
  const auto points = rotest::MakeArray2<zPoint3d64f>(zTypeOf(zPoint3d64f), {{{1, 2, 3}}});
  const auto padded = Padded<zPoint3d64f>(points, 0, 0, 0, 1, PadMode::Null);
  EXPECT_EQ(padded[0][1].z, -DBL_MAX);
  EXPECT_EQ(padded[0][1].x, -DBL_MAX);
  const auto floats = rotest::MakeArray2<float>(zTypeOf(z32f), {{1.5f}});
  EXPECT_EQ(Padded<float>(floats, 1, 0, 0, 0, PadMode::Null)[0][0], -FLT_MAX);
}

// Reflect takes margins up to size - 1, not size or more; an empty map can only be padded with
// a constant.
TEST_F(PadArrayTest, BadArguments) {
  const auto in = filtertest::H({{1, 2, 3}, {4, 5, 6}}), bytes = filtertest::B({{1}});
  const auto wrong = rotest::MakeArray2<unsigned short>(zTypeOf(z16u), {{1}});
  Ty::Object<void*> out, empty;
  ASSERT_EQ(zArray2_Construct(empty.Address(), zTypeOf(z16s), 0, 3, nullptr), zOK);
  EXPECT_NO_THROW(PadArray2(in, 1, 1, 2, 2, PadMode::Reflect101, 0, out, nullptr));
  EXPECT_EQ(Padded<short>(empty, 1, 0, 1, 0, PadMode::Constant, 4),
            (std::vector<std::vector<short>>{{4, 4, 4, 4}}));
  const auto pad = [&](const Ty::Object<void*>& a, unsigned long long t, unsigned long long r,
                       PadMode mode, double value) {
    return [&, t, r, mode, value] { PadArray2(a, t, 0, 0, r, mode, value, out, nullptr); };
  };
  const Ty::Object<void*> null;
  filtertest::ExpectRefusals({{"null map", pad(null, 1, 1, PadMode::Null, 0)},
                              {"reflect rows", pad(in, 2, 0, PadMode::Reflect101, 0)},
                              {"reflect columns", pad(in, 0, 3, PadMode::Reflect101, 0)},
                              {"unknown mode", pad(in, 0, 1, static_cast<PadMode>(7), 0)},
                              {"fractional constant", pad(in, 1, 0, PadMode::Constant, 0.5)},
                              {"constant out of range", pad(bytes, 1, 0, PadMode::Constant, 256)},
                              {"replicate nothing", pad(empty, 1, 0, PadMode::Replicate, 0)},
                              {"unsupported type", pad(wrong, 1, 0, PadMode::Null, 0), 0, -996}},
                             kPad);
}

TEST_F(PadArrayTest, FailingAllocationsRaise) {
  const auto in = rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}, {3, 4}});
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    Ty::Object<void*> out;
    PadArray2(in, 1, 1, 1, 1, PadMode::Replicate, 0, out, alloc_);
  });
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    Ty::Object<void*> out;
    SmoothFullArray2(in, SmoothKind::Gaussian, {0, 0}, {1.0, 1.0}, out, alloc_);
  });
}

// Agreement with OpenCV relative to the data's magnitude (values up to 1000): both sum in double,
// in different orders.
constexpr double kDoubleTolerance = 1e-9;
// OpenCV sums float data in float: a few float steps of the largest value.
constexpr double kFloatTolerance = 1e-6;
constexpr double kDataMagnitude = 1000;

template <class T, int CvType>
void ExpectSmoothEqualsOpenCv(SmoothKind kind, Point2d<unsigned long long> size,
                              Point2d<double> sigma, double tolerance) {
  std::mt19937 random(17);
  std::uniform_real_distribution<double> value(-1000, 1000);
  const int rows = 23, columns = 31;
  cv::Mat source(rows, columns, CvType);
  std::vector<std::vector<T>> grid(rows, std::vector<T>(columns));
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c)
      source.at<T>(r, c) = grid[r][c] = static_cast<T>(value(random));
  }
  const zType type = sizeof(T) == 8 ? zTypeOf(z64f) : zTypeOf(z32f);
  const auto in = rotest::MakeArray2<T>(type, grid);
  Ty::Object<void*> out;
  SmoothFullArray2(in, kind, size, sigma, out, nullptr);
  const auto result = rotest::ReadArray2<T>(out);
  cv::Mat expected;
  if (kind == SmoothKind::Box) {
    cv::blur(source, expected, cv::Size(static_cast<int>(size.x | 1), static_cast<int>(size.y | 1)),
             cv::Point(-1, -1), cv::BORDER_REPLICATE);
  } else {
    cv::GaussianBlur(source, expected, cv::Size(static_cast<int>(size.x), static_cast<int>(size.y)),
                     sigma.x, sigma.y, cv::BORDER_REPLICATE);
  }
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      const double e = expected.at<T>(r, c);
      ASSERT_NEAR(result[r][c], e, tolerance * std::max(kDataMagnitude, std::abs(e)))
          << "at " << r << "," << c << " kind " << static_cast<int>(kind) << " size " << size.x
          << "x" << size.y;
    }
  }
}

TEST_F(PadArrayTest, SmoothEqualsOpenCv) {
  using P = Point2d<unsigned long long>;
  for (P size : {P{1, 1}, P{3, 3}, P{5, 9}, P{41, 57}}) {
    ExpectSmoothEqualsOpenCv<double, CV_64F>(SmoothKind::Box, size, {}, kDoubleTolerance);
    ExpectSmoothEqualsOpenCv<float, CV_32F>(SmoothKind::Box, size, {}, kFloatTolerance);
  }
  const std::pair<P, Point2d<double>> gaussians[] = {
      {P{0, 0}, {1.0, 1.0}}, {P{0, 0}, {0.7, 2.3}}, {P{5, 11}, {1.5, 3.0}}, {P{0, 0}, {9.0, 9.0}}};
  for (auto [size, sigma] : gaussians) {
    ExpectSmoothEqualsOpenCv<double, CV_64F>(SmoothKind::Gaussian, size, sigma, kDoubleTolerance);
    ExpectSmoothEqualsOpenCv<float, CV_32F>(SmoothKind::Gaussian, size, sigma, kFloatTolerance);
  }
}

TEST_F(PadArrayTest, SmoothBadArguments) {
  const auto in = rotest::MakeArray2<double>(zTypeOf(z64f), {{1, 2}});
  const auto heights = filtertest::H({{1, 2}});
  const Ty::Object<void*> null;
  Ty::Object<void*> out;
  const auto smooth = [&](const Ty::Object<void*>& a, SmoothKind kind,
                          Point2d<unsigned long long> size, Point2d<double> sigma) {
    return [&, kind, size, sigma] { SmoothFullArray2(a, kind, size, sigma, out, nullptr); };
  };
  const SmoothKind box = SmoothKind::Box, gauss = SmoothKind::Gaussian;
  filtertest::ExpectRefusals({{"null map", smooth(null, box, {3, 3}, {})},
                              {"heights", smooth(heights, box, {3, 3}, {}), 0, -996},
                              {"zero width", smooth(in, box, {0, 3}, {})},
                              {"zero sigma", smooth(in, gauss, {3, 3}, {0.0, 1.0})},
                              {"NaN sigma", smooth(in, gauss, {3, 3}, {1.0, NAN})},
                              {"unknown kind", smooth(in, static_cast<SmoothKind>(5), {3, 3}, {})}},
                             kSmooth);
}

}  // namespace
