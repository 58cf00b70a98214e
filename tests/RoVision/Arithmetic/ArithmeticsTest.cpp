#include <RoVision/Arithmetic/Arithmetics.h>
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>

#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using rv::ArithmeticLogic;
using rv::ArithmeticOperator;

namespace {

constexpr short kNull = -32768;
using Grid = std::vector<std::vector<short>>;
using Bytes = std::vector<std::vector<unsigned char>>;

using rotest::MakeSurface;

Grid RandomGrid(std::mt19937& rng, int rows, int columns, double nullShare) {
  std::uniform_int_distribution<int> value(-3000, 3000);
  std::bernoulli_distribution isNull(nullShare);
  Grid g(rows, std::vector<short>(columns));
  for (auto& row : g)
    for (auto& v : row) v = isNull(rng) ? kNull : short(value(rng));
  return g;
}

// World z of the cell at world (x, y), or nothing when the surface has no valid cell there.
std::optional<double> WorldZ(const rv::Surface& s, double x, double y) {
  const long column = std::lround((x - s.offset.x) / s.scale.x);
  const long row = std::lround((y - s.offset.y) / s.scale.y);
  void* h = s.layers[0];
  if (column < 0 || row < 0 || zSize(column) >= zArray2_Columns(h) || zSize(row) >= zArray2_Rows(h))
    return std::nullopt;
  const short v = *static_cast<short*>(zArray2_At(h, row, column));
  if (v == kNull) return std::nullopt;
  return s.offset.z + v * s.scale.z;
}

// The world span [start, end) that a surface covers along one axis.
std::pair<double, double> Span(const rv::Surface& s, bool alongX) {
  void* h = s.layers[0];
  return alongX ? std::pair{s.offset.x, s.offset.x + zArray2_Columns(h) * s.scale.x}
                : std::pair{s.offset.y, s.offset.y + zArray2_Rows(h) * s.scale.y};
}

using ArithmeticsTest = rotest::LeakCheckedTest;

TEST_F(ArithmeticsTest, SurfaceMinusItselfIsZeroWhereValid) {
  std::mt19937 rng(7);
  const Grid g = RandomGrid(rng, 9, 11, 0.2);
  const rv::Surface a = MakeSurface(g, {3, -2, 17.5}, {0.2, 0.3, 0.01}, alloc_);
  rv::Arithmetics arithmetics(alloc_);
  for (ArithmeticLogic logic : {ArithmeticLogic::And, ArithmeticLogic::Or}) {
    rv::Surface out;
    arithmetics.Apply(ArithmeticOperator::Subtract, logic, a, a, out);
    ASSERT_EQ(rotest::ReadArray2<short>(out.layers[0]).size(), g.size());
    const Grid result = rotest::ReadArray2<short>(out.layers[0]);
    for (size_t r = 0; r < g.size(); ++r) {
      for (size_t c = 0; c < g[r].size(); ++c) {
        if (g[r][c] == kNull) {
          EXPECT_EQ(result[r][c], kNull);
        } else {
          EXPECT_DOUBLE_EQ(out.offset.z + result[r][c] * out.scale.z, 0.0) << r << "," << c;
        }
      }
    }
  }
}

// Add and Subtract of surfaces with different x/y and z offsets, checked cell by cell against
// sums and differences taken in world units, over the overlap (And) and the union (Or).
TEST_F(ArithmeticsTest, AddAndSubtractAgreeWithAWorldUnitReference) {
  std::mt19937 rng(11);
  const zPoint3d64f scale{0.5, 0.25, 0.125};  // binary fractions: world values are exact
  const rv::Surface a = MakeSurface(RandomGrid(rng, 6, 8, 0.15), {1.0, 2.0, 10.0}, scale, alloc_);
  const rv::Surface b = MakeSurface(RandomGrid(rng, 7, 5, 0.15), {2.5, 1.5, -3.0}, scale, alloc_);
  rv::Arithmetics arithmetics(alloc_);
  for (ArithmeticOperator op : {ArithmeticOperator::Add, ArithmeticOperator::Subtract}) {
    for (ArithmeticLogic logic : {ArithmeticLogic::And, ArithmeticLogic::Or}) {
      SCOPED_TRACE(testing::Message() << "op " << int(op) << " logic " << int(logic));
      rv::Surface out;
      arithmetics.Apply(op, logic, a, b, out);
      for (bool alongX : {true, false}) {
        const auto [a0, a1] = Span(a, alongX);
        const auto [b0, b1] = Span(b, alongX);
        const bool overlap = logic == ArithmeticLogic::And;
        const double start = overlap ? std::max(a0, b0) : std::min(a0, b0);
        const double end = overlap ? std::min(a1, b1) : std::max(a1, b1);
        const auto [o0, o1] = Span(out, alongX);
        EXPECT_DOUBLE_EQ(o0, start);
        EXPECT_DOUBLE_EQ(o1, end);
      }
      const Grid result = rotest::ReadArray2<short>(out.layers[0]);
      int valid = 0;
      for (size_t r = 0; r < result.size(); ++r) {
        for (size_t c = 0; c < result[r].size(); ++c) {
          const double x = out.offset.x + c * scale.x, y = out.offset.y + r * scale.y;
          const auto za = WorldZ(a, x, y), zb = WorldZ(b, x, y);
          std::optional<double> expected;
          if (za && zb) {
            expected = op == ArithmeticOperator::Add ? *za + *zb : *za - *zb;
          } else if (logic == ArithmeticLogic::Or) {
            expected = za ? za : zb;
          }
          if (!expected) {
            EXPECT_EQ(result[r][c], kNull) << r << "," << c;
            continue;
          }
          ++valid;
          ASSERT_NE(result[r][c], kNull) << r << "," << c;
          EXPECT_DOUBLE_EQ(out.offset.z + result[r][c] * out.scale.z, *expected) << r << "," << c;
        }
      }
      EXPECT_GT(valid, 10);
    }
  }
}

TEST_F(ArithmeticsTest, AverageTruncatesTowardZeroAndIntensitiesClamp) {
  const zPoint3d64f scale{1, 1, 1};
  const rv::Surface a =
      MakeSurface({{-3, 10, 7, kNull}}, {0, 0, 0}, scale, alloc_, Bytes{{200, 100, 201, 40}});
  const rv::Surface b =
      MakeSurface({{0, 5, 4, 9}}, {0, 0, 0}, scale, alloc_, Bytes{{100, 200, 100, 60}});
  rv::Arithmetics arithmetics(alloc_);
  struct Case {
    ArithmeticOperator op;
    std::vector<short> heights;
    std::vector<unsigned char> intensity;
  };
  const Case cases[] = {
      {ArithmeticOperator::Add, {-3, 15, 11, 9}, {255, 255, 255, 60}},
      {ArithmeticOperator::Subtract, {-3, 5, 3, 9}, {100, 0, 101, 60}},
      {ArithmeticOperator::Average, {-1, 7, 5, 9}, {150, 150, 150, 60}},
  };
  for (const Case& k : cases) {
    rv::Surface out;
    arithmetics.Apply(k.op, ArithmeticLogic::Or, a, b, out);
    ASSERT_EQ(out.layers.size(), 2u);
    EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0])[0], k.heights) << int(k.op);
    EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1])[0], k.intensity) << int(k.op);
  }
  // Without an intensity on either side, none is combined.
  const rv::Surface bare = MakeSurface({{1, 1, 1, 1}}, {0, 0, 0}, scale, alloc_);
  rv::Surface out;
  arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::And, a, bare, out);
  EXPECT_EQ(out.layers.size(), 1u);
}

