#include <RoVision/Arithmetic/Arithmetics.h>
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>
#include <tuple>

#include "support/TestSupport.h"

namespace rv = Ro::Vision;
using Op = rv::ArithmeticOperator;
using Logic = rv::ArithmeticLogic;

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

Grid Heights(const rv::Surface& s) {
  return rotest::ReadArray2<short>(s.layers[0]);
}

class ArithmeticsTest : public rotest::LeakCheckedTest {
 protected:
  rv::Surface Apply(Op op, Logic logic, const rv::Surface& a, const rv::Surface& b) {
    rv::Surface out;
    arithmetics_.Apply(op, logic, a, b, out);
    return out;
  }
  rv::Arithmetics arithmetics_{alloc_};
};

// Add and Subtract of surfaces with different x/y and z offsets, checked cell by cell against
// sums and differences taken in world units, over the overlap (And) and the union (Or). A
// surface minus itself is zero wherever it is valid.
TEST_F(ArithmeticsTest, AddAndSubtractAgreeWithAWorldUnitReference) {
  std::mt19937 rng(11);
  const zPoint3d64f scale{0.5, 0.25, 0.125};  // binary fractions: world values are exact
  const rv::Surface a = MakeSurface(RandomGrid(rng, 6, 8, 0.15), {1.0, 2.0, 10.0}, scale, alloc_);
  const rv::Surface b = MakeSurface(RandomGrid(rng, 7, 5, 0.15), {2.5, 1.5, -3.0}, scale, alloc_);
  std::mt19937 rng7(7);
  const rv::Surface c =
      MakeSurface(RandomGrid(rng7, 9, 11, 0.2), {3, -2, 17.5}, {0.2, 0.3, 0.01}, alloc_);
  struct Case {
    const rv::Surface &a, &b;
    std::vector<Op> ops;
  };
  for (const Case& k : {Case{a, b, {Op::Add, Op::Subtract}}, Case{c, c, {Op::Subtract}}}) {
    for (Op op : k.ops) {
      for (Logic logic : {Logic::And, Logic::Or}) {
        SCOPED_TRACE(testing::Message() << "op " << int(op) << " logic " << int(logic));
        const rv::Surface out = Apply(op, logic, k.a, k.b);
        for (bool alongX : {true, false}) {
          const auto [a0, a1] = Span(k.a, alongX);
          const auto [b0, b1] = Span(k.b, alongX);
          const bool overlap = logic == Logic::And;
          const auto [o0, o1] = Span(out, alongX);
          EXPECT_DOUBLE_EQ(o0, overlap ? std::max(a0, b0) : std::min(a0, b0));
          EXPECT_DOUBLE_EQ(o1, overlap ? std::min(a1, b1) : std::max(a1, b1));
        }
        const Grid result = Heights(out);
        int valid = 0;
        for (size_t r = 0; r < result.size(); ++r) {
          for (size_t col = 0; col < result[r].size(); ++col) {
            const double x = out.offset.x + col * k.a.scale.x, y = out.offset.y + r * k.a.scale.y;
            const auto za = WorldZ(k.a, x, y), zb = WorldZ(k.b, x, y);
            std::optional<double> expected;
            if (za && zb) {
              expected = op == Op::Add ? *za + *zb : *za - *zb;
            } else if (logic == Logic::Or) {
              expected = za ? za : zb;
            }
            if (!expected) {
              EXPECT_EQ(result[r][col], kNull) << r << "," << col;
              continue;
            }
            ++valid;
            ASSERT_NE(result[r][col], kNull) << r << "," << col;
            EXPECT_DOUBLE_EQ(out.offset.z + result[r][col] * out.scale.z, *expected)
                << r << "," << col;
          }
        }
        EXPECT_GT(valid, 10);
      }
    }
  }
}

TEST_F(ArithmeticsTest, AverageTruncatesTowardZeroAndIntensitiesClamp) {
  const zPoint3d64f scale{1, 1, 1};
  const rv::Surface a =
      MakeSurface({{-3, 10, 7, kNull}}, {0, 0, 0}, scale, alloc_, Bytes{{200, 100, 201, 40}});
  const rv::Surface b =
      MakeSurface({{0, 5, 4, 9}}, {0, 0, 0}, scale, alloc_, Bytes{{100, 200, 100, 60}});
  struct Case {
    Op op;
    std::vector<short> heights;
    std::vector<unsigned char> intensity;
  };
  const Case cases[] = {
      {Op::Add, {-3, 15, 11, 9}, {255, 255, 255, 60}},
      {Op::Subtract, {-3, 5, 3, 9}, {100, 0, 101, 60}},
      {Op::Average, {-1, 7, 5, 9}, {150, 150, 150, 60}},
  };
  for (const Case& k : cases) {
    const rv::Surface out = Apply(k.op, Logic::Or, a, b);
    ASSERT_EQ(out.layers.size(), 2u);
    EXPECT_EQ(Heights(out)[0], k.heights) << int(k.op);
    EXPECT_EQ(rotest::ReadArray2<unsigned char>(out.layers[1])[0], k.intensity) << int(k.op);
  }
  // Without an intensity on either side, none is combined.
  const rv::Surface bare = MakeSurface({{1, 1, 1, 1}}, {0, 0, 0}, scale, alloc_);
  EXPECT_EQ(Apply(Op::Add, Logic::And, a, bare).layers.size(), 1u);
}

