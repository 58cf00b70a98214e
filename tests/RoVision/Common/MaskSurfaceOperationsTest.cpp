#include <RoVision/Common/MaskSurface.h>
#include <RoVision/Geometry/PolygonContainment.h>
#include <RoVision/Geometry/ShapeConversion.h>
#include <gtest/gtest.h>
#include <support/RegionCases.h>
#include <support/TestSupport.h>
#include <zApi/zApi.h>

#include <array>
#include <cmath>
#include <vector>

namespace rv = Ro::Vision;

namespace {

using Grid = std::vector<std::vector<unsigned char>>;

Ty::Object<void*> Runs(const std::vector<rv::RunRecord>& runs, zAlloc alloc) {
  Ty::Object<void*> list;
  EXPECT_EQ(zArrayList_Construct(list.Address(), rv::RunRecordType(), 0, alloc), zOK);
  // zArrayList_Import copies even zero items, from a null pointer: skip it for no runs.
  EXPECT_EQ(runs.empty() ? zOK : zArrayList_Import(list, runs.data(), runs.size()), zOK);
  return list;
}

std::array<int, 4> B(const rv::Rect2d<int>& b) {
  return {b.x, b.y, b.width, b.height};
}

class MaskOperations : public rotest::LeakCheckedTest {};

TEST_F(MaskOperations, AndOrAndOtherTypes) {
  auto a = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1, 0}, {0, 1, 0}}, alloc_);
  auto b = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 0, 0}, {1, 1, 0}}, alloc_);
  Ty::Object<void*> out;
  rv::MaskOperation(a, b, rv::MaskOperationType::And, out.Address(), alloc_);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out), (Grid{{1, 0, 0}, {0, 1, 0}}));
  void* reused = out.Get();
  rv::MaskOperation(a, b, rv::MaskOperationType::Or, out.Address(), alloc_);
  EXPECT_EQ(out.Get(), reused);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out), (Grid{{1, 1, 0}, {1, 1, 0}}));
  rv::MaskOperation(a, b, rv::MaskOperationType(2), out.Address(), alloc_);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out), (Grid{{1, 1, 0}, {1, 1, 0}}));
  // An output of another size is replaced.
  Ty::Object<void*> small = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1}}, alloc_);
  rv::MaskOperation(a, b, rv::MaskOperationType::And, small.Address(), alloc_);
  EXPECT_EQ(zArray2_Columns(small), 3u);
  rv::MaskOperation(a, b, rv::MaskOperationType::And, nullptr, alloc_);  // nothing happens
  EXPECT_TY_THROW(
      rv::MaskOperation(a, Ty::Object<void*>(), rv::MaskOperationType::And, out.Address(), alloc_),
      -997, "Ro::Vision::MaskOperation");
  auto wide = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1, 0, 1}, {0, 1, 0, 1}}, alloc_);
  EXPECT_TY_STATUS(rv::MaskOperation(a, wide, rv::MaskOperationType::And, out.Address(), alloc_),
                   -984);
}

TEST_F(MaskOperations, RLEToMaskKeepsTheExtraColumn) {
  auto single = Runs({{5, 10, 4}}, alloc_);
  Ty::Object<void*> mask;
  rv::Rect2d<int> box;
  rv::RLEToMask(single, mask.Address(), &box, alloc_);
  EXPECT_EQ(B(box), (std::array{10, 5, 5, 1}));
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(mask), (Grid{{1, 1, 1, 1, 0}}));

  // Overlapping runs in any order give the same mask.
  auto forward = Runs({{2, 1, 3}, {2, 2, 4}, {4, 0, 2}}, alloc_);
  auto backward = Runs({{4, 0, 2}, {2, 2, 4}, {2, 1, 3}}, alloc_);
  Ty::Object<void*> m1, m2;
  rv::RLEToMask(forward, m1.Address(), nullptr, alloc_);
  rv::RLEToMask(backward, m2.Address(), &box, alloc_);
  const Grid want{{0, 1, 1, 1, 1, 1, 0}, {0, 0, 0, 0, 0, 0, 0}, {1, 1, 0, 0, 0, 0, 0}};
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(m1), want);
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(m2), want);

  rv::Rect2d<int> untouched{7, 7, 7, 7};
  rv::RLEToMask(Runs({}, alloc_), nullptr, &untouched, alloc_);
  EXPECT_EQ(untouched.x, 7);
  auto wrong = rotest::MakeArray2<int>(zTypeOf(z32s), {{1}}, alloc_);
  EXPECT_TY_THROW(rv::RLEToMask(wrong, nullptr, &box, alloc_), -984, "Ro::Vision::RLEToMask");
}

