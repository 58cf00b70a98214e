#include <gtest/gtest.h>

#include <vector>

#include "support/TestSupport.h"

namespace {

using ContainerTest = rotest::LeakCheckedTest;

template <class T>
T& As(void* item) {
  return *static_cast<T*>(item);
}

TEST_F(ContainerTest, Array2ShapeAccessAndZeroFill) {
  Ty::Object<void*> array;
  ASSERT_EQ(zArray2_Construct(array.Address(), zTypeOf(z16s), 3, 5, alloc_), zOK);
  EXPECT_EQ(zArray2_ItemType(array), zTypeOf(z16s));
  EXPECT_EQ(zArray2_Length(array, 0), 3u);
  EXPECT_EQ(zArray2_Length(array, 1), 5u);
  EXPECT_EQ(zArray2_Length(array, 2), 0u);
  const auto* data = static_cast<const z16s*>(zArray2_Data(array));
  for (int i = 0; i < 15; ++i) EXPECT_EQ(data[i], 0);
  As<z16s>(zArray2_At(array, 2, 4)) = -7;
  EXPECT_EQ(static_cast<z16s*>(zArray2_Row(array, 2))[4], -7);
  EXPECT_EQ(data[14], -7) << "rows are contiguous";
}

TEST_F(ContainerTest, CopyTakesTypeAndShapeAndCloneIsIndependent) {
  Ty::Object<void*> src = rotest::MakeArray2<z16s>(zTypeOf(z16s), {{1, 2}, {3, 4}}, alloc_);
  Ty::Object<void*> dst, clone;
  ASSERT_EQ(zArray2_Construct(dst.Address(), zTypeOf(z8u), 1, 1, alloc_), zOK);
  ASSERT_EQ(zArray2_Copy(dst, src), zOK);
  EXPECT_EQ(zArray2_ItemType(dst), zTypeOf(z16s));
  EXPECT_EQ(rotest::ReadArray2<z16s>(dst), (std::vector<std::vector<z16s>>{{1, 2}, {3, 4}}));
  ASSERT_EQ(zArray2_Clone(src, alloc_, clone.Address()), zOK);
  As<z16s>(zArray2_At(src, 0, 0)) = 9;
  EXPECT_EQ(As<z16s>(zArray2_At(clone, 0, 0)), 1);
  ASSERT_EQ(zArray2_Allocate(clone, zTypeOf(z64f), 4, 4), zOK);
  EXPECT_EQ(zArray2_Rows(clone), 4u);
  EXPECT_EQ(As<z64f>(zArray2_At(clone, 3, 3)), 0.0);
}

TEST_F(ContainerTest, Array1ResizeKeepsPrefixAndZeroesTheRest) {
  Ty::Object<void*> array;
  ASSERT_EQ(zArray1_Construct(array.Address(), zTypeOf(z32s), 2, alloc_), zOK);
  static_cast<z32s*>(zArray1_Data(array))[1] = 42;
  ASSERT_EQ(zArray1_Resize(array, 1000), zOK);
  EXPECT_EQ(As<z32s>(zArray1_At(array, 1)), 42);
  EXPECT_EQ(As<z32s>(zArray1_At(array, 999)), 0);
  ASSERT_EQ(zArray1_Resize(array, 1), zOK);
  ASSERT_EQ(zArray1_Resize(array, 2), zOK);
  EXPECT_EQ(As<z32s>(zArray1_At(array, 1)), 0) << "shrinking forgets the items";
}

TEST_F(ContainerTest, ListAppendImportResizeClear) {
  Ty::Object<void*> list;
  ASSERT_EQ(zArrayList_Construct(list.Address(), zTypeOf(zPoint64f), 1, alloc_), zOK);
  auto x = [&](zSize i) { return As<zPoint64f>(zArrayList_At(list, i)).x; };
  for (int i = 0; i < 100; ++i) {
    const zPoint64f p{double(i), -double(i)};
    ASSERT_EQ(zArrayList_Append(list, &p), zOK);
  }
  EXPECT_EQ(zArrayList_Count(list), 100u);
  EXPECT_GE(zArrayList_Capacity(list), 100u);
  EXPECT_EQ(As<zPoint64f>(zArrayList_At(list, 57)).y, -57.0);
  const zPoint64f two[2] = {{1, 2}, {3, 4}};
  ASSERT_EQ(zArrayList_Import(list, two, 2), zOK);
  EXPECT_EQ(zArrayList_Count(list), 2u);
  EXPECT_EQ(x(1), 3.0);
  ASSERT_EQ(zArrayList_Resize(list, 4), zOK);
  EXPECT_EQ(x(3), 0.0);
  ASSERT_EQ(zArrayList_Zero(list), zOK);
  EXPECT_EQ(x(1), 0.0);
  ASSERT_EQ(zArrayList_Clear(list), zOK);
  EXPECT_EQ(zArrayList_Count(list), 0u);
  EXPECT_EQ(zArrayList_Append(nullptr, two), zERROR_PARAMETER);
}

TEST_F(ContainerTest, ImageRowsStrideAndAllocate) {
  Ty::Object<void*> image;
  ASSERT_EQ(zImage_Construct(image.Address(), zTypeOf(zRgb24), 5, 2, alloc_), zOK);
  EXPECT_EQ(zImage_Width(image), 5u);
  EXPECT_EQ(zImage_Height(image), 2u);
  EXPECT_EQ(zImage_Stride(image), 15u);
  As<zRgb24>(zImage_At(image, 4, 1)).b = 200;
  EXPECT_EQ(static_cast<z8u*>(zImage_Data(image))[15 + 14], 200);
  ASSERT_EQ(zImage_Allocate(image, zTypeOf(z16u), 3, 3), zOK);
  EXPECT_EQ(zImage_PixelType(image), zTypeOf(z16u));
  EXPECT_EQ(As<z16u>(zImage_At(image, 2, 2)), 0);
}

TEST_F(ContainerTest, FailedOrRefusedConstructionLeaksNothing) {
  // A container is two allocations (header and items); either may fail.
  for (zSize n : {1u, 2u}) {
    alloc_.FailAfter(n);
    zArray2 array = reinterpret_cast<zArray2>(1);
    EXPECT_EQ(zArray2_Construct(&array, zTypeOf(z64f), 10, 10, alloc_), zERROR_MEMORY);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(alloc_.LiveBytes(), 0u);
  }
  Ty::Object<void*> list, refused;
  ASSERT_EQ(zArrayList_Construct(list.Address(), zTypeOf(z8u), 0, alloc_), zOK);
  alloc_.FailAfter(1);
  const z8u item = 3;
  EXPECT_EQ(zArrayList_Append(list, &item), zERROR_MEMORY);
  EXPECT_EQ(zArrayList_Count(list), 0u) << "a failed append leaves the list as it was";
  EXPECT_EQ(
      zArray2_Construct(refused.Address(), zTypeOf(z64f), zSize(1) << 40, zSize(1) << 40, alloc_),
      zERROR_PARAMETER);
  EXPECT_EQ(zArray2_Construct(refused.Address(), nullptr, 1, 1, alloc_), zERROR_PARAMETER);
}

}  // namespace