TEST_F(ArithmeticsTest, OrConvertsAValidBIntoTheOffsetOfA) {
  const rv::Surface a = MakeSurface({{kNull, 4}}, {0, 0, 0.0}, {1, 1, 0.1}, alloc_);
  const rv::Surface b = MakeSurface({{10, kNull}}, {0, 0, 0.25}, {1, 1, 0.1}, alloc_);
  const rv::Surface out = Apply(Op::Add, Logic::Or, a, b);
  // b's 10 steps at offset 0.25 lie at world 1.25: 12 whole steps of 0.1 above a's offset.
  EXPECT_EQ(Heights(out)[0], (std::vector<short>{12, 4}));
  EXPECT_DOUBLE_EQ(out.offset.z, 0.0);
}

TEST_F(ArithmeticsTest, FailuresRaiseTheirStatus) {
  const zPoint3d64f scale{1, 1, 1};
  const rv::Surface a = MakeSurface({{1, 2}}, {0, 0, 0}, scale, alloc_);
  const rv::Surface far = MakeSurface({{1, 2}}, {5, 0, 0}, scale, alloc_);
  const rv::Surface allNull = MakeSurface({{kNull, kNull}}, {0, 0, 0}, scale, alloc_);
  rv::Surface noLayer = a, doubles = a, badIntensity = a, noScale = a;
  noLayer.layers.clear();
  doubles.layers[0] = rotest::MakeArray2<double>(zTypeOf(z64f), {{1.0, 2.0}}, alloc_);
  badIntensity.layers.push_back(rotest::MakeArray2<unsigned char>(zTypeOf(z8u), {{1}}, alloc_));
  noScale.scale.z = 0;
  const char* apply = "Ro::Vision::Arithmetics::Apply";
  rotest::ExpectFailures(
      {
          {"apart", [&] { Apply(Op::Add, Logic::And, a, far); }, -997, 0, apply, "Empty Data"},
          {"all null", [&] { Apply(Op::Add, Logic::Or, allNull, allNull); }, -997, 0, apply},
          {"operator", [&] { Apply(static_cast<Op>(7), Logic::And, a, a); }, -996, 0,
           "Ro::Vision::Arithmetics::ProcessRow", "Unimplemented operation"},
          {"no layer", [&] { Apply(Op::Add, Logic::And, a, noLayer); }, -997, 0, apply},
          {"doubles", [&] { Apply(Op::Add, Logic::And, doubles, a); }, -996, 0, apply},
          {"intensity size", [&] { Apply(Op::Add, Logic::And, a, badIntensity); }, -984, 0, apply},
          {"no z scale", [&] { Apply(Op::Add, Logic::And, noScale, a); }, -997, 0, apply},
      },
      "Arithmetic/Arithmetic");
  // Apart, the union is still valid: the gap between them is null.
  EXPECT_EQ(Heights(Apply(Op::Add, Logic::Or, a, far))[0],
            (std::vector<short>{1, 2, kNull, kNull, kNull, 1, 2}));
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
  for (const Case& k : cases) {
    rv::Surface in;
    in.scale = {1, 1, 0.5};
    in.offset = {0, 0, 3};
    in.layers.push_back(rotest::MakeArray2<int>(zTypeOf(z32s), {k.values}, alloc_));
    int lo = 2147483647, hi = kNull32;
    for (int v : k.values)
      if (v != kNull32) lo = std::min(lo, v), hi = std::max(hi, v);
    const rv::Surface out = arithmetics_.ConvertSurface32sTo16s(in, lo, hi);
    EXPECT_DOUBLE_EQ(out.offset.z, 3 + k.shiftSteps * 0.5) << k.values[0];
    EXPECT_EQ(Heights(out)[0], k.heights) << k.values[0];
  }
  rv::Surface in;
  const char* name = "Ro::Vision::Arithmetics::ConvertSurface32sTo16s";
  EXPECT_TY_THROW(arithmetics_.ConvertSurface32sTo16s(in, 0, 1), -997, name);
  in.layers.push_back(rotest::MakeArray2<short>(zTypeOf(z16s), {{1}}, alloc_));
  EXPECT_TY_THROW(arithmetics_.ConvertSurface32sTo16s(in, 0, 1), -984, name);
}

