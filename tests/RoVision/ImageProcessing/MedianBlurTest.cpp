#include "RoVision/ImageProcessing/ImageConvert.h"
#include "RoVision/ImageProcessing/MedianBlur.h"

#include <algorithm>
#include <cfloat>
#include <opencv2/imgproc.hpp>

#include "ImageTestSupport.h"
#include "support/TestSupport.h"

namespace {

using namespace Ro::Vision;
using namespace rotest;

template <class T>
class MedianTyped : public rotest::LeakCheckedTest {};
using OpenCvMedianTypes = ::testing::Types<z8u, z16s, z32f>;
TYPED_TEST_SUITE(MedianTyped, OpenCvMedianTypes);

// Every column with a full 3x3 neighbourhood equals OpenCV's median (the first and last rows
// replicate themselves in both); the first and last columns take six values and are tested
// apart.
TYPED_TEST(MedianTyped, InteriorColumnsMatchOpenCvMedianBlur) {
  for (auto [width, height] : {std::pair<zSize, zSize>{53, 21}, {3, 1}, {40, 2}}) {
    Ty::Object<void*> in = RandomImage<TypeParam>(width, height, 17, 0.1, this->alloc_);
    Ty::Object<void*> out = ImageMedian(in, this->alloc_);
    cv::Mat expected;
    cv::medianBlur(MatOf<TypeParam>(in), expected, 3);
    const cv::Mat got = MatOf<TypeParam>(out);
    for (int y = 0; y < got.rows; ++y)
      for (int x = 1; x + 1 < got.cols; ++x)
        ASSERT_EQ(got.at<TypeParam>(y, x), expected.at<TypeParam>(y, x)) << x << ", " << y;
  }
}

class Median : public rotest::LeakCheckedTest {};

TEST_F(Median, EdgeColumnsTakeTheTruncatedMeanOfTheTwoMiddleValues) {
  // The first and last columns gather two columns of three rows (the first and last rows
  // counted twice); the expected values are worked out per pixel:
  // (0, 0): {-3, 8, -3, 8, -4, -9} sorted -9 -4 -3 -3 8 8: (-3 + -3) / 2 = -3.
  // (0, 1): {-3, 8, -4, -9, -7, -8} sorted -9 -8 -7 -4 -3 8: (-7 + -4) / 2 = -5.5 -> -5.
  // (3, 2): {7, 6, 1, 2, 1, 2} sorted 1 1 2 2 6 7: 2.
  // (3, 0): {0, 5, 0, 5, 7, 6} sorted 0 0 5 5 6 7: 5.
  Ty::Object<void*> in = MakeImage<z16s>({{-3, 8, 0, 5}, {-4, -9, 7, 6}, {-7, -8, 1, 2}}, alloc_);
  const auto got = ReadImage<z16s>(ImageMedian(in, alloc_));
  EXPECT_EQ((std::vector{got[0][0], got[1][0], got[2][3], got[0][3]}),
            (std::vector<z16s>{-3, -5, 2, 5}));
  // z8u: {1, 2, 1, 2, 4, 4} sorted 1 1 2 2 4 4: 2; {1, 2, 4, 4, 9, 9}: (4 + 4) / 2 = 4;
  // {4, 5, 9, 9, 9, 9} -> 9; a 0.5 fraction truncates: {1, 2, 1, 2, 4, 3} -> 2 (2 and 2).
  Ty::Object<void*> bytes = MakeImage<z8u>({{1, 2}, {4, 4}, {9, 9}}, alloc_);
  EXPECT_EQ(ReadImage<z8u>(ImageMedian(bytes, alloc_)), (Grid<z8u>{{2, 2}, {4, 4}, {9, 9}}));
}

// Height nulls are filtered like values; a float neighbourhood of only NaN gives the float null.
TEST_F(Median, NullsAreFilteredLikeValues) {
  const Grid<z16s> cases[] = {{{100, 100, 100}, {100, N, 100}, {100, 100, 100}},
                              {{N, N, 100}, {N, 100, 100}, {N, 100, 100}},
                              {{N, N, 100}, {N, 100, 100}, {N, N, 100}}};
  const z16s centres[] = {100, 100, N};
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(ReadImage<z16s>(ImageMedian(MakeImage(cases[i], alloc_), alloc_))[1][1], centres[i]);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Ty::Object<void*> nans = MakeImage<z32f>({{nan, nan}, {nan, nan}}, alloc_);
  EXPECT_EQ(ReadImage<z32f>(ImageMedian(nans, alloc_))[0][0], -FLT_MAX);
}

// z64f: the upper middle of the sorted neighbourhood, nulls counted as the smallest doubles.
TEST_F(Median, DoubleMedianIsTheUpperMiddleWithNullsAsValues) {
  Ty::Object<void*> in = RandomImage<z64f>(23, 9, 5, 0.3, alloc_);
  const auto input = ReadImage<z64f>(in);
  const auto got = ReadImage<z64f>(ImageMedian(in, alloc_));
  const int h = static_cast<int>(input.size()), w = static_cast<int>(input[0].size());
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      std::vector<double> values;
      for (int r : {std::max(y - 1, 0), y, std::min(y + 1, h - 1)})
        for (int c = std::max(x - 1, 0); c <= std::min(x + 1, w - 1); ++c)
          values.push_back(input[r][c]);
      std::sort(values.begin(), values.end());
      ASSERT_EQ(got[y][x], values[values.size() / 2]) << x << ", " << y;
    }
  }
}