TEST_F(ArithmeticsTest, OrConvertsAValidBIntoTheOffsetOfA) {
  const rv::Surface a = MakeSurface({{kNull, 4}}, {0, 0, 0.0}, {1, 1, 0.1}, alloc_);
  const rv::Surface b = MakeSurface({{10, kNull}}, {0, 0, 0.25}, {1, 1, 0.1}, alloc_);
  rv::Arithmetics arithmetics(alloc_);
  rv::Surface out;
  arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::Or, a, b, out);
  const Grid result = rotest::ReadArray2<short>(out.layers[0]);
  // b's 10 steps at offset 0.25 lie at world 1.25: 12 whole steps of 0.1 above a's offset.
  EXPECT_EQ(result[0][0], 12);
  EXPECT_EQ(result[0][1], 4);
  EXPECT_DOUBLE_EQ(out.offset.z, 0.0);
}

TEST_F(ArithmeticsTest, FailuresRaiseTheirStatus) {
  const zPoint3d64f scale{1, 1, 1};
  const rv::Surface a = MakeSurface({{1, 2}}, {0, 0, 0}, scale, alloc_);
  const rv::Surface far = MakeSurface({{1, 2}}, {5, 0, 0}, scale, alloc_);
  const rv::Surface allNull = MakeSurface({{kNull, kNull}}, {0, 0, 0}, scale, alloc_);
  rv::Arithmetics arithmetics(alloc_);
  rv::Surface out;
  const char* apply = "Ro::Vision::Arithmetics::Apply";
  auto caught = rotest::CatchTy(
      [&] { arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::And, a, far, out); });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Status(), -997);
  EXPECT_EQ(caught->Message(), "Empty Data");
  EXPECT_EQ(caught->File(), "Arithmetic/Arithmetic");
  EXPECT_TY_THROW(
      arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::Or, allNull, allNull, out), -997,
      apply);
  // Apart, the union is still valid: the gap between them is null.
  arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::Or, a, far, out);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0])[0],
            (std::vector<short>{1, 2, kNull, kNull, kNull, 1, 2}));

  caught = rotest::CatchTy([&] {
    arithmetics.Apply(static_cast<ArithmeticOperator>(7), ArithmeticLogic::And, a, a, out);
  });
  ASSERT_TRUE(caught);
  EXPECT_EQ(caught->Status(), -996);
  EXPECT_EQ(caught->Message(), "Unimplemented operation");
  EXPECT_EQ(caught->Function(), "Ro::Vision::Arithmetics::ProcessRow");

  rv::Surface noLayer = a;
  noLayer.layers.clear();
  EXPECT_TY_THROW(arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::And, a, noLayer, out),
                  -997, apply);
  rv::Surface doubles = a;
  doubles.layers[0] = rotest::MakeArray2<double>(zTypeOf(z64f), {{1.0, 2.0}}, alloc_);
  EXPECT_TY_THROW(arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::And, doubles, a, out),
                  -996, apply);
  rv::Surface badIntensity = a;
  badIntensity.layers.push_back(rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1}}, alloc_));
  EXPECT_TY_THROW(
      arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::And, a, badIntensity, out), -984,
      apply);
  rv::Surface noScale = a;
  noScale.scale.z = 0;
  EXPECT_TY_THROW(arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::And, noScale, a, out),
                  -997, apply);
}

