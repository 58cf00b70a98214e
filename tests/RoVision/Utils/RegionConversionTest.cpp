#include <RoVision/Utils/RegionConversion.h>
#include <gtest/gtest.h>

#include <vector>

#include "../Geometry/GeometryTestSupport.h"

namespace rv = Ro::Vision;
using geotest::Fields;
using geotest::Values;
using Ints = std::vector<int>;

namespace {

rv::RunLength<int> Axis(double start, double length, double offset, double scale,
                        const double* tolerance, int clip, unsigned long long count = 100) {
  const rv::RunLength<double> region{start, length};
  rv::RunLength<int> out{-9, -9};
  rv::GetRegionPixel(count, offset, scale, &region, &out, tolerance, clip);
  return out;
}

TEST(RegionPixel, OneAxisRule) {
  const double tol = 0.001, zeroTol = 0.0, wide = 0.01;
  struct Case {
    const char* name;
    double start, length, offset, scale;
    const double* tolerance;
    int clip;
    int first, count;
  };
  const std::vector<Case> cases = {
      {"ends on samples take both", 1.0, 1.0, 0.0, 0.5, nullptr, 1, 2, 3},
      {"between samples", 0.26, 0.5, 0.0, 0.5, nullptr, 1, 1, 1},
      {"a hair past a sample", 0.1000001, 0.5, 0.0, 0.1, nullptr, 1, 2, 5},
      {"tolerance takes it back", 0.1000001, 0.5, 0.0, 0.1, &tol, 1, 1, 6},
      {"offset and negative positions", -3.0, 2.0, -5.0, 1.0, nullptr, 1, 2, 3},
      {"zero tolerance drops an exact start", 1.0, 1.0, 0.0, 0.5, &zeroTol, 1, 3, 2},
      {"clipped on the left", -2.0, 4.0, 0.0, 1.0, nullptr, 1, 0, 3},
      {"clipped on the right", 98.0, 10.0, 0.0, 1.0, nullptr, 1, 98, 2},
      {"clipped on both sides", -5.0, 200.0, 0.0, 1.0, nullptr, 1, 0, 100},
      {"wholly left", -10.0, 5.0, 0.0, 1.0, nullptr, 1, 0, 0},
      {"wholly right", 100.0, 5.0, 0.0, 1.0, nullptr, 1, 100, 0},
      {"unclipped keeps raw indices", -2.0, 4.0, 0.0, 1.0, nullptr, 0, -2, 5},
      {"empty range", 0.2, 0.1, 0.0, 1.0, nullptr, 0, 1, 0},
      // On negative positions: the plain ceiling of -1.99999 is -1, the tolerant one -2; the
      // plain floor of -1.00001 is -2, the tolerant one (of -0.99001) -1.
      {"plain ceiling below zero", -1.99999, 1.0, 0.0, 1.0, nullptr, 0, -1, 1},
      {"tolerant ceiling below zero", -1.99999, 1.0, 0.0, 1.0, &wide, 0, -2, 2},
      {"plain floor below zero", -3.0, 1.99999, 0.0, 1.0, nullptr, 0, -3, 2},
      {"tolerant floor below zero", -3.0, 1.99999, 0.0, 1.0, &wide, 0, -3, 3},
  };
  for (const Case& c : cases) {
    const rv::RunLength<int> out = Axis(c.start, c.length, c.offset, c.scale, c.tolerance, c.clip);
    EXPECT_EQ(out.start, c.first) << c.name;
    EXPECT_EQ(out.length, c.count) << c.name;
  }
}

TEST(RegionPixel, NullArgumentsDoNothing) {
  rv::RunLength<int> out{7, 7};
  rv::GetRegionPixel(10, 0, 1, nullptr, &out);
  EXPECT_EQ(out.start, 7);
  const rv::RunLength<double> region{0, 1};
  rv::GetRegionPixel(10, 0, 1, &region, nullptr);  // must not crash
}

TEST(RegionPixel, TwoDimensionsIgnoreTheAngle) {
  const zPoint64f offset{10, 20}, scale{0.5, 0.25};
  const auto pixels = [&](const rv::Region2d<double>& region, int centreStyle = 1) {
    rv::Rect2d<int> out;
    rv::GetRegionPixel(40, 40, offset, scale, &region, &out, nullptr, 1, centreStyle);
    return Fields<int>(out);
  };
  // x: (12 - 1 - 10) / 0.5, y: (21 - 0.5 - 20) / 0.25.
  EXPECT_EQ(pixels({12, 21, 2, 1, 0}), (Ints{2, 2, 5, 5}));
  EXPECT_EQ(pixels({12, 21, 2, 1, 37}), (Ints{2, 2, 5, 5}));
  // Corner style: the position is the lowest corner.
  EXPECT_EQ(pixels({11, 20.5, 2, 1, 0}, 0), (Ints{2, 2, 5, 5}));
  // One axis beyond the data empties both.
  const Ints below = pixels({12, 40, 2, 1, 0});
  EXPECT_EQ(Ints(below.begin() + 2, below.end()), (Ints{0, 0}));
}

TEST(RegionPixel, XZClipsHeightsToTheSixteenBitRange) {
  const auto pixels = [](const rv::RegionXZ<double>& region) {
    rv::Rect2d<int> out;
    rv::GetRegionXZPixel(50, zPoint64f{0, 0}, zPoint64f{1, 1}, &region, &out);
    return Fields<int>(out);
  };
  EXPECT_EQ(pixels({5, 100, 4, 20}), (Ints{3, 90, 5, 21}));
  EXPECT_EQ(pixels({5, -32770, 4, 10}), (Ints{3, -32768, 5, 4}));  // Z from -32775 to -32765
  EXPECT_EQ(pixels({5, 32765, 4, 10}), (Ints{3, 32760, 5, 8}));    // Z from 32760 to 32770
  for (const rv::RegionXZ<double>& outside :
       {rv::RegionXZ<double>{5, 40000, 4, 10}, rv::RegionXZ<double>{500, 0, 4, 10}}) {
    const Ints out = pixels(outside);
    EXPECT_EQ(Ints(out.begin() + 2, out.end()), (Ints{0, 0})) << outside.x << ", " << outside.z;
  }
}

TEST(RegionPixel, ThreeDimensionsAddUnclippedHeights) {
  rv::SurfaceInputData data;
  data.width = 30;
  data.length = 20;
  data.offset = zPoint3d64f{0, 0, -10};
  data.scale = zPoint3d64f{0.1, 0.1, 0.01};
  const rv::Region3d<double> box{1, 1, 0, 1, 1, 1, 0, 0, 90};
  rv::Rect3d<int> out;
  rv::GetRegionPixel(data, &box, &out);
  EXPECT_EQ(Fields<int>(out), (Ints{5, 5, 11, 11, 950, 101}));         // z: (0 - 0.5 + 10) / 0.01
  const rv::Region3d<double> flat{1, 1, 0.005, 1, 1, 0.004, 0, 0, 0};  // between two counts
  rv::GetRegionPixel(data, &flat, &out);
  EXPECT_EQ((Ints{out.width, out.height, out.depth}), (Ints{0, 0, 0}));
}

TEST(RegionStyles, ConversionsRoundTrip) {
  const rv::Region3d<double> centre{10, 20, 30, 2, 4, 6, 1, 2, 3};
  const rv::Region3d<double> corner = rv::ConvertRegionToCornerStyle(centre);
  EXPECT_EQ(Fields(corner), (Values{9, 18, 27, 2, 4, 6, 1, 2, 3}));
  EXPECT_EQ(Fields(rv::ConvertRegionToCenterStyle(corner)), Fields(centre));
  EXPECT_EQ(Fields(rv::ConvertRegionToCornerStyle(rv::RegionXZ<double>{1, 1, 2, 4})),
            (Values{0, -1, 2, 4, rv::kNullDouble}));
  EXPECT_EQ(Fields(rv::ConvertRegionTozRect(centre)), (Values{9, 18, 27, 2, 4, 6}));
  EXPECT_EQ(Fields(rv::ConvertRegionTozRect(rv::Region2d<double>{0, 0, 2, 4, 45})),
            (Values{-1, -2, 2, 4}));
  EXPECT_NEAR(rv::CosDegree(60), 0.5, 1e-15);
  EXPECT_NEAR(rv::SinDegree(-90), -1, 1e-15);
}

}  // namespace
