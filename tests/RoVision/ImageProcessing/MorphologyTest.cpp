#include "RoVision/ImageProcessing/Morphology.h"

#include <opencv2/imgproc.hpp>

#include "ImageTestSupport.h"
#include "RoVision/ImageProcessing/NeighbourhoodPrivate.h"
#include "support/TestSupport.h"

namespace {

using namespace Ro::Vision;
using namespace rotest;

template <class T>
class MorphologyTyped : public rotest::LeakCheckedTest {};
using FilterTypes = ::testing::Types<z8u, z16s, z32f, z64f>;
TYPED_TEST_SUITE(MorphologyTyped, FilterTypes);

// OpenCV's 3x3 morphology with a replicated border.
cv::Mat Replicated(const cv::Mat& in, cv::MorphTypes op, int iterations = 1) {
  cv::Mat out;
  cv::morphologyEx(in, out, op, cv::getStructuringElement(cv::MORPH_RECT, {3, 3}), {-1, -1},
                   iterations, cv::BORDER_REPLICATE);
  return out;
}

// The 3x3 operations against OpenCV with a replicated border, bit for bit, on sizes that put
// every pixel on a border ring in the small cases.
TYPED_TEST(MorphologyTyped, ErodeAndDilateMatchOpenCvReplicate) {
  const std::pair<zSize, zSize> sizes[] = {{37, 23}, {2, 2}, {17, 1}, {40, 3}, {3, 40}};
  unsigned seed = 1;
  for (const auto& [width, height] : sizes) {
    SCOPED_TRACE(::testing::Message() << width << " x " << height);
    Ty::Object<void*> in = RandomImage<TypeParam>(width, height, seed++, 0.1, this->alloc_);
    const cv::Mat input = MatOf<TypeParam>(in);
    EXPECT_TRUE(SameBits(MatOf<TypeParam>(ImageErode(in, this->alloc_)),
                         Replicated(input, cv::MORPH_ERODE)));
    EXPECT_TRUE(SameBits(MatOf<TypeParam>(ImageDilate(in, this->alloc_)),
                         Replicated(input, cv::MORPH_DILATE)));
  }
}

// The "5" operations: the 5x5 extreme inside the band two away from the border (OpenCV on the
// interior), the input elsewhere. Erode5 takes the minimum only for floating-point pixels (the
// integer form grows nulls, below).
TYPED_TEST(MorphologyTyped, Dilate5AndFloatErode5AreThe5x5ExtremeInsideTheBorderBand) {
  using T = TypeParam;
  const cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, {5, 5});
  for (bool erode : {false, true}) {
    if (erode && !std::is_floating_point_v<T>) continue;
    // The minimum is checked without nulls, the maximum with them.
    Ty::Object<void*> in = RandomImage<T>(19, 13, 7, erode ? 0.0 : 0.2, this->alloc_);
    Ty::Object<void*> out = erode ? ImageErode5(in, this->alloc_) : ImageDilate5(in, this->alloc_);
    const cv::Mat input = MatOf<T>(in), got = MatOf<T>(out);
    cv::Mat expected;
    cv::morphologyEx(input, expected, erode ? cv::MORPH_ERODE : cv::MORPH_DILATE, kernel);
    for (int y = 0; y < input.rows; ++y) {
      for (int x = 0; x < input.cols; ++x) {
        const bool interior = y >= 2 && y < input.rows - 2 && x >= 2 && x < input.cols - 2;
        ASSERT_EQ(got.at<T>(y, x), (interior ? expected : input).at<T>(y, x))
            << (erode ? "erode " : "dilate ") << x << ", " << y;
      }
    }
  }
}

class Morphology : public rotest::LeakCheckedTest {};

