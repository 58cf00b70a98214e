#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/TestSupport.h"

namespace {

using ContainerTest = rotest::LeakCheckedTest;

TEST_F(ContainerTest, Array2ShapeAccessAndZeroFill) {
  zArray2 array = nullptr;
  ASSERT_EQ(zArray2_Construct(&array, zTypeOf(z16s), 3, 5, alloc_), zOK);
  Ty::Object<void*> hold(array);
  EXPECT_EQ(zArray2_ItemType(array), zTypeOf(z16s));
  EXPECT_EQ(zArray2_Length(array, 0), 3u);
  EXPECT_EQ(zArray2_Length(array, 1), 5u);
  EXPECT_EQ(zArray2_Length(array, 2), 0u);
  const auto* data = static_cast<const z16s*>(zArray2_Data(array));
  for (int i = 0; i < 15; ++i) EXPECT_EQ(data[i], 0);
  *static_cast<z16s*>(zArray2_At(array, 2, 4)) = -7;
  EXPECT_EQ(static_cast<z16s*>(zArray2_Row(array, 2))[4], -7);
  EXPECT_EQ(data[14], -7) << "rows are contiguous";
}

TEST_F(ContainerTest, CopyTakesTypeAndShapeAndCloneIsIndependent) {
  Ty::Object<void*> src = rotest::MakeArray2<z16s>(zTypeOf(z16s), {{1, 2}, {3, 4}}, alloc_);
  zArray2 dst = nullptr;
  ASSERT_EQ(zArray2_Construct(&dst, zTypeOf(z8u), 1, 1, alloc_), zOK);
  Ty::Object<void*> holdDst(dst);
  ASSERT_EQ(zArray2_Copy(dst, src), zOK);
  EXPECT_EQ(zArray2_ItemType(dst), zTypeOf(z16s));
  EXPECT_EQ(rotest::ReadArray2<z16s>(dst), (std::vector<std::vector<z16s>>{{1, 2}, {3, 4}}));
  zArray2 clone = nullptr;
  ASSERT_EQ(zArray2_Clone(src, alloc_, &clone), zOK);
  Ty::Object<void*> holdClone(clone);
  *static_cast<z16s*>(zArray2_At(src, 0, 0)) = 9;
  EXPECT_EQ(*static_cast<z16s*>(zArray2_At(clone, 0, 0)), 1);
  ASSERT_EQ(zArray2_Allocate(clone, zTypeOf(z64f), 4, 4), zOK);
  EXPECT_EQ(zArray2_Rows(clone), 4u);
  EXPECT_EQ(*static_cast<z64f*>(zArray2_At(clone, 3, 3)), 0.0);
}

TEST_F(ContainerTest, Array1ResizeKeepsPrefixAndZeroesTheRest) {
  zArray1 array = nullptr;
  ASSERT_EQ(zArray1_Construct(&array, zTypeOf(z32s), 2, alloc_), zOK);
  Ty::Object<void*> hold(array);
  static_cast<z32s*>(zArray1_Data(array))[1] = 42;
  ASSERT_EQ(zArray1_Resize(array, 1000), zOK);
  EXPECT_EQ(*static_cast<z32s*>(zArray1_At(array, 1)), 42);
  EXPECT_EQ(*static_cast<z32s*>(zArray1_At(array, 999)), 0);
  ASSERT_EQ(zArray1_Resize(array, 1), zOK);
  ASSERT_EQ(zArray1_Resize(array, 2), zOK);
  EXPECT_EQ(*static_cast<z32s*>(zArray1_At(array, 1)), 0) << "shrinking forgets the items";
}

TEST_F(ContainerTest, ListAppendImportResizeClear) {
  zArrayList list = nullptr;
  ASSERT_EQ(zArrayList_Construct(&list, zTypeOf(zPoint64f), 1, alloc_), zOK);
  Ty::Object<void*> hold(list);
  for (int i = 0; i < 100; ++i) {
    const zPoint64f p{double(i), -double(i)};
    ASSERT_EQ(zArrayList_Append(list, &p), zOK);
  }
  EXPECT_EQ(zArrayList_Count(list), 100u);
  EXPECT_GE(zArrayList_Capacity(list), 100u);
  EXPECT_EQ(static_cast<zPoint64f*>(zArrayList_At(list, 57))->y, -57.0);
  const zPoint64f two[2] = {{1, 2}, {3, 4}};
  ASSERT_EQ(zArrayList_Import(list, two, 2), zOK);
  EXPECT_EQ(zArrayList_Count(list), 2u);
  EXPECT_EQ(static_cast<zPoint64f*>(zArrayList_At(list, 1))->x, 3.0);
  ASSERT_EQ(zArrayList_Resize(list, 4), zOK);
  EXPECT_EQ(static_cast<zPoint64f*>(zArrayList_At(list, 3))->x, 0.0);
  ASSERT_EQ(zArrayList_Zero(list), zOK);
  EXPECT_EQ(static_cast<zPoint64f*>(zArrayList_At(list, 1))->x, 0.0);
  ASSERT_EQ(zArrayList_Clear(list), zOK);
  EXPECT_EQ(zArrayList_Count(list), 0u);
  EXPECT_EQ(zArrayList_Append(nullptr, two), zERROR_PARAMETER);
}

TEST_F(ContainerTest, ImageRowsStrideAndAllocate) {
  zImage image = nullptr;
  ASSERT_EQ(zImage_Construct(&image, zTypeOf(zRgb24), 5, 2, alloc_), zOK);
  Ty::Object<void*> hold(image);
  EXPECT_EQ(zImage_Width(image), 5u);
  EXPECT_EQ(zImage_Height(image), 2u);
  EXPECT_EQ(zImage_Stride(image), 15u);
  static_cast<zRgb24*>(zImage_At(image, 4, 1))->b = 200;
  EXPECT_EQ(static_cast<z8u*>(zImage_Data(image))[15 + 14], 200);
  ASSERT_EQ(zImage_Allocate(image, zTypeOf(z16u), 3, 3), zOK);
  EXPECT_EQ(zImage_PixelType(image), zTypeOf(z16u));
  EXPECT_EQ(*static_cast<z16u*>(zImage_At(image, 2, 2)), 0);
}

TEST_F(ContainerTest, FailedConstructionReportsMemoryAndLeaksNothing) {
  // A container is two allocations (header and items); either may fail.
  for (zSize n : {1u, 2u}) {
    alloc_.FailAfter(n);
    zArray2 array = reinterpret_cast<zArray2>(1);
    EXPECT_EQ(zArray2_Construct(&array, zTypeOf(z64f), 10, 10, alloc_), zERROR_MEMORY);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(alloc_.LiveBytes(), 0u);
  }
  zArrayList list = nullptr;
  ASSERT_EQ(zArrayList_Construct(&list, zTypeOf(z8u), 0, alloc_), zOK);
  Ty::Object<void*> hold(list);
  alloc_.FailAfter(1);
  const z8u item = 3;
  EXPECT_EQ(zArrayList_Append(list, &item), zERROR_MEMORY);
  EXPECT_EQ(zArrayList_Count(list), 0u) << "a failed append leaves the list as it was";
}

TEST_F(ContainerTest, OverflowingSizesAreRefused) {
  zArray2 array = nullptr;
  EXPECT_EQ(zArray2_Construct(&array, zTypeOf(z64f), zSize(1) << 40, zSize(1) << 40, alloc_),
            zERROR_PARAMETER);
  EXPECT_EQ(zArray2_Construct(&array, nullptr, 1, 1, alloc_), zERROR_PARAMETER);
}

}  // namespace