TEST_F(ArithmeticsTest, ConversionTo16BitsMovesTheOffsetOnlyAsFarAsNeeded) {
  struct Case {
    std::vector<int> values;
    double shiftSteps;  // expected move of the z offset
    std::vector<short> heights;
  };
  const int kNull32 = -2147483647 - 1;
  const Case cases[] = {
      {{-32767, 0, 32767, kNull32}, 0, {-32767, 0, 32767, kNull}},
      {{40000, 60000}, 60000 - 32767, {40000 - 27233, 32767}},
      {{-50000, -40000}, -50000 + 32767, {-32767, -40000 + 17233}},
      // Wider than 65534 steps: centred on the middle, the ends clamp.
      {{-100000, 0, 100000}, 0, {-32767, 0, 32767}},
      {{0, 70000}, 35000, {-32767, 32767}},
  };
  rv::Arithmetics arithmetics(alloc_);
  for (const Case& k : cases) {
    rv::Surface in;
    in.scale = {1, 1, 0.5};
    in.offset = {0, 0, 3};
    in.layers.push_back(rotest::MakeArray2<int>(zTypeOf(z32s), {k.values}, alloc_));
    int lo = 2147483647, hi = kNull32;
    for (int v : k.values)
      if (v != kNull32) lo = std::min(lo, v), hi = std::max(hi, v);
    const rv::Surface out = arithmetics.ConvertSurface32sTo16s(in, lo, hi);
    EXPECT_DOUBLE_EQ(out.offset.z, 3 + k.shiftSteps * 0.5) << k.values[0];
    EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0])[0], k.heights) << k.values[0];
  }
  rv::Surface in;
  const char* name = "Ro::Vision::Arithmetics::ConvertSurface32sTo16s";
  EXPECT_TY_THROW(arithmetics.ConvertSurface32sTo16s(in, 0, 1), -997, name);
  in.layers.push_back(rotest::MakeArray2<short>(zTypeOf(z16s), {{1}}, alloc_));
  EXPECT_TY_THROW(arithmetics.ConvertSurface32sTo16s(in, 0, 1), -984, name);
}

TEST_F(ArithmeticsTest, SumsBeyond16BitsKeepTheirWorldValue) {
  const zPoint3d64f scale{1, 1, 0.01};
  const rv::Surface a = MakeSurface({{30000, 30000, -100}}, {0, 0, 0}, scale, alloc_);
  const rv::Surface b = MakeSurface({{30000, 2767, 0}}, {0, 0, 0}, scale, alloc_);
  rv::Arithmetics arithmetics(alloc_);
  rv::Surface out;
  arithmetics.Apply(ArithmeticOperator::Add, ArithmeticLogic::And, a, b, out);
  const Grid result = rotest::ReadArray2<short>(out.layers[0]);
  const double expected[] = {600.0, 327.67, -1.0};
  for (int c = 0; c < 3; ++c)
    EXPECT_NEAR(out.offset.z + result[0][c] * 0.01, expected[c], 1e-9) << c;
}