TEST_F(ArithmeticsTest, SumsBeyond16BitsKeepTheirWorldValue) {
  const zPoint3d64f scale{1, 1, 0.01};
  const rv::Surface a = MakeSurface({{30000, 30000, -100}}, {0, 0, 0}, scale, alloc_);
  const rv::Surface b = MakeSurface({{30000, 2767, 0}}, {0, 0, 0}, scale, alloc_);
  const rv::Surface out = Apply(Op::Add, Logic::And, a, b);
  const double expected[] = {600.0, 327.67, -1.0};
  for (int c = 0; c < 3; ++c)
    EXPECT_NEAR(out.offset.z + Heights(out)[0][c] * 0.01, expected[c], 1e-9) << c;
}

// A cell range as (first, target, count).
std::tuple<int, int, int> Cells(const rv::CellRange& r) {
  return {r.first, r.target, r.count};
}

TEST_F(ArithmeticsTest, BoundariesLineUpCellsWholeStepsApart) {
  using Cells3 = std::tuple<int, int, int>;
  // 0.1 * 3 is not 0.3 in doubles; the cells must still line up.
  const rv::ArithmeticArea area = rv::Arithmetics::getBoundaries(
      Logic::And, zPoint64f{0.1, 0.1}, zPoint64f{0.1 * 3, 0.0}, zPoint64f{0.3, 0.0}, 10, 4, 10, 4);
  EXPECT_EQ(area.columns, 10);
  EXPECT_EQ(Cells(area.aColumns), Cells3(0, 0, 10));
  EXPECT_EQ(Cells(area.bColumns), Cells3(0, 0, 10));
  // b three cells right of a, two rows up: the union has 3 + 10 columns and 2 + 4 rows.
  const rv::ArithmeticArea u =
      rv::Arithmetics::getBoundaries(Logic::Or, zPoint64f{0.1, 0.1}, zPoint64f{0.0, 0.2},
                                     zPoint64f{0.30000000000000004, 0.0}, 10, 4, 10, 4);
  EXPECT_EQ(u.columns, 13);
  EXPECT_EQ(u.rows, 6);
  EXPECT_EQ(Cells(u.aColumns), Cells3(0, 0, 10));
  EXPECT_EQ(Cells(u.bColumns), Cells3(0, 3, 10));
  EXPECT_EQ(Cells(u.aRows), Cells3(0, 2, 4));
  EXPECT_EQ(Cells(u.bRows), Cells3(0, 0, 4));
  // Half a cell apart: a's first cell lies before the overlap's start and stays out.
  const rv::ArithmeticArea half = rv::Arithmetics::getBoundaries(
      Logic::And, zPoint64f{1, 1}, zPoint64f{0, 0}, zPoint64f{0.5, 0}, 10, 1, 10, 1);
  EXPECT_EQ(half.columns, 10);  // round(9.5)
  EXPECT_EQ(Cells(half.aColumns), Cells3(1, 1, 9));
  EXPECT_EQ(Cells(half.bColumns), Cells3(0, 0, 10));
}

TEST_F(ArithmeticsTest, MaskKeepsCellsWhereTheMaskHasAValidHeight) {
  const zPoint3d64f scale{1, 1, 1};
  const rv::Surface a = MakeSurface({{1, 2, 3, 4}, {5, 6, kNull, 8}}, {10, 20, 0}, scale, alloc_,
                                    Bytes{{11, 12, 13, 14}, {15, 16, 17, 18}});
  // The mask starts one column right and one row up of a.
  const rv::Surface mask = MakeSurface({{0, 0, 0}, {7, kNull, 9}}, {11, 19, 5}, scale, alloc_);
  const rv::Surface out = Apply(Op::Mask, Logic::Or, a, mask);
  EXPECT_EQ(Heights(out), (Grid{{kNull, 2, kNull, 4}, {kNull, kNull, kNull, kNull}}));
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
    Ty::Object<void*> pool;
    ASSERT_EQ(zThreadPool_Construct(pool.Address(), tasks, nullptr), zOK);
    rv::Arithmetics arithmetics(alloc_, pool);
    rv::Surface out;
    arithmetics.Apply(Op::Subtract, Logic::Or, a, b, out);
    if (!reference) reference = Heights(out);
    EXPECT_EQ(Heights(out), *reference) << tasks << " tasks";
  }
}

TEST_F(ArithmeticsTest, FailingAllocationsRaiseThePlatformStatus) {
  // The inputs come from the default allocator, so that only the outputs are counted.
  const rv::Surface a =
      MakeSurface({{1, 2}, {3, 4}}, {0, 0, 0}, {1, 1, 1}, nullptr, Bytes{{1, 2}, {3, 4}});
  for (Op op : {Op::Add, Op::Mask}) {
    EXPECT_GE(
        rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] { Apply(op, Logic::And, a, a); }),
        2u);
  }
}

}  // namespace