TEST_F(Median, KeepNullKeepsDoubleNullsOnly) {
  Ty::Object<void*> in = MakeImage<z64f>({{1, 2, 3}, {4, kNull, 6}, {7, 8, 9}}, alloc_);
  Ty::Object<void*> dest = MakeImage<z64f>({{0}}, alloc_);  // another size: resized
  ImageMedianToDest(in, dest, 1);
  EXPECT_EQ(zImage_Width(dest), 3u);
  EXPECT_EQ(ReadImage<z64f>(dest)[1][1], kNull);
  Ty::Object<void*> result = ImageMedianToDest(in, dest, 0);
  EXPECT_EQ(result.Get(), dest.Get());
  EXPECT_EQ(ReadImage<z64f>(dest)[1][1], 4.0);  // sorted: null 1 2 3 4 6 7 8 9
  EXPECT_TRUE(ImageMedianToDest(in, nullptr, 0).IsNull());
  // keepNull has no effect on heights.
  Ty::Object<void*> heights = MakeImage<z16s>({{5, 5, 5}, {5, N, 5}, {5, 5, 5}}, alloc_);
  Ty::Object<void*> heightsOut = ImageConstructFrom(heights, alloc_);
  ImageMedianToDest(heights, heightsOut, 1);
  EXPECT_EQ(ReadImage<z16s>(heightsOut)[1][1], 5);
}

TEST_F(Median, RepeatedMedianEqualsPassesOneAfterAnother) {
  Ty::Object<void*> in = RandomImage<z64f>(12, 8, 9, 0.2, alloc_);
  Ty::Object<void*> expected = ImageMedian(ImageMedian(ImageMedian(in, alloc_), alloc_), alloc_);
  EXPECT_EQ(ReadImage<z64f>(ImageMedianX(in, 3, 0, alloc_)), ReadImage<z64f>(expected));
  EXPECT_EQ(ReadImage<z64f>(ImageMedianX(in, 0, 0, alloc_)),
            ReadImage<z64f>(ImageMedian(in, alloc_)));
}

TEST_F(Median, MaxOnlyKeepsLocalMaximaAndPlateaus) {
  Ty::Object<void*> ramp = MakeImage<z64f>({{1, 2, 3, 4}, {1, 2, 3, 4}}, alloc_);
  Ty::Object<void*> dest = ImageConstructFrom(ramp, alloc_);
  ImageMaxOnlyToDest(ramp, dest, 0);
  EXPECT_EQ(ReadImage<z64f>(dest),
            (Grid<double>{{kNull, kNull, kNull, 4}, {kNull, kNull, kNull, 4}}));
  Ty::Object<void*> plateau = MakeImage<z64f>({{5, 5, 1}, {1, 2, 1}, {0, 0, 3}}, alloc_);
  ImageMaxOnlyToDest(plateau, dest, 0);  // resized to 3 x 3
  EXPECT_EQ(ReadImage<z64f>(dest),
            (Grid<double>{{5, 5, kNull}, {kNull, kNull, kNull}, {kNull, kNull, 3}}));
  // Other types get the median.
  Ty::Object<void*> heights = RandomImage<z16s>(7, 5, 3, 0.1, alloc_);
  Ty::Object<void*> median = ImageConstructFrom(heights, alloc_);
  ImageMaxOnlyToDest(heights, median, 0);
  EXPECT_EQ(ReadImage<z16s>(median), ReadImage<z16s>(ImageMedian(heights, alloc_)));
}

