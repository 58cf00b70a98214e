#include <RoVision/Filter/ProfileFilter.h>
#include <RoVision/Filter/SurfaceFillGap.h>
#include <RoVision/Filter/SurfaceFillGapPrivate.h>

#include <cmath>

#include "FilterTestSupport.h"

namespace {

using filtertest::Bytes;
using filtertest::Heights;
using filtertest::N;
using Ro::Vision::SurfaceFillGapParams;

// Spacing 2, z scale 1 and 45 degrees give a slope step of 2 raw counts per cell.
SurfaceFillGapParams Params(double maxGapX, double maxGapY) {
  SurfaceFillGapParams p;
  p.xSpacing = 2;
  p.ySpacing = 2;
  p.zScale = 1;
  p.maxGapX = maxGapX;
  p.maxGapY = maxGapY;
  p.maxSlopeAngleX = 45;
  p.maxSlopeAngleY = 45;
  return p;
}

Heights Transpose(const Heights& h) {
  Heights t(h[0].size(), std::vector<short>(h.size()));
  for (std::size_t r = 0; r < h.size(); ++r) {
    for (std::size_t c = 0; c < h[0].size(); ++c) t[c][r] = h[r][c];
  }
  return t;
}

class SurfaceFillGapTest : public rotest::LeakCheckedTest {
 protected:
  struct Result {
    Heights heights;
    Bytes intensities;
  };
  Result Fill(const SurfaceFillGapParams& p, const Heights& h, const Bytes& i = {}) {
    const auto heights = filtertest::H(h, alloc_);
    const auto intensities = i.empty() ? Ty::Object<void*>() : filtertest::B(i, alloc_);
    Ty::Object<void*> outHeights, outIntensities;
    Ro::Vision::SurfaceFillGapXY(p, heights, intensities, outHeights, outIntensities, alloc_);
    EXPECT_EQ(outIntensities.IsNull(), i.empty());
    return {rotest::ReadArray2<short>(outHeights),
            i.empty() ? Bytes{} : rotest::ReadArray2<unsigned char>(outIntensities)};
  }
};

TEST(SurfaceFillGapLimits, DerivedFromTheParameters) {
  SurfaceFillGapParams p;
  p.xSpacing = 0.1;
  p.ySpacing = 0.0625;
  p.zScale = 0.01;
  p.maxGapX = 0.35;  // 3.4999... cells: truncated to 3
  p.maxGapY = -1;    // disabled
  p.maxSlopeAngleX = 45;
  p.maxSlopeAngleY = 0;
  p.fillMode = 7;
  const Ro::Vision::FillGapLimits limits = Ro::Vision::DeriveFillGapLimits(p);
  EXPECT_EQ(limits.gapCellsX, 3);
  EXPECT_EQ(limits.gapCellsY, 0);
  EXPECT_EQ(limits.slopeStepX, 10);  // 0.1 * tan(45) / 0.01 = 9.99999... rounds to 10
  EXPECT_EQ(limits.slopeStepY, 0);   // angle 0: no rise is a slope
  EXPECT_EQ(limits.spacingX1000, 100);
  EXPECT_EQ(limits.spacingY1000, 63);  // 62.5 rounds half away from zero
  EXPECT_EQ(limits.fillMode, 7);
  p.maxSlopeAngleX = 89.9999;
  EXPECT_EQ(Ro::Vision::DeriveFillGapLimits(p).slopeStepX, 32767) << "capped";
}

// Gap cells 3 (max gap 6 over spacing 2), slope step 2. Without intensities given, zeros go in
// and must come out.
TEST_F(SurfaceFillGapTest, RowFillHandResults) {
  struct Case {
    const char* name;
    std::vector<short> in;
    int fillMode;
    std::vector<short> expected;
    std::vector<unsigned char> intensity = {}, expectedIntensity = {};
  };
  const std::vector<Case> cases = {
      {"slope at the limit interpolates",
       {0, N, N, 6},
       0,
       {0, 2, 4, 6},
       {10, 0, 0, 41},
       {10, 20, 30, 41}},
      {"steep rise, fill mode 0: lower edge and its intensity",
       {0, N, N, 7},
       0,
       {0, 0, 0, 7},
       {10, 0, 0, 40},
       {10, 10, 10, 40}},
      {"steep rise, fill mode 1: higher edge",
       {0, N, N, 7},
       1,
       {0, 7, 7, 7},
       {10, 0, 0, 40},
       {10, 40, 40, 40}},
      {"steep drop, fill mode 1: higher (left) edge",
       {7, N, N, 0},
       1,
       {7, 7, 7, 0},
       {10, 0, 0, 40},
       {10, 10, 10, 40}},
      {"nulls at the ends stay",
       {N, 1, N, 3, N},
       0,
       {N, 1, 2, 3, N},
       {0, 1, 0, 3, 0},
       {0, 1, 2, 3, 0}},
      {"interpolation truncates toward zero", {0, N, N, -4}, 0, {0, -1, -2, -4}},
      {"three nulls are filled", {0, N, N, N, 8}, 0, {0, 2, 4, 6, 8}},
      {"four are not", {0, N, N, N, N, 8}, 0, {0, N, N, N, N, 8}},
  };
  for (Case c : cases) {
    if (c.intensity.empty()) c.intensity = c.expectedIntensity = Bytes::value_type(c.in.size());
    SurfaceFillGapParams p = Params(6, 0);
    p.fillMode = c.fillMode;
    const Result got = Fill(p, {c.in}, {c.intensity});
    EXPECT_EQ(got.heights, Heights{c.expected}) << c.name;
    EXPECT_EQ(got.intensities, Bytes{c.expectedIntensity}) << c.name;
  }
}

TEST_F(SurfaceFillGapTest, GapLimitsDifferByOneBetweenProfileAndSurface) {
  // The surface counts null cells, the profile filter the distance between the edges.
  const std::vector<short> line = {0, N, N, 6};
  EXPECT_EQ(Fill(Params(4, 0), {line}).heights, (Heights{{0, 2, 4, 6}})) << "2 cells: filled";
  std::vector<short> profile(line.size());
  Ro::Vision::ProfileFilter(line.data(), line.size(), profile.data(), nullptr).FillGap(2, 2, 0);
  EXPECT_EQ(profile, line) << "edges 3 apart exceed maxGap 2: not filled";
}

TEST_F(SurfaceFillGapTest, ColumnFillIsTheRowFillTransposed) {
  const Heights rows = {{0, N, N, 6, N, 9, N, N, N, N, 1},
                        {N, 5, N, N, 30, 4, N, 2, N, N, N},
                        {N, N, N, N, N, N, N, N, N, N, N}};
  EXPECT_EQ(Fill(Params(0, 6), Transpose(rows)).heights,
            Transpose(Fill(Params(6, 0), rows).heights));
}

TEST_F(SurfaceFillGapTest, BothDirectionsWeighFillsByTheOtherSpan) {
  // The centre is reached by the row (0 .. 40, fill 20, span 2 cells) and the column
  // (10 .. 50, fill 30, span 2 cells).
  const Heights in = {{N, 10, N}, {0, N, 40}, {N, 50, N}};
  const Bytes intensity = {{0, 100, 0}, {20, 0, 40}, {0, 200, 0}};
  SurfaceFillGapParams p = Params(10, 10);
  p.maxSlopeAngleX = p.maxSlopeAngleY = 89;
  // Equal spacings: the plain mean.
  Result got = Fill(p, in, intensity);
  EXPECT_EQ(got.heights[1][1], 25);
  EXPECT_EQ(got.intensities[1][1], 90);  // (30 + 150) / 2
  // Rows 3 apart, columns 1: the row's fill (the shorter world gap) weighs 3 : 1.
  p.xSpacing = 1;
  p.ySpacing = 3;
  got = Fill(p, in, intensity);
  EXPECT_EQ(got.heights[1][1], 23) << "(20 * 3 + 30) / 4 = 22.5 rounds half away from zero";
  EXPECT_EQ(got.intensities[1][1], 60) << "(30 * 3 + 150) / 4";
  // Cells that only one direction reaches take that fill; corners stay null.
  EXPECT_EQ(got.heights[0][0], N);
  EXPECT_EQ(got.heights[1][0], 0);
  const Heights longColumn = {{N, 10, N}, {0, N, 40}, {N, N, N}, {N, N, N}, {N, 50, N}};
  SurfaceFillGapParams shortY = Params(10, 4);
  shortY.maxSlopeAngleX = shortY.maxSlopeAngleY = 89;
  EXPECT_EQ(Fill(shortY, longColumn).heights[1][1], 20) << "the column gap is too long";
}

TEST_F(SurfaceFillGapTest, NoGapLimitMeansExactCopies) {
  const Heights in = {{1, N, 3}, {N, N, N}};
  const Bytes intensity = {{1, 2, 3}, {4, 5, 6}};
  for (double gap : {0.0, -5.0, 1.0}) {  // 1 / spacing 2 truncates to 0 cells as well
    const Result got = Fill(Params(gap, gap), in, intensity);
    EXPECT_EQ(got.heights, in);
    EXPECT_EQ(got.intensities, intensity);
  }
  EXPECT_EQ(Fill(Params(0, 0), in).heights, in);
}

TEST_F(SurfaceFillGapTest, RefusesBadArguments) {
  const auto heights = filtertest::H({{1, 2}, {3, 4}}), none = Ty::Object<void*>();
  const auto bytes = filtertest::B({{1, 2}, {3, 4}}), wideBytes = filtertest::B({{1, 2, 3}});
  Ty::Object<void*> outHeights, outIntensities;
  const auto call = [&](void (*change)(SurfaceFillGapParams&), const Ty::Object<void*>& h,
                        const Ty::Object<void*>& i) {
    return [&, change] {
      SurfaceFillGapParams p = Params(4, 4);
      change(p);
      Ro::Vision::SurfaceFillGapXY(p, h, i, outHeights, outIntensities, alloc_);
    };
  };
  const auto same = [](SurfaceFillGapParams&) {};
  filtertest::ExpectRefusals(
      {{"null heights", call(same, none, none), 2451},
       {"heights not z16s", call(same, bytes, none), 2451},
       {"intensities not z8u", call(same, heights, heights), 2452},
       {"intensities of another size", call(same, heights, wideBytes), 2452},
       {"angle x of exactly 90", call([](auto& p) { p.maxSlopeAngleX = 90; }, heights, none), 2453},
       {"negative angle x", call([](auto& p) { p.maxSlopeAngleX = -1; }, heights, none), 2453},
       {"NaN angle y", call([](auto& p) { p.maxSlopeAngleY = NAN; }, heights, none), 2454},
       {"zero spacing", call([](auto& p) { p.xSpacing = 0; }, heights, none)},
       {"zero z scale", call([](auto& p) { p.zScale = 0; }, heights, none)}},
      "Ro::Vision::SurfaceFillGapXY");
  EXPECT_TRUE(outHeights.IsNull());
}

TEST_F(SurfaceFillGapTest, FailingAllocationsRaiseThePlatformStatus) {
  const auto heights = filtertest::H({{1, N, 3}, {N, 5, N}});
  const auto intensities = filtertest::B({{1, 2, 3}, {4, 5, 6}});
  for (double gap : {0.0, 4.0}) {
    rotest::ExpectEveryAllocationFailureRaised(alloc_, [&] {
      Ty::Object<void*> outHeights, outIntensities;
      Ro::Vision::SurfaceFillGapXY(Params(gap, gap), heights, intensities, outHeights,
                                   outIntensities, alloc_);
    });
  }
}

}  // namespace
