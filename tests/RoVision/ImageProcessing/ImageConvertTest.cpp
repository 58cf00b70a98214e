#include "RoVision/ImageProcessing/ImageConvert.h"

#include <TyVision/TyVision.h>

#include <cfloat>

#include "ImageTestSupport.h"
#include "support/TestSupport.h"

namespace {

using namespace Ro::Vision;
using namespace rotest;

class ImageConvert : public rotest::LeakCheckedTest {};

TEST_F(ImageConvert, AddBordersShiftsByBytesAndFillsWithTheMinimum) {
  // 10 x 3 padded to 16 x 8, the added pixels at the type minimum.
  Ty::Object<void*> bytes = RandomImage<z8u>(10, 3, 1, 0.0, alloc_);
  const auto in8 = ReadImage<z8u>(bytes), out8 = ReadImage<z8u>(ImageAddPadding(bytes, alloc_));
  ASSERT_EQ(Shape(out8), std::pair(8, 16));
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 16; ++x) EXPECT_EQ(out8[y][x], (y < 3 && x < 10) ? in8[y][x] : 0);
  // z16s with border 2: two rows down, one pixel (two bytes) to the right.
  Ty::Object<void*> heights = MakeImage<z16s>({{1, 2, 3}, {4, 5, 6}}, alloc_);
  const auto out = ReadImage<z16s>(ImageAddBorders(heights, 2, alloc_));
  ASSERT_EQ(Shape(out), std::pair(8, 8));
  EXPECT_EQ(out[2], (std::vector<z16s>{N, 1, 2, 3, N, N, N, N}));
  EXPECT_EQ(out[3], (std::vector<z16s>{N, 4, 5, 6, N, N, N, N}));
  EXPECT_EQ(out[0], std::vector<z16s>(8, N));
  EXPECT_TY_THROW(ImageAddBorders(heights, -1, alloc_), kInvalidArgument,
                  "Ro::Vision::ImageAddBorders");
}

TEST_F(ImageConvert, FillsWriteEveryPixelAndMinimaPerType) {
  Ty::Object<void*> points =
      MakeImage<zPoint3d16s>({{{1, 2, 3}, {4, 5, 6}}, {{7, 8, 9}, {0, 0, 0}}}, alloc_);
  ImageFillMin(points);
  for (const auto& row : ReadImage<zPoint3d16s>(points)) {
    for (const auto& p : row) EXPECT_TRUE(p.x == N && p.y == N && p.z == N);
  }
  Ty::Object<void*> floats = MakeImage<z32f>({{1, 2}, {3, 4}, {5, 6}}, alloc_);
  ImageFillMin(floats);
  EXPECT_EQ(ReadImage<z32f>(floats), Grid<float>(3, {-FLT_MAX, -FLT_MAX}));
  const float zero = 0;
  ImageFill(floats, &zero);
  EXPECT_EQ(ReadImage<z32f>(floats), Grid<float>(3, {0, 0}));
  Ty::Object<void*> array = MakeArray2<z64f>(zTypeOf(z64f), {{1, 2}, {3, 4}}, alloc_);
  Array2FillMin(array);
  EXPECT_EQ(ReadArray2<z64f>(array), Grid<double>(2, {kNull, kNull}));
  Ty::Object<void*> list;
  ASSERT_EQ(zArray1_Construct(list.Address(), zTypeOf(z32s), 3, alloc_), zOK);
  Array1FillMin(list);
  for (zSize i = 0; i < 3; ++i) EXPECT_EQ(*static_cast<z32s*>(zArray1_At(list, i)), INT32_MIN);
  Ty::Object<void*> rgb = MakeImage<zRgb24>({{{1, 2, 3}}}, alloc_);
  EXPECT_TY_THROW(ImageFillMin(rgb), kNotSupported, "Ro::Vision::ImageFillMin");
}