class Blur : public rotest::LeakCheckedTest {};

TEST_F(Blur, IntegerMeansTruncateTowardZero) {
  Ty::Object<void*> ones = MakeImage<z8u>({{1, 1, 1}, {1, 1, 1}, {1, 1, 2}}, alloc_);
  EXPECT_EQ(ReadImage<z8u>(ImageBlur(ones, alloc_))[1][1], 1);  // 10 / 9
  // -10 / 9; and a null pulls the mean down like any height: (8 * 90 - 32768) / 9 = -3560.9.
  const std::pair<Grid<z16s>, z16s> cases[] = {{{{-1, -1, -1}, {-1, -1, -1}, {-1, -1, -2}}, -1},
                                               {{{90, 90, 90}, {90, N, 90}, {90, 90, 90}}, -3560}};
  for (const auto& [rows, mean] : cases)
    EXPECT_EQ(ReadImage<z16s>(ImageBlur(MakeImage(rows, alloc_), alloc_))[1][1], mean);
}

TEST_F(Blur, TwoRowImageAndTheOuterRingAreCopied) {
  Ty::Object<void*> twoRows = RandomImage<z16s>(9, 2, 1, 0.1, alloc_);
  EXPECT_EQ(ReadImage<z16s>(ImageBlur(twoRows, alloc_)), ReadImage<z16s>(twoRows));
  Ty::Object<void*> in = RandomImage<z64f>(11, 7, 2, 0.0, alloc_);
  Ty::Object<void*> out = ImageBlur(in, alloc_);
  const cv::Mat input = MatOf<z64f>(in), got = MatOf<z64f>(out);
  cv::Mat expected;
  cv::blur(input, expected, {3, 3});
  constexpr double kTolerance = 1e-9;  // OpenCV multiplies by 1/9 where we divide by 9
  for (int y = 0; y < got.rows; ++y) {
    for (int x = 0; x < got.cols; ++x) {
      const bool ring = y == 0 || x == 0 || y == got.rows - 1 || x == got.cols - 1;
      EXPECT_NEAR(got.at<double>(y, x), (ring ? input : expected).at<double>(y, x),
                  ring ? 0 : kTolerance);
    }
  }
  EXPECT_EQ(ReadImage<z64f>(ImageBlurX(in, 2, alloc_)),
            ReadImage<z64f>(ImageBlur(ImageBlur(in, alloc_), alloc_)));
}

TEST_F(Blur, FloatSumsInSinglePrecisionRowByRow) {
  const std::vector<std::vector<float>> rows = {{1e8f, 1, 1}, {1, 1, 1}, {1, 1, -1e8f}};
  float sum = 0;
  for (const auto& row : rows)
    for (float v : row) sum += v;
  EXPECT_EQ(ReadImage<z32f>(ImageBlur(MakeImage(rows, alloc_), alloc_))[1][1],
            static_cast<float>(static_cast<double>(sum) / 9.0));
  EXPECT_NE(sum, 7.0f);  // the single-precision sum really loses the small values
}

TEST_F(Blur, FailuresRaiseThePlatformStatus) {
  Ty::Object<void*> in = RandomImage<z16s>(6, 5, 4, 0.1);  // not counted
  for (auto action : std::vector<std::function<void()>>{
           [&] { ImageBlur(in, alloc_); }, [&] { ImageBlurX(in, 3, alloc_); },
           [&] { ImageMedian(in, alloc_); }, [&] { ImageMedianX(in, 3, 1, alloc_); }}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, action);
  }
  EXPECT_TY_THROW(ImageMedian(nullptr), rotest::kInvalidArgument, "Ro::Vision::ImageMedian");
  EXPECT_TY_THROW(ImageMedianToDest(nullptr, in, 0), rotest::kInvalidArgument,
                  "Ro::Vision::ImageMedianToDest");
}

}  // namespace