// Integer ImageErode5 grows nulls by one pixel without taking a minimum, and leaves the outer
// ring alone even when a null sits next to it.
TEST_F(Morphology, Erode5GrowsNullsWithoutTakingTheMinimum) {
  Ty::Object<void*> in = MakeImage<z16s>({{1, 2, 3, 4, 5, 6},
                                          {7, 8, 9, 10, 11, 12},
                                          {13, 14, N, 16, 17, 18},
                                          {19, 20, 21, 22, 23, 24},
                                          {N, 26, 27, 28, 29, 30}},
                                         alloc_);
  EXPECT_EQ(ReadImage<z16s>(ImageErode5(in, alloc_)), (Grid<z16s>{{1, 2, 3, 4, 5, 6},
                                                                  {7, N, N, N, 11, 12},
                                                                  {13, N, N, N, 17, 18},
                                                                  {19, N, N, N, 23, 24},
                                                                  {N, 26, 27, 28, 29, 30}}));
  Ty::Object<void*> mask = MakeImage<z8u>({{9, 9, 9, 9}, {9, 9, 9, 9}, {9, 9, 9, 0}}, alloc_);
  EXPECT_EQ(ReadImage<z8u>(ImageErode5(mask, alloc_)),
            (Grid<z8u>{{9, 9, 9, 9}, {9, 9, 0, 9}, {9, 9, 9, 0}}));
}

TEST_F(Morphology, Dilate5SpreadsALoneHeightOverItsBlockInsideTheBand) {
  const auto got = ReadImage<z16s>(
      ImageDilate5(ImageFrom<z16s>(
                       7, 7, [](int x, int y) { return y == 3 && x == 4 ? 500 : N; }, alloc_),
                   alloc_));
  for (int y = 0; y < 7; ++y) {
    for (int x = 0; x < 7; ++x)
      EXPECT_EQ(got[y][x], y >= 2 && y <= 4 && x >= 2 && x <= 4 ? 500 : N) << x << ", " << y;
  }
}

// Images too small for the band come back as copies; an image one pixel wide takes its single
// column (the neighbourhood cannot reach column 1); other pixel types are not filtered.
TEST_F(Morphology, SmallImagesAndOtherPixelTypes) {
  Ty::Object<void*> tiny = MakeImage<z16s>({{N, 5}, {6, 7}}, alloc_);
  EXPECT_EQ(ReadImage<z16s>(ImageErode5(tiny, alloc_)), ReadImage<z16s>(tiny));
  Ty::Object<void*> small = RandomImage<z64f>(4, 4, 5, 0.0, alloc_);
  EXPECT_EQ(ReadImage<z64f>(ImageErode5(small, alloc_)), ReadImage<z64f>(small));
  EXPECT_EQ(ReadImage<z64f>(ImageDilate5(small, alloc_)), ReadImage<z64f>(small));
  Ty::Object<void*> column = MakeImage<z16s>({{5}, {3}, {9}, {N}}, alloc_);
  EXPECT_EQ(ReadImage<z16s>(ImageErode(column, alloc_)), (Grid<z16s>{{3}, {3}, {N}, {N}}));
  EXPECT_EQ(ReadImage<z16s>(ImageDilate(column, alloc_)), (Grid<z16s>{{5}, {9}, {9}, {9}}));
  Ty::Object<void*> in = MakeImage<z16u>({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, alloc_);
  EXPECT_EQ(ReadImage<z16u>(ImageErode(in, alloc_)), Grid<z16u>(3, std::vector<z16u>(3, 0)));
  EXPECT_EQ(ReadImage<z16u>(ImageDilate(in, alloc_)), Grid<z16u>(3, std::vector<z16u>(3, 0)));
  EXPECT_EQ(ReadImage<z16u>(ImageErode5(in, alloc_)), ReadImage<z16u>(in));
  EXPECT_EQ(ReadImage<z16u>(ImageDilate5(in, alloc_)), ReadImage<z16u>(in));
}

TEST_F(Morphology, RepeatedFormsMatchOpenCvIterations) {
  Ty::Object<void*> in = RandomImage<z16s>(31, 17, 11, 0.02, alloc_);
  const cv::Mat input = MatOf<z16s>(in);
  EXPECT_TRUE(
      SameBits(MatOf<z16s>(ImageErodeX(in, 3, alloc_)), Replicated(input, cv::MORPH_ERODE, 3)));
  EXPECT_TRUE(
      SameBits(MatOf<z16s>(ImageDilateX(in, 2, alloc_)), Replicated(input, cv::MORPH_DILATE, 2)));
  EXPECT_TRUE(
      SameBits(MatOf<z16s>(ImageOpeningX(in, 2, alloc_)), Replicated(input, cv::MORPH_OPEN, 2)));
  // A count of 0, 1 or below gives one pass.
  for (int count : {-2, 0, 1}) {
    EXPECT_TRUE(
        SameBits(MatOf<z16s>(ImageErodeX(in, count, alloc_)), Replicated(input, cv::MORPH_ERODE)))
        << count;
  }
}

TEST_F(Morphology, ErodeToPeakLeavesOffAndIsolatedPixelsUnwritten) {
  Ty::Object<void*> mask = MakeImage<z8u>(
      {{0, 0, 0, 0, 0, 0}, {0, 7, 0, 0, 0, 0}, {0, 0, 0, 9, 8, 6}, {0, 0, 0, 9, 9, 5}}, alloc_);
  // (1, 1) is isolated; row 1 holds an off pixel above row 2, and the last row replicates itself
  // below, so only (4, 3) and the truncated last column (5, 3) keep a non-zero minimum.
  EXPECT_EQ(
      ReadImage<z8u>(ImageErodeToPeak(mask, alloc_)),
      (Grid<z8u>{{0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 5, 5}}));
  // Heights: exactly the 3x3 minimum.
  Ty::Object<void*> heights = RandomImage<z16s>(9, 6, 2, 0.1, alloc_);
  EXPECT_EQ(ReadImage<z16s>(ImageErodeToPeak(heights, alloc_)),
            ReadImage<z16s>(ImageErode(heights, alloc_)));
  EXPECT_EQ(ReadImage<z8u>(ImageErodeToPeakX(mask, 2, alloc_)),
            ReadImage<z8u>(ImageErodeToPeak(ImageErodeToPeak(mask, alloc_), alloc_)));
}

TEST_F(Morphology, FailuresRaiseThePlatformStatusExceptForDilate) {
  EXPECT_TY_THROW(ImageErode(nullptr), kInvalidArgument, "Ro::Vision::ImageErode");
  EXPECT_TY_THROW(ImageDilate5(nullptr), kInvalidArgument, "Ro::Vision::ImageDilate5");
  Ty::Object<void*> in = RandomImage<z16s>(8, 8, 4, 0.1);  // not counted
  for (auto action : std::vector<std::function<void()>>{
           [&] { ImageErode(in, alloc_); }, [&] { ImageErode5(in, alloc_); },
           [&] { ImageDilate5(in, alloc_); }, [&] { ImageErodeToPeak(in, alloc_); },
           [&] { ImageErodeX(in, 3, alloc_); }, [&] { ImageDilateX(in, 3, alloc_); },
           [&] { ImageOpeningX(in, 2, alloc_); }}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, action);
  }
  auto caught = rotest::CatchTy([&] {
    alloc_.FailAfter(1);
    EXPECT_TRUE(ImageDilate(in, alloc_).IsNull());
  });
  alloc_.FailAfter(0);
  EXPECT_FALSE(caught.has_value());
}

