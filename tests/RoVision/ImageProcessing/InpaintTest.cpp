// Inpainting of height maps: planes with holes come back within one height step, valid cells
// keep their bits.
#include <RoVision/ImageProcessing/Inpaint.h>
#include <gtest/gtest.h>
#include <zApi/zApi.h>

#include <cmath>
#include <cstring>
#include <random>

#include "ImageTestSupport.h"
#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using rotest::Blank;
using rotest::ImageFrom;
using rotest::N;

namespace {

constexpr int kWidth = 90, kHeight = 60;
constexpr auto kTelea = rv::InpaintMethod::Telea, kNavierStokes = rv::InpaintMethod::NavierStokes;

double Plane(int x, int y) {
  return 3.25 * x - 2.5 * y + 1000;
}

z16s* Row(void* image, int y) {
  return rotest::RowOf<z16s>(image, y);
}

// The cells to fill come back within one height step of the plane; the others keep their bits.
template <class ToFill>
void ExpectFilledFromThePlane(void* image, void* filled, ToFill toFill) {
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const z16s before = Row(image, y)[x], after = Row(filled, y)[x];
      if (toFill(x, y))
        ASSERT_LE(std::abs(after - std::lround(Plane(x, y))), 1) << x << "," << y;
      else
        ASSERT_EQ(after, before) << x << "," << y;
    }
  }
}

// A steep tilted plane with two round holes and scattered null cells, some on the frame.
Ty::Object<void*> PlaneWithHoles(zAlloc alloc) {
  std::mt19937 rng(3);
  std::bernoulli_distribution scattered(0.03);
  return ImageFrom<z16s>(
      kWidth, kHeight,
      [&](int x, int y) {
        const bool hole =
            std::hypot(x - 25, y - 30) < 6 || std::hypot(x - 65, y - 20) < 4 || scattered(rng);
        return hole ? N : z16s(std::lround(Plane(x, y)));
      },
      alloc);
}

using InpaintTest = rotest::LeakCheckedTest;

TEST_F(InpaintTest, RestoresAPlaneWithinOneStepAndKeepsValidCells) {
  auto image = PlaneWithHoles(alloc_);
  const z16s* data = static_cast<const z16s*>(zImage_Data(image));
  ASSERT_GT(std::count(data, data + kWidth * kHeight, N), 150);
  for (auto method : {kTelea, kNavierStokes}) {
    SCOPED_TRACE(int(method));
    ExpectFilledFromThePlane(image, rv::Inpaint(image, nullptr, 5, method, alloc_),
                             [&](int x, int y) { return Row(image, y)[x] == N; });
  }
}

TEST_F(InpaintTest, MaskCellsAreFilledTooAndNullsOutsideItAreNotSources) {
  auto image = PlaneWithHoles(alloc_);
  // A spike of wrong heights under the mask is replaced from the plane around it.
  const auto spike = [](int x, int y) { return y >= 40 && y < 45 && x >= 70 && x < 75; };
  auto mask = ImageFrom<z8u>(kWidth, kHeight, spike, alloc_);
  for (int y = 40; y < 45; ++y) std::fill(Row(image, y) + 70, Row(image, y) + 75, 30000);
  ExpectFilledFromThePlane(image, rv::Inpaint(image, mask, 4, kTelea, alloc_),
                           [&](int x, int y) { return Row(image, y)[x] == N || spike(x, y); });
}

TEST_F(InpaintTest, NothingToFillGivesAnEqualCopyAndRoundingStaysOffTheNull) {
  auto image = ImageFrom<z16s>(
      7, 5, [](int x, int y) { return x * 100 - y * 7; }, alloc_);
  auto copy = rv::Inpaint(image, nullptr, 3, kTelea, alloc_);
  EXPECT_NE(copy.Get(), image.Get());
  EXPECT_EQ(std::memcmp(zImage_Data(copy), zImage_Data(image), 7 * 5 * sizeof(z16s)), 0);
  // Surrounded by the lowest valid height, a hole is filled with it, not with the null.
  auto lowest = ImageFrom<z16s>(
      7, 5, [](int x, int y) { return x == 3 && y == 2 ? N : -32767; }, alloc_);
  EXPECT_EQ(Row(rv::Inpaint(lowest, nullptr, 3, kNavierStokes, alloc_), 2)[3], -32767);
}

TEST_F(InpaintTest, BadArgumentsRaise) {
  const char* name = "Ro::Vision::Inpaint";
  auto image = Blank<z16s>(4, 3, alloc_), other = Blank<z16u>(4, 3, alloc_),
       smallMask = Blank<z8u>(4, 2, alloc_);
  EXPECT_TY_THROW(rv::Inpaint(nullptr, nullptr, 3, kTelea), -997, name);
  EXPECT_TY_THROW(rv::Inpaint(other, nullptr, 3, kTelea), -996, name);
  EXPECT_TY_THROW(rv::Inpaint(image, nullptr, 0, kTelea), -997, name);
  EXPECT_TY_THROW(rv::Inpaint(image, nullptr, NAN, kTelea), -997, name);
  EXPECT_TY_THROW(rv::Inpaint(image, smallMask, 3, kTelea), -984, name);
  EXPECT_TY_THROW(rv::Inpaint(image, other, 3, kTelea), -984, name);
  auto nulls = ImageFrom<z16s>(
      4, 3, [](int, int) { return N; }, alloc_);
  EXPECT_TY_THROW(rv::Inpaint(nulls, nullptr, 3, kTelea, alloc_), -996, name);
  alloc_.FailAfter(1);
  EXPECT_TY_STATUS(rv::Inpaint(nulls, nullptr, 3, kTelea, alloc_), zERROR_MEMORY);
}

}  // namespace
