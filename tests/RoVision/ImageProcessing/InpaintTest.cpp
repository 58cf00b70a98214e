// Inpainting of height maps: planes with holes come back within one height step, valid cells
// keep their bits.
#include <RoVision/ImageProcessing/Inpaint.h>
#include <gtest/gtest.h>
#include <zApi/zApi.h>

#include <cmath>
#include <cstring>
#include <random>

#include "support/TestSupport.h"

namespace rv = Ro::Vision;

namespace {

constexpr int kWidth = 90, kHeight = 60;

double Plane(int x, int y) {
  return 3.25 * x - 2.5 * y + 1000;
}

z16s* Row(void* image, int y) {
  return static_cast<z16s*>(zImage_Row(image, zSize(y)));
}

// A steep tilted plane with two round holes and scattered null cells, some on the frame.
Ty::Object<void*> PlaneWithHoles(zAlloc alloc, int* holes) {
  Ty::Object<void*> image;
  EXPECT_EQ(zImage_Construct(image.Address(), zTypeOf(z16s), kWidth, kHeight, alloc), zOK);
  std::mt19937 rng(3);
  std::bernoulli_distribution scattered(0.03);
  *holes = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const bool hole =
          std::hypot(x - 25, y - 30) < 6 || std::hypot(x - 65, y - 20) < 4 || scattered(rng);
      Row(image, y)[x] = hole ? z16s(-32768) : z16s(std::lround(Plane(x, y)));
      *holes += hole;
    }
  }
  return image;
}

using InpaintTest = rotest::LeakCheckedTest;

TEST_F(InpaintTest, RestoresAPlaneWithinOneStepAndKeepsValidCells) {
  int holes = 0;
  auto image = PlaneWithHoles(alloc_, &holes);
  ASSERT_GT(holes, 150);
  for (auto method : {rv::InpaintMethod::Telea, rv::InpaintMethod::NavierStokes}) {
    auto filled = rv::Inpaint(image, nullptr, 5, method, alloc_);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const z16s before = Row(image, y)[x], after = Row(filled, y)[x];
        if (before != -32768) {
          ASSERT_EQ(after, before) << x << "," << y;
        } else {
          ASSERT_LE(std::abs(after - std::lround(Plane(x, y))), 1)
              << int(method) << ": " << x << "," << y;
        }
      }
    }
  }
}

TEST_F(InpaintTest, MaskCellsAreFilledTooAndNullsOutsideItAreNotSources) {
  int holes = 0;
  auto image = PlaneWithHoles(alloc_, &holes);
  Ty::Object<void*> mask;
  ASSERT_EQ(zImage_Construct(mask.Address(), zTypeOf(z8u), kWidth, kHeight, alloc_), zOK);
  // A spike of wrong heights under the mask is replaced from the plane around it.
  for (int y = 40; y < 45; ++y) {
    for (int x = 70; x < 75; ++x) {
      Row(image, y)[x] = 30000;
      static_cast<z8u*>(zImage_Row(mask, zSize(y)))[x] = 1;
    }
  }
  auto filled = rv::Inpaint(image, mask, 4, rv::InpaintMethod::Telea, alloc_);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const z16s after = Row(filled, y)[x];
      if (Row(image, y)[x] == -32768 || (y >= 40 && y < 45 && x >= 70 && x < 75)) {
        ASSERT_LE(std::abs(after - std::lround(Plane(x, y))), 1) << x << "," << y;
      } else {
        ASSERT_EQ(after, Row(image, y)[x]);
      }
    }
  }
}

TEST_F(InpaintTest, NothingToFillGivesAnEqualCopyAndRoundingStaysOffTheNull) {
  Ty::Object<void*> image;
  ASSERT_EQ(zImage_Construct(image.Address(), zTypeOf(z16s), 7, 5, alloc_), zOK);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) Row(image, y)[x] = z16s(x * 100 - y * 7);
  auto copy = rv::Inpaint(image, nullptr, 3, rv::InpaintMethod::Telea, alloc_);
  EXPECT_NE(copy.Get(), image.Get());
  EXPECT_EQ(std::memcmp(zImage_Data(copy), zImage_Data(image), 7 * 5 * sizeof(z16s)), 0);
  // Surrounded by the lowest valid height, a hole is filled with it, not with the null.
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) Row(image, y)[x] = -32767;
  Row(image, 2)[3] = -32768;
  auto low = rv::Inpaint(image, nullptr, 3, rv::InpaintMethod::NavierStokes, alloc_);
  EXPECT_EQ(Row(low, 2)[3], -32767);
}

TEST_F(InpaintTest, BadArgumentsRaise) {
  const char* name = "Ro::Vision::Inpaint";
  Ty::Object<void*> image, other, smallMask;
  ASSERT_EQ(zImage_Construct(image.Address(), zTypeOf(z16s), 4, 3, alloc_), zOK);
  ASSERT_EQ(zImage_Construct(other.Address(), zTypeOf(z16u), 4, 3, alloc_), zOK);
  ASSERT_EQ(zImage_Construct(smallMask.Address(), zTypeOf(z8u), 4, 2, alloc_), zOK);
  EXPECT_TY_THROW(rv::Inpaint(nullptr, nullptr, 3, rv::InpaintMethod::Telea), -997, name);
  EXPECT_TY_THROW(rv::Inpaint(other, nullptr, 3, rv::InpaintMethod::Telea), -996, name);
  EXPECT_TY_THROW(rv::Inpaint(image, nullptr, 0, rv::InpaintMethod::Telea), -997, name);
  EXPECT_TY_THROW(rv::Inpaint(image, nullptr, NAN, rv::InpaintMethod::Telea), -997, name);
  EXPECT_TY_THROW(rv::Inpaint(image, smallMask, 3, rv::InpaintMethod::Telea), -984, name);
  EXPECT_TY_THROW(rv::Inpaint(image, other, 3, rv::InpaintMethod::Telea), -984, name);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 4; ++x) Row(image, y)[x] = -32768;
  EXPECT_TY_THROW(rv::Inpaint(image, nullptr, 3, rv::InpaintMethod::Telea, alloc_), -996, name);
  alloc_.FailAfter(1);
  EXPECT_TY_STATUS(rv::Inpaint(image, nullptr, 3, rv::InpaintMethod::Telea, alloc_), zERROR_MEMORY);
}

}  // namespace
