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
  const std::vector<const void*> types = {rv::GetzType<short>(), rv::GetzType<unsigned char>(),
                                          rv::GetzType<double>(), rv::GetzType<zPoint3d32s>(),
                                          rv::GetzType<zPoint3d64f>()};
  EXPECT_EQ(types, (std::vector<const void*>{zTypeOf(z16s), zTypeOf(z8u), zTypeOf(z64f),
                                             zTypeOf(zPoint3d32s), zTypeOf(zPoint3d64f)}));
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
  const rv::EllipticalSector3d<double> sector;
  const rv::RegionXZ<double> partial{1, 2, 3, 4};  // the angle may be left out
  const rv::Profile profile;
  const rv::Surface surface;
  for (double v : {region.x, region.y, region.z, region.width, region.length, region.height,
                   region.angleX, region.angleY, region.angleZ, sector.center.z, sector.angleZ,
                   rv::Line3d<double>().direction.y, partial.angle, profile.scale.x,
                   profile.offset.y, surface.scale.z, surface.offset.x})
    EXPECT_EQ(v, rv::kNullDouble);
  const rv::Rect2d<int> rect;
  EXPECT_EQ(rect.x + rect.y + rect.width + rect.height, 0);
  EXPECT_TRUE(profile.layers.empty());
}

using ScanRecordsTest = rotest::LeakCheckedTest;

TEST_F(ScanRecordsTest, ProfileConstructorsTakeOffsetFirst) {
  const rv::Profile p(zPoint64f{1, 2}, zPoint64f{3, 4});
  EXPECT_EQ((std::vector<double>{p.offset.x, p.offset.y, p.scale.x, p.scale.y}),
            (std::vector<double>{1, 2, 3, 4}));
  const zPoint3d64f offset{1, 2, 3}, scale{4, 5, 6};
  const rv::Profile fromPoints(&offset, &scale);  // y is dropped, z kept
  EXPECT_EQ((std::vector<double>{fromPoints.offset.x, fromPoints.offset.y, fromPoints.scale.y}),
            (std::vector<double>{1, 3, 6}));
}

TEST_F(ScanRecordsTest, AddLayerAndCopiesShareLayers) {
  rv::Profile p(zPoint64f{0, 0}, zPoint64f{1, 1});
  EXPECT_EQ(p.AddLayer(rv::GetzType<short>(), 10, alloc_), 0u);
  void* layer0 = p.layers[0].Get();
  EXPECT_EQ(zArray1_Length(layer0), 10u);
  EXPECT_EQ(zArray1_ItemType(layer0), zTypeOf(z16s));
  Ty::Object<void*> extra;
  ASSERT_EQ(zArray1_Construct(extra.Address(), zTypeOf(z8u), 10, alloc_), zOK);
  EXPECT_EQ(p.AddLayer(extra), 1u);
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
  rotest::ExpectFailures(
      {{"failing allocation", [&] { p.AddLayer(rv::GetzType<short>(), 10, alloc_); }, zERROR_MEMORY,
        0, "Ro::Vision::Profile::AddLayer"},
       {"no type", [&] { p.AddLayer(nullptr, 10, alloc_); }, zERROR_PARAMETER}},
      "Common/Common");
  EXPECT_TRUE(p.layers.empty());
}

}  // namespace
