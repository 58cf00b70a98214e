#include <TyVision/TyVision.h>
#include <lodepng.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numeric>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "ImageTestSupport.h"
#include "RoVision/ImageProcessing/BmpIo.h"
#include "RoVision/ImageProcessing/ImageConvert.h"
#include "RoVision/ImageProcessing/PngIo.h"
#include "RoVision/ImageProcessing/Spectrum.h"
#include "support/TestSupport.h"

namespace {

using namespace Ro::Vision;
using namespace rotest;

using Bytes = std::vector<unsigned char>;
constexpr auto kPlain = ImageBufferForSavePng;
constexpr auto kSpectrum = ImageBufferForSaveSpectrumPng;

// The PNG that `save` encodes; the library's buffer is released with free() as documented.
Bytes Encode(decltype(kPlain) save, void* image, zAlloc alloc = nullptr) {
  unsigned char* buffer = nullptr;
  size_t size = 0;
  save(image, buffer, size, alloc);
  Bytes bytes(buffer, buffer + size);
  std::free(buffer);
  return bytes;
}

std::string TempPath(const std::string& name) {
  return ::testing::TempDir() + "rovision_" + name;
}

Bytes ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The RGB colours of the library's own spectrum image, as OpenCV's BGR.
cv::Mat SpectrumAsBgr(void* image) {
  Ty::Object<void*> spectrum = ImageToSpectrumImage(image);
  cv::Mat bgr;
  cv::cvtColor(cv::Mat(int(zImage_Height(spectrum)), int(zImage_Width(spectrum)), CV_8UC4,
                       zImage_Data(spectrum)),
               bgr, cv::COLOR_RGBA2BGR);
  return bgr;
}

using Px = std::array<int, 4>;
std::vector<Px> SpectrumPixels(const Grid<z16u>& rows) {
  std::vector<Px> out;
  for (const auto& row : ReadImage<zArgb>(ImageToSpectrumImage(MakeImage(rows))))
    for (const zArgb& p : row) out.push_back({p.r, p.g, p.b, p.a});
  return out;
}

TEST(Spectrum, RampSegmentsAndNulls) {
  EXPECT_EQ(
      SpectrumPixels({{0, 100, 200, 300}}),
      (std::vector<Px>{{0, 0, 0, 255}, {0, 0, 0, 255}, {128, 255, 0, 255}, {255, 255, 255, 255}}));
  // lo = 1 and hi = 1793 make t = v - 1: the ends of every segment.
  std::vector<z16u> ramp(1793);
  std::iota(ramp.begin(), ramp.end(), 1);
  const auto pixels = SpectrumPixels({ramp});
  const std::pair<int, Px> ends[] = {
      {0, {0, 0, 0, 255}},        {255, {0, 0, 255, 255}},      {256, {0, 0, 255, 255}},
      {511, {0, 255, 255, 255}},  {512, {0, 255, 255, 255}},    {766, {0, 255, 1, 255}},
      {767, {0, 255, 0, 255}},    {768, {0, 255, 0, 255}},      {1023, {255, 255, 0, 255}},
      {1278, {255, 1, 0, 255}},   {1279, {255, 0, 0, 255}},     {1535, {255, 0, 255, 255}},
      {1536, {255, 0, 255, 255}}, {1791, {255, 255, 255, 255}}, {1792, {255, 255, 255, 255}}};
  for (const auto& [t, colour] : ends) EXPECT_EQ(pixels[t], colour) << "t = " << t;
  // The ramp is continuous: no channel moves by more than one step.
  for (size_t i = 1; i < pixels.size(); ++i)
    for (int c = 0; c < 3; ++c) ASSERT_LE(std::abs(pixels[i][c] - pixels[i - 1][c]), 1) << i;
  // Equal non-null values, and only nulls, clear everything to transparent black.
  for (const auto& rows : {Grid<z16u>{{7, 0, 7}}, {{0, 0, 0}}})
    EXPECT_EQ(SpectrumPixels(rows), std::vector<Px>(3, Px{0, 0, 0, 0}));
  EXPECT_TRUE(ImageToSpectrumImage(MakeImage<z8u>({{1}})).IsNull());
}

class PngIo : public rotest::LeakCheckedTest {};

TEST_F(PngIo, PlainPngsAreStoredAndDecodeInOpenCvToTheSamePixels) {
  Ty::Object<void*> grey = RandomImage<z8u>(33, 17, 1, 0.1);
  Ty::Object<void*> heights = RandomImage<z16s>(31, 9, 2, 0.1);
  Ty::Object<void*> unsignedHeights = RandomImage<z16u>(30, 11, 3, 0.1);
  Ty::Object<void*> shifted = Image16sTo16u(heights);
  const std::pair<void*, cv::Mat> cases[] = {{grey, MatOf<z8u>(grey)},
                                             {heights, MatOf<z16u>(shifted)},
                                             {unsignedHeights, MatOf<z16u>(unsignedHeights)}};
  for (const auto& [image, expected] : cases) {
    const cv::Mat decoded = cv::imdecode(Encode(kPlain, image, alloc_), cv::IMREAD_UNCHANGED);
    EXPECT_TRUE(SameBits(decoded, expected)) << zType_Name(zImage_PixelType(image));
  }
  // Colour: zRgb24 and zArgb (with varying alpha) against OpenCV's BGR(A).
  Ty::Object<void*> rgb = MakeImage<zRgb24>({{{255, 0, 0}, {0, 255, 0}}, {{0, 0, 255}, {9, 8, 7}}});
  Ty::Object<void*> argb =
      MakeImage<zArgb>({{{1, 2, 3, 4}, {5, 6, 7, 255}}, {{9, 9, 9, 0}, {1, 1, 1, 1}}});
  cv::Mat bgr, bgra;
  cv::cvtColor(cv::Mat(2, 2, CV_8UC3, zImage_Data(rgb)), bgr, cv::COLOR_RGB2BGR);
  cv::cvtColor(cv::Mat(2, 2, CV_8UC4, zImage_Data(argb)), bgra, cv::COLOR_RGBA2BGRA);
  EXPECT_TRUE(SameBits(cv::imdecode(Encode(kPlain, rgb), cv::IMREAD_COLOR), bgr));
  EXPECT_TRUE(SameBits(cv::imdecode(Encode(kPlain, argb), cv::IMREAD_UNCHANGED), bgra));
  // Stored blocks cannot be smaller than the raw rows (a filter byte each).
  const Bytes png = Encode(kPlain, RandomImage<z16s>(64, 32, 4, 0.0));
  EXPECT_GE(png.size(), 32u * (64u * 2 + 1));
  EXPECT_NE(std::string(png.begin(), png.end()).find("zTXtComment"), std::string::npos);
}

TEST_F(PngIo, SpectrumPngDecodesToTheSpectrumColours) {
  Ty::Object<void*> heights = RandomImage<z16s>(40, 13, 5, 0.2);
  const cv::Mat decoded = cv::imdecode(Encode(kSpectrum, heights, alloc_), cv::IMREAD_COLOR);
  EXPECT_TRUE(SameBits(decoded, SpectrumAsBgr(heights)));
  // z64f goes through the 16-bit conversion first.
  Ty::Object<void*> doubles = RandomImage<z64f>(12, 7, 6, 0.1);
  const cv::Mat fromDoubles = cv::imdecode(Encode(kSpectrum, doubles), cv::IMREAD_COLOR);
  EXPECT_TRUE(SameBits(fromDoubles, SpectrumAsBgr(Image64fTo16u(doubles))));
  // A flat map is transparent black.
  const cv::Mat transparent =
      cv::imdecode(Encode(kSpectrum, MakeImage<z16s>({{5, 5}, {N, 5}})), cv::IMREAD_UNCHANGED);
  ASSERT_FALSE(transparent.empty());
  EXPECT_EQ(cv::countNonZero(transparent.reshape(1)), 0);
  EXPECT_TY_THROW(Encode(kSpectrum, MakeImage<z8u>({{1}})), kNotSupported,
                  "Ro::Vision::ImageBufferForSaveSpectrumPng");
}

TEST_F(PngIo, HeightMapSurvivesSaveAndLoadWithItsNulls) {
  Ty::Object<void*> heights = RandomImage<z16s>(45, 20, 7, 0.15);
  const Bytes png = Encode(kPlain, heights);
  Ty::Object<void*> loaded, fromFile, mono16, mono8, rgbLoaded;
  ImageLoadPngFromBuffer(&loaded, png.data(), png.size(), zTypeOf(z16u), alloc_);
  EXPECT_EQ(zImage_PixelType(loaded), zTypeOf(z16s));
  EXPECT_EQ(ReadImage<z16s>(loaded), ReadImage<z16s>(heights));
  const std::string path = TempPath("heights.png");
  ImageSavePng(heights, path.c_str(), alloc_);
  ImageLoadPng(&fromFile, path.c_str(), alloc_);
  EXPECT_EQ(ReadImage<z16s>(fromFile), ReadImage<z16s>(heights));
  ImageLoadPng(mono16, TvPixelFormat_Mono16, path.c_str(), alloc_);
  EXPECT_EQ(ReadImage<z16u>(mono16), ReadImage<z16u>(Image16sTo16u(heights)));

  Ty::Object<void*> grey = RandomImage<z8u>(9, 4, 8, 0.0);
  ImageSavePng(grey, path.c_str());
  ImageLoadPng(mono8, TvPixelFormat_Mono8, path.c_str(), alloc_);
  EXPECT_EQ(ReadImage<z8u>(mono8), ReadImage<z8u>(grey));
  ImageLoadPng(&mono8, path.c_str(), alloc_);
  EXPECT_EQ(ReadImage<z8u>(mono8), ReadImage<z8u>(grey));
  ImageSavePng(MakeImage<zRgb24>({{{1, 2, 3}, {200, 100, 50}}}), path.c_str());
  ImageLoadPng(rgbLoaded, TvPixelFormat_Rgb8, path.c_str(), alloc_);
  const auto pixels = ReadImage<zRgb24>(rgbLoaded);
  EXPECT_EQ(pixels[0][1].r, 200);
  EXPECT_EQ(pixels[0][1].b, 50);
  std::remove(path.c_str());
  EXPECT_TY_STATUS(ImageLoadPng(&rgbLoaded, path.c_str(), alloc_), zERROR_NOT_FOUND);
}

// IHDR claiming width x height 16-bit grey pixels (no interlace), with a correct CRC, then IEND.
Bytes HeaderOnlyPng(unsigned width, unsigned height) {
  Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
  for (unsigned v : {width, height})
    for (int shift = 24; shift >= 0; shift -= 8)
      png.push_back(static_cast<unsigned char>(v >> shift));
  png.insert(png.end(), {16, 0, 0, 0, 0, 0, 0, 0, 0});
  lodepng_chunk_generate_crc(png.data() + 8);
  png.insert(png.end(), {0, 0, 0, 0, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82});
  return png;
}

TEST_F(PngIo, BrokenOrHostilePngsRaiseLodePngStatus) {
  const Bytes png = Encode(kPlain, RandomImage<z16s>(20, 10, 9, 0.1));
  Bytes corrupt = png;
  corrupt[corrupt.size() / 2] ^= 0x55;
  const Bytes cases[] = {corrupt,
                         Bytes(png.begin(), png.begin() + png.size() / 2),
                         Bytes(png.begin(), png.begin() + 20),
                         Bytes(64, 7),
                         HeaderOnlyPng(20000, 20000),
                         HeaderOnlyPng(100000, 100000)};
  for (const auto& bytes : cases) {
    Ty::Object<void*> out;
    auto caught = rotest::CatchTy(
        [&] { ImageLoadPngFromBuffer(&out, bytes.data(), bytes.size(), zTypeOf(z16u), alloc_); });
    ASSERT_TRUE(caught.has_value()) << bytes.size();
    EXPECT_GT(caught->Status(), 0) << caught->what();  // LodePNG's codes are positive
    EXPECT_NE(std::string(caught->what()).find("ImageLoadPngFromBuffer"), std::string::npos);
    EXPECT_TRUE(out.IsNull());
  }
  Ty::Object<void*> out;
  const Bytes& huge = cases[4];
  EXPECT_TY_STATUS(ImageLoadPngFromBuffer(&out, huge.data(), huge.size(), zTypeOf(z16u)), 91);
  EXPECT_TY_THROW(ImageLoadPngFromBuffer(&out, png.data(), png.size(), zTypeOf(z64f)),
                  kNotSupported, "Ro::Vision::ImageLoadPngFromBuffer");
  EXPECT_TY_STATUS(Encode(kPlain, MakeImage<z64f>({{1}})), kNotSupported);
}

TEST_F(PngIo, FailingAllocationsRaiseThePlatformStatus) {
  Ty::Object<void*> heights = RandomImage<z16s>(12, 6, 10, 0.1);
  const Bytes png = Encode(kPlain, heights);
  for (auto action : std::vector<std::function<void()>>{
           [&] { Encode(kPlain, heights, alloc_); }, [&] { Encode(kSpectrum, heights, alloc_); },
           [&] { ImageToSpectrumImage(heights, alloc_); },
           [&] {
             Ty::Object<void*> out;
             ImageLoadPngFromBuffer(&out, png.data(), png.size(), zTypeOf(z16u), alloc_);
           }}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, action);
  }
}