TEST_F(MaskOperations, MergeMasksPlacesEachAtItsBox) {
  auto a = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 0}, {0, 1}}, alloc_);
  auto b = rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1, 1, 1}}, alloc_);
  const std::vector<Ty::Object<void*>> masks{a, b};
  const std::vector<rv::Rect2d<int>> boxes{{3, 1, 2, 2}, {4, 2, 3, 1}};
  const Grid want{{1, 0, 0, 0}, {0, 1, 1, 1}};
  for (zSize tasks : {1, 2, 8}) {
    Ty::Object<void*> pool, merged;
    ASSERT_EQ(zThreadPool_Construct(pool.Address(), tasks, alloc_), zOK);
    rv::Rect2d<int> box;
    rv::MergeMasks(masks, boxes, merged.Address(), &box, alloc_, pool);
    EXPECT_EQ(B(box), (std::array{3, 1, 4, 2})) << tasks;
    EXPECT_EQ(rotest::ReadArray2<unsigned char>(merged), want);
  }
  Ty::Object<void*> merged;
  rv::Rect2d<int> box;
  EXPECT_TY_THROW(rv::MergeMasks(masks, {boxes[0]}, merged.Address(), &box, alloc_), -997,
                  "Ro::Vision::MergeMasks");
  EXPECT_TY_THROW(rv::MergeMasks(masks, {boxes[0], {4, 2, 3, 2}}, merged.Address(), &box, alloc_),
                  -997, "Ro::Vision::MergeMasks");
  rv::MergeMasks({}, {}, merged.Address(), &box, alloc_);
  EXPECT_FALSE(merged);
  EXPECT_EQ(box.width, 0);
}

rv::Surface Heights(const Grid& intensity, zAlloc alloc) {
  rv::Surface s;
  s.offset = {10, 20, 0};
  s.scale = {1, 2, 0.5};
  s.layers.push_back(rotest::MakeArray2<short>(
      zTypeOf(z16s), {{1, 2, 3, 4}, {5, -32768, 7, 8}, {9, 10, 11, 12}}, alloc));
  if (!intensity.empty())
    s.layers.push_back(rotest::MakeArray2<unsigned char>(zTypeOf(z8u), intensity, alloc));
  return s;
}

TEST_F(MaskOperations, ApplyMaskCutsTheRegion) {
  const rv::Surface s = Heights({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}}, alloc_);
  // Columns 1..2 and rows 0..1: x 11..12, y 20..22 (corner style via the centre).
  auto roi =
      std::make_shared<rv::RectangleRoiSurface>(s, rv::Region2d<double>{11.5, 21, 1, 2, 0}, alloc_);
  roi->HeightThreshold(1, 3);  // raw 2..6: drops heights 7 and the null
  rv::Surface out;
  rv::ApplyMask(s, roi, &out);
  EXPECT_DOUBLE_EQ(out.offset.x, 11);
  EXPECT_DOUBLE_EQ(out.offset.y, 20);
  ASSERT_EQ(out.layers.size(), 2u);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0]),
            (std::vector<std::vector<short>>{{2, 3}, {-32768, -32768}}));
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1]), (Grid{{2, 3}, {0, 0}}));
  rv::Surface empty;
  empty.layers.emplace_back();
  rv::ApplyMask(empty, roi, nullptr);  // one empty layer: nothing, not even the null check
  EXPECT_TY_THROW(rv::ApplyMask(s, roi, nullptr), -997, "Ro::Vision::ApplyMask");
}

TEST_F(MaskOperations, FailingAllocationsAreRaised) {
  // Inputs on the default allocator: only the output is counted.
  auto runs = Runs({{2, 1, 3}, {4, 0, 2}}, nullptr);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    Ty::Object<void*> m;
    rv::RLEToMask(runs, m.Address(), nullptr, alloc_);
  });
  const rv::Surface plain = Heights({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}}, nullptr);
  rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
    auto region = std::make_shared<rv::RectangleRoiSurface>(
        plain, rv::Region2d<double>{11.5, 21, 1, 2, 30}, alloc_.get());
    rv::Surface o;
    rv::ApplyMask(plain, region, &o);
  });
}

TEST_F(MaskOperations, BoxAndMaskOfA3dBox) {
  const rv::Surface s = rotest::RegionTestSurface(alloc_);
  const rv::Region3d<double> box3{0.1, -0.2, 1.3, 2.2, 1.1, 1.0, rv::kNullDouble, rv::kNullDouble,
                                  37};
  rv::Region2d<double> flat;
  rv::Rect3dTo2d(box3, &flat);
  std::vector<rv::Point2d<double>> poly;
  rv::ExtractPolygonFromRect(flat, &poly);
  const auto heights = rotest::ReadArray2<short>(s.layers[0]);
  for (int checkHeight : {0, 1}) {
    rv::Rect2d<int> box;
    Ty::Object<void*> mask;
    rv::GetBBoxAndMask(s, box3, &box, mask.Address(), alloc_, checkHeight);
    ASSERT_TRUE(mask);
    EXPECT_GT(box.width, 10);
    const Grid m = rotest::ReadArray2<unsigned char>(mask);
    int inside = 0;
    for (int r = 0; r < 40; ++r) {
      for (int c = 0; c < 50; ++c) {
        const short v = heights[r][c];
        const double z = s.offset.z + v * s.scale.z;  // the box spans z 0.8 .. 1.8
        bool want = rv::IsPointInPolygon(
                        poly, {s.offset.x + c * s.scale.x, s.offset.y + r * s.scale.y}) != 0;
        if (checkHeight) want = want && v != -32768 && z >= 0.8 && z <= 1.8;
        if (r < box.y || r >= box.y + box.height || c < box.x || c >= box.x + box.width) {
          EXPECT_FALSE(want) << r << " " << c;
          continue;
        }
        EXPECT_EQ(m[r - box.y][c - box.x], want ? 1 : 0) << r << " " << c;
        inside += want;
      }
    }
    EXPECT_GT(inside, 50);
  }
  rv::Rect2d<int> box;
  EXPECT_TY_THROW(rv::GetBBoxAndMask(s, box3, &box, nullptr, alloc_, 0), -997,
                  "Ro::Vision::GetBBoxAndMask");
}

}  // namespace