TEST_F(ImageConvert, FindMinMaxSkipsNullsOnRequest) {
  struct Case {
    Ty::Object<void*> image;
    double min, max, minSkip, maxSkip;
  };
  Case cases[] = {
      {MakeImage<z16s>({{N, 5}, {-7, 9}}, alloc_), -32768, 9, -7, 9},
      {MakeImage<z16u>({{0, 5}, {7, 9}}, alloc_), 0, 9, 5, 9},
      {MakeImage<z64f>({{kNull, 1.5}}, alloc_), kNull, 1.5, 1.5, 1.5},
      {MakeImage<z8u>({{0, 3}}, alloc_), 0, 3, 0, 3},  // z8u has no null to skip
      {MakeImage<z16s>({{N, N}}, alloc_), -32768, -32768, DBL_MAX, -DBL_MAX},
  };
  for (const Case& c : cases) {
    double lo = 0, hi = 0;
    ImageFindMinMax(c.image, &lo, &hi, 0);
    EXPECT_EQ(std::pair(lo, hi), std::pair(c.min, c.max));
    ImageFindMinMax(c.image, &lo, &hi, 1);
    EXPECT_EQ(std::pair(lo, hi), std::pair(c.minSkip, c.maxSkip));
  }
}

TEST_F(ImageConvert, HeightConversionsKeepNulls) {
  Ty::Object<void*> heights = MakeImage<z16s>({{N, 0, 32767, -1}}, alloc_);
  Ty::Object<void*> unsignedHeights = Image16sTo16u(heights, alloc_);
  EXPECT_EQ(ReadImage<z16u>(unsignedHeights)[0], (std::vector<z16u>{0, 32768, 65535, 32767}));
  EXPECT_EQ(ReadImage<z16s>(Image16uTo16s(unsignedHeights, alloc_)), ReadImage<z16s>(heights));
  Ty::Object<void*> bytes = MakeImage<z8u>({{0, 1, 254, 255}}, alloc_);
  EXPECT_EQ(ReadImage<z16s>(Image8uTo16s(bytes, alloc_))[0],
            (std::vector<z16s>{-32768, -32511, 32510, N}));
  EXPECT_EQ(ReadImage<z16s>(Image8uTo16s_MinNull(bytes, alloc_))[0],
            (std::vector<z16s>{N, -32511, 32510, 32767}));
  // hi -> 65535, a positive lo -> 1, zero and negative heights and nulls -> 0.
  Ty::Object<void*> doubles = MakeImage<z64f>({{1.0, 2.0, 3.0, kNull}}, alloc_);
  EXPECT_EQ(ReadImage<z16u>(Image64fTo16u(doubles, alloc_))[0],
            (std::vector<z16u>{1, 32768, 65535, 0}));
  // Zero and negative heights count for the range but come out as the null.
  Ty::Object<void*> withNegative = MakeImage<z64f>({{-1.0, 3.0}}, alloc_);
  EXPECT_EQ(ReadImage<z16u>(Image64fTo16u(withNegative, alloc_))[0], (std::vector<z16u>{0, 65535}));
  Ty::Object<void*> floats = MakeImage<z32f>({{-FLT_MAX, 0.25f}}, alloc_);
  EXPECT_EQ(ReadImage<z64f>(ImageConvert32fTo64f(floats, alloc_))[0],
            (std::vector<double>{-3.4028234663852886e38, 0.25}));
  EXPECT_TY_THROW(Image16sTo16u(bytes, alloc_), kIncompatible, "Ro::Vision::Image16sTo16u");
}

TEST_F(ImageConvert, ScalingTo8bitAndMasks) {
  Ty::Object<void*> heights = MakeImage<z16s>({{N, 0, 100, 50}}, alloc_);
  const auto grey = ReadImage<z8u>(Image8bitFromImage(heights, 1, alloc_));
  ASSERT_EQ(Shape(grey), std::pair(8, 8));
  EXPECT_EQ(grey[0], (std::vector<z8u>{0, 0, 255, 127, 0, 0, 0, 0}));
  EXPECT_EQ(ReadImage<z8u>(ImageComputeBinary(heights, 0, alloc_))[0],
            (std::vector<z8u>{0, 1, 1, 1}));
  EXPECT_EQ(ReadImage<z8u>(ImageComputeBinary(heights, 1, alloc_))[0],
            (std::vector<z8u>{1, 0, 0, 0}));
  Ty::Object<void*> intensity = MakeImage<z8u>({{0, 49, 50, 200}}, alloc_);
  EXPECT_EQ(ReadImage<z8u>(ImageComputeBinary(intensity, 0, alloc_))[0],
            (std::vector<z8u>{0, 0, 1, 1}));
  EXPECT_EQ(ReadImage<z8u>(ImageClip(intensity, 50, alloc_))[0], (std::vector<z8u>{0, 0, 50, 200}));
  EXPECT_EQ(ReadImage<z8u>(zImage16sToBinaryMask(heights, alloc_))[0],
            (std::vector<z8u>{0, 255, 255, 255}));
  Ty::Object<void*> doubles = MakeImage<z64f>({{0.5, 1.0}, {kNull, 2.0}}, alloc_);
  EXPECT_EQ(ReadImage<z8u>(ImageThreshold(doubles, 1.0, alloc_)), (Grid<z8u>{{0, 1}, {0, 1}}));
  Ty::Object<void*> mask = MakeImage<z8u>({{1, 0, 1, 0}}, alloc_);
  ImageApplyMask(heights, mask);
  EXPECT_EQ(ReadImage<z16s>(heights)[0], (std::vector<z16s>{N, N, 100, N}));
  ImageApplyMask(heights, nullptr);  // nothing to do
}

