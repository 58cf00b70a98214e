#include <RoVision/Common/Common.h>
#include <gtest/gtest.h>

#include <cfloat>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace rv = Ro::Vision;

namespace {

TEST(ElementTypes, NullsAndDescriptors) {
  EXPECT_EQ(rv::GetNull<unsigned char>(), 0);
  EXPECT_EQ(rv::GetNull<short>(), -32768);
  EXPECT_EQ(rv::GetNull<int>(), int(0x80000000u));
  EXPECT_EQ(rv::GetNull<float>(), -3.4028234663852886e38f);
  EXPECT_EQ(rv::GetNull<double>(), -1.7976931348623157e308);
  EXPECT_EQ(rv::GetNull<unsigned long long>(), 18446744073709551615ull);
  EXPECT_EQ(rv::GetzType<short>(), static_cast<const void*>(zTypeOf(z16s)));
  EXPECT_EQ(rv::GetzType<unsigned char>(), static_cast<const void*>(zTypeOf(z8u)));
  EXPECT_EQ(rv::GetzType<double>(), static_cast<const void*>(zTypeOf(z64f)));
  EXPECT_EQ(rv::GetzType<zPoint3d32s>(), static_cast<const void*>(zTypeOf(zPoint3d32s)));
  EXPECT_EQ(rv::GetzType<zPoint3d64f>(), static_cast<const void*>(zTypeOf(zPoint3d64f)));
}

TEST(ElementTypes, DispatchRunsTheMatchingTypeOnly) {
  std::vector<std::string> seen;
  auto visit = [&](auto tag) { seen.push_back(zType_Name(rv::TypeOf<decltype(tag)>())); };
  EXPECT_TRUE((rv::DispatchByType<z8u, z16s, z64f>(zTypeOf(z64f), visit)));
  EXPECT_FALSE((rv::DispatchByType<z8u, z16s>(zTypeOf(z32f), visit)));
  EXPECT_FALSE((rv::DispatchByType<z8u, z16s>(nullptr, visit)));
  EXPECT_EQ(seen, (std::vector<std::string>{"z64f"}));
}

TEST(Records, DoubleFieldsStartUnsetAndIndexFieldsAtZero) {
  const rv::Region3d<double> region;
  for (double v : {region.x, region.y, region.z, region.width, region.length, region.height,
                   region.angleX, region.angleY, region.angleZ}) {
    EXPECT_EQ(v, rv::kNullDouble);
  }
  const rv::EllipticalSector3d<double> sector;
  EXPECT_EQ(sector.center.z, rv::kNullDouble);
  EXPECT_EQ(sector.angleZ, rv::kNullDouble);
  const rv::Line3d<double> line;
  EXPECT_EQ(line.direction.y, rv::kNullDouble);
  const rv::Rect2d<int> rect;
  EXPECT_EQ(rect.x + rect.y + rect.width + rect.height, 0);
  const rv::RegionXZ<double> partial{1, 2, 3, 4};  // the angle may be left out
  EXPECT_EQ(partial.angle, rv::kNullDouble);
}

using ScanRecordsTest = rotest::LeakCheckedTest;

TEST_F(ScanRecordsTest, ProfileConstructorsTakeOffsetFirst) {
  const rv::Profile unset;
  EXPECT_EQ(unset.scale.x, rv::kNullDouble);
  EXPECT_EQ(unset.offset.y, rv::kNullDouble);
  EXPECT_TRUE(unset.layers.empty());
  const rv::Profile p(zPoint64f{1, 2}, zPoint64f{3, 4});
  EXPECT_EQ(p.offset.x, 1);
  EXPECT_EQ(p.offset.y, 2);
  EXPECT_EQ(p.scale.x, 3);
  EXPECT_EQ(p.scale.y, 4);
  const zPoint3d64f offset{1, 2, 3}, scale{4, 5, 6};
  const rv::Profile fromPoints(&offset, &scale);
  EXPECT_EQ(fromPoints.offset.x, 1);
  EXPECT_EQ(fromPoints.offset.y, 3) << "y is dropped, z kept";
  EXPECT_EQ(fromPoints.scale.y, 6);
  const rv::Surface s;
  EXPECT_EQ(s.scale.z, rv::kNullDouble);
  EXPECT_EQ(s.offset.x, rv::kNullDouble);
}

TEST_F(ScanRecordsTest, AddLayerAndCopiesShareLayers) {
  rv::Profile p(zPoint64f{0, 0}, zPoint64f{1, 1});
  EXPECT_EQ(p.AddLayer(rv::GetzType<short>(), 10, alloc_), 0u);
  void* layer0 = p.layers[0].Get();
  EXPECT_EQ(zArray1_Length(layer0), 10u);
  EXPECT_EQ(zArray1_ItemType(layer0), zTypeOf(z16s));
  zArray1 extra = nullptr;
  ASSERT_EQ(zArray1_Construct(&extra, zTypeOf(z8u), 10, alloc_), zOK);
  Ty::Object<void*> holder(extra);
  EXPECT_EQ(p.AddLayer(holder), 1u);
  EXPECT_EQ(zObject_RefCount(extra), 2);
  {
    rv::Profile copy = p;
    EXPECT_EQ(zObject_RefCount(layer0), 2);
    static_cast<z16s*>(zArray1_Data(copy.layers[0].Get()))[3] = 77;
    EXPECT_EQ(static_cast<z16s*>(zArray1_Data(layer0))[3], 77) << "copies share the arrays";
  }
  EXPECT_EQ(zObject_RefCount(layer0), 1);
}

TEST_F(ScanRecordsTest, AddLayerRaisesThePlatformStatusUnchanged) {
  rv::Profile p;
  alloc_.FailAfter(1);
  EXPECT_TY_THROW(p.AddLayer(rv::GetzType<short>(), 10, alloc_), zERROR_MEMORY,
                  "Ro::Vision::Profile::AddLayer");
  EXPECT_TRUE(p.layers.empty());
  auto caught = rotest::CatchTy([&] { p.AddLayer(nullptr, 10, alloc_); });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Status(), zERROR_PARAMETER);
  EXPECT_EQ(caught->File(), "Common/Common");
}

}  // namespace