class BmpIo : public rotest::LeakCheckedTest {};

std::uint32_t Read32(const Bytes& b, size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (std::uint32_t{b[at + 3]} << 24);
}

TEST_F(BmpIo, SpectrumBmpIsReadByOpenCvWithPaddedRows) {
  const std::string path = TempPath("spectrum.bmp");
  for (zSize width : {1, 2, 3, 4, 5}) {
    SCOPED_TRACE(width);
    Ty::Object<void*> heights = RandomImage<z16s>(width, 3, static_cast<unsigned>(width), 0.2);
    ImageSaveSpectrumBmp(heights, path.c_str(), alloc_);
    const Bytes file = ReadFile(path);
    const size_t padding = (4 - (width * 3) % 4) % 4;
    const size_t imageBytes = (width * 3 + padding) * 3;
    ASSERT_EQ(file.size(), 54 + imageBytes);
    EXPECT_EQ(std::string(file.begin(), file.begin() + 2), "BM");
    EXPECT_EQ(Read32(file, 2), 54 + imageBytes);
    EXPECT_EQ(Read32(file, 10), 54u);
    EXPECT_EQ(Read32(file, 34), imageBytes);
    // The padding bytes of the bottom row (written first) are zero.
    for (size_t i = 0; i < padding; ++i) EXPECT_EQ(file[54 + width * 3 + i], 0);
    // Opaque colours equal the spectrum image; nulls black.
    EXPECT_TRUE(SameBits(cv::imread(path, cv::IMREAD_COLOR), SpectrumAsBgr(heights)));
  }
  // A flat map is all black.
  ImageSaveSpectrumBmp(MakeImage<z16u>({{9, 9}, {0, 9}}), path.c_str(), alloc_);
  EXPECT_EQ(cv::countNonZero(cv::imread(path, cv::IMREAD_COLOR).reshape(1)), 0);
  std::remove(path.c_str());
  ImageSaveSpectrumBmp(MakeImage<z8u>({{9}}), path.c_str(), alloc_);
  EXPECT_TRUE(ReadFile(path).empty()) << "no file for another pixel type";
}