TEST_F(ImageConvert, GradientsAreCentralDifferencesWithNullNeighbours) {
  Ty::Object<void*> heights =
      MakeImage<z16s>({{1, 2, 4, 8}, {2, 4, N, 16}, {3, 6, 12, 24}}, alloc_);
  Ty::Object<void*> gx, gy;
  ImageComputeGradients(heights, gx, gy, alloc_);
  EXPECT_EQ(
      ReadImage<z64f>(gx),
      (Grid<double>{{kNull, 1.5, 3, kNull}, {kNull, kNull, 6, kNull}, {kNull, 4.5, 9, kNull}}));
  EXPECT_EQ(
      ReadImage<z64f>(gy),
      (Grid<double>{{kNull, kNull, kNull, kNull}, {1, 2, 4, 8}, {kNull, kNull, kNull, kNull}}));
}

TEST_F(ImageConvert, SurfaceItemsArraysAndImages) {
  Ty::Object<void*> item;
  ASSERT_EQ(TvSurfaceMsg_Construct(item.Address(), 3, 2, 1, 1, alloc_), zOK);
  const z16s heights[2][3] = {{N, 10, -20}, {30, 40, 50}};
  for (zSize y = 0; y < 2; ++y)
    std::copy(heights[y], heights[y] + 3, TvSurfaceMsg_RangesRow(item, y));
  static_cast<z8u*>(zArray2_Row(TvSurfaceMsg_Intensities(item), 1))[2] = 77;
  const auto signedMap = ReadImage<z16s>(Image16sFromItem(item, alloc_));
  ASSERT_EQ(Shape(signedMap), std::pair(8, 8));
  EXPECT_EQ(signedMap[0], (std::vector<z16s>{N, 10, -20, N, N, N, N, N}));
  EXPECT_EQ(signedMap[7], std::vector<z16s>(8, N));
  const auto unsignedMap = ReadImage<z16u>(Image16uFromItem(item, alloc_));
  EXPECT_EQ(unsignedMap[1], (std::vector<z16u>{32798, 32808, 32818, 0, 0, 0, 0, 0}));
  Ty::Object<void*> intensities = Array2FromIntensity(item, alloc_);
  EXPECT_EQ(ReadArray2<z8u>(intensities)[1], (std::vector<z8u>{0, 0, 77}));
  Ty::Object<void*> asImage = zArray22zImage(TvSurfaceMsg_Ranges(item), alloc_);
  EXPECT_EQ(zImage_Width(asImage), 3u);
  EXPECT_EQ(ReadImage<z16s>(asImage)[0], (std::vector<z16s>{N, 10, -20}));
  EXPECT_EQ(ReadArray2<z16s>(zImage2zArray2(asImage, alloc_)),
            ReadArray2<z16s>(TvSurfaceMsg_Ranges(item)));
}

TEST_F(ImageConvert, FailingAllocationsRaiseThePlatformStatus) {
  Ty::Object<void*> heights = RandomImage<z16s>(9, 5, 3, 0.2);  // not counted
  for (auto action : std::vector<std::function<void()>>{
           [&] { ImageCopy(heights, alloc_); }, [&] { ImageAddBorders(heights, 3, alloc_); },
           [&] { Image16sTo16u(heights, alloc_); }, [&] { Image8bitFromImage(heights, 1, alloc_); },
           [&] {
             Ty::Object<void*> gx, gy;
             ImageComputeGradients(heights, gx, gy, alloc_);
           }}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, action);
  }
}

}  // namespace