TEST_F(ArithmeticsTest, BoundariesLineUpCellsWholeStepsApart) {
  // 0.1 * 3 is not 0.3 in doubles; the cells must still line up.
  const rv::ArithmeticArea area =
      rv::Arithmetics::getBoundaries(ArithmeticLogic::And, zPoint64f{0.1, 0.1},
                                     zPoint64f{0.1 * 3, 0.0}, zPoint64f{0.3, 0.0}, 10, 4, 10, 4);
  EXPECT_EQ(area.columns, 10);
  EXPECT_EQ(area.aColumns.first, 0);
  EXPECT_EQ(area.bColumns.first, 0);
  EXPECT_EQ(area.aColumns.count, 10);
  EXPECT_EQ(area.bColumns.count, 10);

  // b three cells right of a, two rows up: the union has 3 + 10 columns and 2 + 4 rows.
  const rv::ArithmeticArea u =
      rv::Arithmetics::getBoundaries(ArithmeticLogic::Or, zPoint64f{0.1, 0.1}, zPoint64f{0.0, 0.2},
                                     zPoint64f{0.30000000000000004, 0.0}, 10, 4, 10, 4);
  EXPECT_EQ(u.columns, 13);
  EXPECT_EQ(u.rows, 6);
  EXPECT_EQ(u.bColumns.target, 3);
  EXPECT_EQ(u.aRows.target, 2);
  EXPECT_EQ(u.bRows.target, 0);
  EXPECT_EQ(u.aColumns.count, 10);
  // Half a cell apart: a's first cell lies before the overlap's start and stays out.
  const rv::ArithmeticArea half = rv::Arithmetics::getBoundaries(
      ArithmeticLogic::And, zPoint64f{1, 1}, zPoint64f{0, 0}, zPoint64f{0.5, 0}, 10, 1, 10, 1);
  EXPECT_EQ(half.columns, 10);  // round(9.5)
  EXPECT_EQ(half.aColumns.first, 1);
  EXPECT_EQ(half.aColumns.target, 1);
  EXPECT_EQ(half.aColumns.count, 9);
  EXPECT_EQ(half.bColumns.count, 10);
}

TEST_F(ArithmeticsTest, MaskKeepsCellsWhereTheMaskHasAValidHeight) {
  const zPoint3d64f scale{1, 1, 1};
  const rv::Surface a = MakeSurface({{1, 2, 3, 4}, {5, 6, kNull, 8}}, {10, 20, 0}, scale, alloc_,
                                    Bytes{{11, 12, 13, 14}, {15, 16, 17, 18}});
  // The mask starts one column right and one row up of a.
  const rv::Surface mask = MakeSurface({{0, 0, 0}, {7, kNull, 9}}, {11, 19, 5}, scale, alloc_);
  rv::Arithmetics arithmetics(alloc_);
  rv::Surface out;
  arithmetics.Apply(ArithmeticOperator::Mask, ArithmeticLogic::Or, a, mask, out);
  EXPECT_EQ(rotest::ReadArray2<short>(out.layers[0]),
            (Grid{{kNull, 2, kNull, 4}, {kNull, kNull, kNull, kNull}}));
  EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1]),
            (Bytes{{0, 12, 0, 14}, {0, 0, 0, 0}}));
  EXPECT_DOUBLE_EQ(out.offset.x, 10);
  EXPECT_DOUBLE_EQ(out.offset.z, 0);
}

TEST_F(ArithmeticsTest, ResultsDoNotDependOnTheNumberOfTasks) {
  std::mt19937 rng(3);
  const zPoint3d64f scale{0.1, 0.1, 0.001};
  const rv::Surface a = MakeSurface(RandomGrid(rng, 97, 61, 0.1), {0, 0, 0}, scale, alloc_);
  const rv::Surface b = MakeSurface(RandomGrid(rng, 83, 70, 0.1), {1.2, -0.7, 0.5}, scale, alloc_);
  std::optional<Grid> reference;
  for (zSize tasks : {1u, 2u, 5u, 16u}) {
    zThreadPool pool = nullptr;
    ASSERT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
    Ty::Object<void*> holdPool(pool);
    rv::Arithmetics arithmetics(alloc_, pool);
    rv::Surface out;
    arithmetics.Apply(ArithmeticOperator::Subtract, ArithmeticLogic::Or, a, b, out);
    const Grid result = rotest::ReadArray2<short>(out.layers[0]);
    if (!reference) reference = result;
    EXPECT_EQ(result, *reference) << tasks << " tasks";
  }
}

TEST_F(ArithmeticsTest, FailingAllocationsRaiseThePlatformStatus) {
  // The inputs come from the default allocator, so that only the outputs are counted.
  const rv::Surface a =
      MakeSurface({{1, 2}, {3, 4}}, {0, 0, 0}, {1, 1, 1}, nullptr, Bytes{{1, 2}, {3, 4}});
  rv::Arithmetics arithmetics(alloc_);
  for (ArithmeticOperator op : {ArithmeticOperator::Add, ArithmeticOperator::Mask}) {
    const zSize made = rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
      rv::Surface out;
      arithmetics.Apply(op, ArithmeticLogic::And, a, a, out);
    });
    EXPECT_GE(made, 2u);
  }
}

}  // namespace
