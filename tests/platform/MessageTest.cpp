#include <TyVision/TyVision.h>
#include <gtest/gtest.h>

#include "support/TestSupport.h"

namespace {

using MessageTest = rotest::LeakCheckedTest;

TEST_F(MessageTest, SurfaceMessageHoldsLayersAndItemOffsets) {
  Ty::Object<void*> msg;
  ASSERT_EQ(TvSurfaceMsg_Construct(msg.Address(), 8, 3, 2, 1, alloc_), zOK);
  EXPECT_EQ(TvSurfaceMsg_Width(msg), 8u);
  EXPECT_EQ(TvSurfaceMsg_Length(msg), 3u);
  EXPECT_EQ(zArray2_ItemType(TvSurfaceMsg_Ranges(msg)), zTypeOf(z16s));
  EXPECT_EQ(zArray2_ItemType(TvSurfaceMsg_Intensities(msg)), zTypeOf(z8u));
  TvSurfaceMsg_RangesRow(msg, 2)[7] = 55;
  EXPECT_EQ(*static_cast<z16s*>(zArray2_At(TvSurfaceMsg_Ranges(msg), 2, 7)), 55);
  // Each item keeps its own offset; indices outside [0, 2) are not found.
  ASSERT_EQ(TvSurfaceMsg_SetOffsetForRef(msg, 1, zPoint3d64f{1, 2, 3}), zOK);
  zPoint3d64f offset{};
  EXPECT_EQ(TvSurfaceMsg_OffsetForRef(msg, 1, &offset), zOK);
  EXPECT_EQ(offset.z, 3);
  EXPECT_EQ(TvSurfaceMsg_OffsetForRef(msg, 0, &offset), zOK);
  EXPECT_EQ(offset.z, 0);
  for (z32s outside : {2, -1})
    EXPECT_EQ(TvSurfaceMsg_OffsetForRef(msg, outside, &offset), zERROR_NOT_FOUND);
  EXPECT_EQ(TvSurfaceMsg_OffsetForRef(nullptr, 0, &offset), zERROR_PARAMETER);
}

TEST_F(MessageTest, AccessorsRefuseMessagesOfAnotherKind) {
  Ty::Object<void*> line;
  ASSERT_EQ(TvLineFeatureMsg_Construct(line.Address(), {1, 2, 3}, {0, 1, 0}, alloc_), zOK);
  zPoint3d64f p{};
  EXPECT_EQ(TvLineFeatureMsg_Position(line, &p), zOK);
  EXPECT_EQ(p.y, 2);
  EXPECT_EQ(TvLineFeatureMsg_Direction(line, &p), zOK);
  EXPECT_EQ(p.y, 1);
  EXPECT_EQ(TvSurfaceMsg_OffsetForRef(line, 0, &p), zERROR_PARAMETER);
  EXPECT_EQ(TvSurfaceMsg_Width(line), 0u);
  EXPECT_EQ(TvLineFeatureMsg_Position(nullptr, &p), zERROR_PARAMETER);
}

TEST_F(MessageTest, ImageAndDataMessages) {
  Ty::Object<void*> image, data;
  TvMsg bad = nullptr;
  ASSERT_EQ(TvImageMsg_Construct(image.Address(), TvPixelFormat_Mono16, 4, 2, alloc_), zOK);
  ASSERT_EQ(TvDataMsg_Construct(data.Address(), 6, alloc_), zOK);
  EXPECT_EQ(zImage_PixelType(TvImageMsg_Image(image)), zTypeOf(z16u));
  EXPECT_EQ(zArray1_Length(TvDataMsg_Ranges(data)), 6u);
  EXPECT_EQ(TvImageMsg_Construct(&bad, TvPixelFormat(7), 4, 2, alloc_), zERROR_PARAMETER);
  EXPECT_EQ(bad, nullptr);
}

TEST_F(MessageTest, FailedConstructionLeaksNothing) {
  // Header, heights header, heights items, intensities header, intensities items.
  for (zSize n = 1; n <= 5; ++n) {
    alloc_.FailAfter(n);
    TvMsg msg = nullptr;
    EXPECT_EQ(TvSurfaceMsg_Construct(&msg, 4, 4, 1, 1, alloc_), zERROR_MEMORY) << n;
    EXPECT_EQ(msg, nullptr);
    EXPECT_EQ(alloc_.LiveBytes(), 0u);
  }
  alloc_.FailAfter(0);
}

}  // namespace