TEST_F(BmpIo, PlainAndHeightMapBmps) {
  const std::string path = TempPath("plain.bmp");
  Ty::Object<void*> rgb = MakeImage<zRgb24>({{{10, 20, 30}, {40, 50, 60}, {70, 80, 90}}});
  ImageSaveBmp(rgb, path.c_str());
  const cv::Mat read = cv::imread(path, cv::IMREAD_COLOR);
  ASSERT_EQ(read.cols, 3);
  EXPECT_EQ(read.at<cv::Vec3b>(0, 2), cv::Vec3b(90, 80, 70));
  EXPECT_TY_STATUS(ImageSaveBmp(MakeImage<z16s>({{1}}), path.c_str()), zERROR_TYPE);

  Ty::Object<void*> item;
  ASSERT_EQ(TvSurfaceMsg_Construct(item.Address(), 5, 3, 1, 0, nullptr), zOK);
  const z16s rows[3][5] = {{N, 0, 10, 20, 30}, {40, 50, 60, 70, 80}, {90, 100, N, N, 5}};
  for (zSize y = 0; y < 3; ++y) std::copy(rows[y], rows[y] + 5, TvSurfaceMsg_RangesRow(item, y));
  ImageSaveHeightMapFromItem(item, path.c_str(), alloc_);
  const cv::Mat grey = cv::imread(path, cv::IMREAD_GRAYSCALE);
  Ty::Object<void*> expected = Image8bitFromImage(Image16sFromItem(item), 1);
  EXPECT_TRUE(SameBits(grey, MatOf<z8u>(expected)));
  EXPECT_EQ(grey.at<z8u>(1, 4), 204);  // (80 - 0) / 100 * 255
  std::remove(path.c_str());
}

}  // namespace
