#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using StreamTest = rotest::LeakCheckedTest;

TEST_F(StreamTest, SerializerRoundTripWithoutFramingBytes) {
  Ty::Object<void*> memory, writer, view, reader;
  ASSERT_EQ(zMemory_Construct(memory.Address(), alloc_), zOK);
  ASSERT_EQ(zSerializer_Construct(writer.Address(), memory, alloc_), zOK);
  EXPECT_EQ(zSerializer_Write16u(writer, 1), zERROR_STATE) << "write before BeginWrite";
  ASSERT_EQ(zSerializer_BeginWrite(writer, zTypeOf(z16u)), zOK);
  ASSERT_EQ(zSerializer_Write16u(writer, 0xBEEF), zOK);
  ASSERT_EQ(zSerializer_Write32s(writer, -5), zOK);
  ASSERT_EQ(zSerializer_Write64f(writer, 0.1), zOK);
  ASSERT_EQ(zSerializer_EndWrite(writer), zOK);
  ASSERT_EQ(zMemory_Size(memory), 2u + 4u + 8u);
  const auto* bytes = static_cast<const z8u*>(zMemory_Data(memory));
  EXPECT_EQ(bytes[0], 0xEF) << "little-endian";
  EXPECT_EQ(bytes[1], 0xBE);
  ASSERT_EQ(zMemory_Construct(view.Address(), alloc_), zOK);
  ASSERT_EQ(zMemory_Attach(view, bytes, zMemory_Size(memory)), zOK);
  ASSERT_EQ(zSerializer_Construct(reader.Address(), view, alloc_), zOK);
  ASSERT_EQ(zSerializer_BeginRead(reader, zTypeOf(z16u)), zOK);
  z16u u = 0;
  z32s s = 0;
  z64f d = 0;
  EXPECT_EQ(zSerializer_Read16u(reader, &u), zOK);
  EXPECT_EQ(zSerializer_Read32s(reader, &s), zOK);
  EXPECT_EQ(zSerializer_Read64f(reader, &d), zOK);
  EXPECT_EQ(u, 0xBEEF);
  EXPECT_EQ(s, -5);
  EXPECT_EQ(d, 0.1);
  // Past the end: a clean status, nothing written, position unchanged.
  EXPECT_EQ(zSerializer_Read64f(reader, &d), zERROR_END_OF_STREAM);
  EXPECT_EQ(d, 0.1);
  EXPECT_EQ(zMemory_Position(view), 14u);
  EXPECT_EQ(zMemory_Write(view, bytes, 1), zERROR_STATE) << "an attached stream is read only";
}

TEST_F(StreamTest, ReadingATruncatedStreamStopsAtTheEnd) {
  const z8u three[3] = {1, 2, 3};
  Ty::Object<void*> view;
  ASSERT_EQ(zMemory_Construct(view.Address(), alloc_), zOK);
  ASSERT_EQ(zMemory_Attach(view, three, 3), zOK);
  z32u value = 0;
  EXPECT_EQ(zMemory_Read(view, &value, 4), zERROR_END_OF_STREAM);
  EXPECT_EQ(zMemory_Attach(view, nullptr, 4), zERROR_PARAMETER);
  EXPECT_EQ(zMemory_Seek(view, 4), zERROR_PARAMETER);
}

std::string TempPath(const char* name) {
  return ::testing::TempDir() + "/rovision_" + name;
}

TEST_F(StreamTest, FilesRoundTripAndMissingFilesAreReported) {
  const std::string path = TempPath("bytes.bin");
  const char text[] = "height map";
  ASSERT_EQ(zFile_Save(path.c_str(), text, sizeof text), zOK);
  Ty::Object<void*> loaded, missing;
  ASSERT_EQ(zFile_Load(path.c_str(), alloc_, loaded.Address()), zOK);
  EXPECT_EQ(zArray1_ItemType(loaded), zTypeOf(z8u));
  EXPECT_EQ(std::string(static_cast<const char*>(zArray1_Data(loaded))), text);
  EXPECT_EQ(zFile_Load(TempPath("does-not-exist").c_str(), alloc_, missing.Address()),
            zERROR_NOT_FOUND);
  EXPECT_EQ(zFile_Save("/nonexistent-dir/x.bin", text, 1), zERROR_FILE);
  std::remove(path.c_str());
}

TEST_F(StreamTest, ExportedBmpsReadBackWithOpenCv) {
  // Width 3 makes the rows need padding in both formats.
  Ty::Object<void*> grey, colour, wide;
  ASSERT_EQ(zImage_Construct(grey.Address(), zTypeOf(z8u), 3, 2, alloc_), zOK);
  ASSERT_EQ(zImage_Construct(colour.Address(), zTypeOf(zRgb24), 3, 2, alloc_), zOK);
  for (zSize y = 0; y < 2; ++y) {
    for (zSize x = 0; x < 3; ++x) {
      *static_cast<z8u*>(zImage_At(grey, x, y)) = z8u(10 * x + 100 * y);
      *static_cast<zRgb24*>(zImage_At(colour, x, y)) = zRgb24{z8u(x * 50), z8u(y * 90), 7};
    }
  }
  const std::string greyPath = TempPath("grey.bmp"), colourPath = TempPath("colour.bmp");
  ASSERT_EQ(zImage_Export(grey, greyPath.c_str()), zOK);
  ASSERT_EQ(zImage_Export(colour, colourPath.c_str()), zOK);
  const cv::Mat g = cv::imread(greyPath, cv::IMREAD_UNCHANGED);
  const cv::Mat c = cv::imread(colourPath, cv::IMREAD_UNCHANGED);
  ASSERT_EQ(g.type(), CV_8UC1);
  ASSERT_EQ(c.type(), CV_8UC3);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 3; ++x) {
      EXPECT_EQ(g.at<uchar>(y, x), 10 * x + 100 * y);
      const cv::Vec3b bgr = c.at<cv::Vec3b>(y, x);
      EXPECT_EQ(bgr[2], x * 50);
      EXPECT_EQ(bgr[1], y * 90);
      EXPECT_EQ(bgr[0], 7);
    }
  }
  ASSERT_EQ(zImage_Construct(wide.Address(), zTypeOf(z16s), 2, 2, alloc_), zOK);
  EXPECT_EQ(zImage_Export(wide, TempPath("wide.bmp").c_str()), zERROR_TYPE);
  std::remove(greyPath.c_str());
  std::remove(colourPath.c_str());
}

}  // namespace