// The SSE2 interior and the literal order of visits give the same bits on every row width.
template <class T>
void ExpectFastRowsEqualScalar() {
  std::mt19937 random(99);
  std::uniform_int_distribution<int> value(std::numeric_limits<T>::min(),
                                           std::numeric_limits<T>::max());
  for (zSize width = 0; width < 70; ++width) {
    std::vector<T> rows[3], fast(width + 1), scalar(width + 1);
    for (auto& row : rows) {
      row.resize(width + 1);
      for (auto& v : row) v = static_cast<T>(value(random));
    }
    const T *a = rows[0].data(), *b = rows[1].data(), *c = rows[2].data();
    const auto extreme = [&](auto op, const char* name) {
      image::ExtremeRowFast<decltype(op)>(a, b, c, fast.data(), width);
      image::ExtremeRowScalar<decltype(op)>(a, b, c, scalar.data(), width);
      EXPECT_EQ(fast, scalar) << name << ", width " << width;
    };
    extreme(image::MinOp{}, "minimum");
    extreme(image::MaxOp{}, "maximum");
    ASSERT_EQ(image::MedianRowFast(a, b, c, fast.data(), width), zOK);
    ASSERT_EQ(image::MedianRowPlatform(a, b, c, scalar.data(), width), zOK);
    EXPECT_EQ(fast, scalar) << "median, width " << width;
  }
}

TEST(NeighbourhoodKernels, FastRowsGiveTheBitsOfTheReference) {
  ExpectFastRowsEqualScalar<z8u>();
  ExpectFastRowsEqualScalar<z16s>();
}

}  // namespace
