#include <RoVision/Utils/RegionConversion.h>
#include <gtest/gtest.h>

#include <vector>

namespace rv = Ro::Vision;

namespace {

rv::RunLength<int> Axis(double start, double length, double offset, double scale,
                        const double* tolerance, int clip, unsigned long long count = 100) {
  const rv::RunLength<double> region{start, length};
  rv::RunLength<int> out{-9, -9};
  rv::GetRegionPixel(count, offset, scale, &region, &out, tolerance, clip);
  return out;
}

TEST(RegionPixel, OneAxisRule) {
  const double tol = 0.001, zeroTol = 0.0;
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
  };
  for (const Case& c : cases) {
    const rv::RunLength<int> out = Axis(c.start, c.length, c.offset, c.scale, c.tolerance, c.clip);
    EXPECT_EQ(out.start, c.first) << c.name;
    EXPECT_EQ(out.length, c.count) << c.name;
  }
}

TEST(RegionPixel, TolerantBoundsOnNegativePositions) {
  const double tol = 0.01;
  // (lo - o) / s = -1.99999: the tolerant ceiling is -2, the plain one -1.
  EXPECT_EQ(Axis(-1.99999, 1.0, 0.0, 1.0, nullptr, 0).start, -1);
  EXPECT_EQ(Axis(-1.99999, 1.0, 0.0, 1.0, &tol, 0).start, -2);
  // The tolerant floor of -1.00001 + 0.01 reaches -1.
  EXPECT_EQ(Axis(-3.0, 1.99999, 0.0, 1.0, &tol, 0).length, 3);
  EXPECT_EQ(Axis(-3.0, 1.99999, 0.0, 1.0, nullptr, 0).length, 2);
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
  rv::Rect2d<int> straight, rotated;
  const rv::Region2d<double> a{12, 21, 2, 1, 0};
  const rv::Region2d<double> b{12, 21, 2, 1, 37};
  rv::GetRegionPixel(40, 40, offset, scale, &a, &straight);
  rv::GetRegionPixel(40, 40, offset, scale, &b, &rotated);
  EXPECT_EQ(straight.x, 2);  // (12 - 1 - 10) / 0.5
  EXPECT_EQ(straight.width, 5);
  EXPECT_EQ(straight.y, 2);  // (21 - 0.5 - 20) / 0.25
  EXPECT_EQ(straight.height, 5);
  EXPECT_EQ(rotated.x, straight.x);
  EXPECT_EQ(rotated.width, straight.width);
  EXPECT_EQ(rotated.height, straight.height);
  // Corner style: the position is the lowest corner.
  rv::Rect2d<int> corner;
  const rv::Region2d<double> c{11, 20.5, 2, 1, 0};
  rv::GetRegionPixel(40, 40, offset, scale, &c, &corner, nullptr, 1, 0);
  EXPECT_EQ(corner.x, straight.x);
  EXPECT_EQ(corner.y, straight.y);
  // One axis beyond the data empties both.
  const rv::Region2d<double> below{12, 40, 2, 1, 0};
  rv::GetRegionPixel(40, 40, offset, scale, &below, &corner);
  EXPECT_EQ(corner.width, 0);
  EXPECT_EQ(corner.height, 0);
}

TEST(RegionPixel, XZClipsHeightsToTheSixteenBitRange) {
  const zPoint64f offset{0, 0}, scale{1, 1};
  rv::Rect2d<int> out;
  const rv::RegionXZ<double> inside{5, 100, 4, 20};
  rv::GetRegionXZPixel(50, offset, scale, &inside, &out);
  EXPECT_EQ(out.x, 3);
  EXPECT_EQ(out.width, 5);
  EXPECT_EQ(out.y, 90);
  EXPECT_EQ(out.height, 21);
  const rv::RegionXZ<double> low{5, -32770, 4, 10};  // Z from -32775 to -32765
  rv::GetRegionXZPixel(50, offset, scale, &low, &out);
  EXPECT_EQ(out.y, -32768);
  EXPECT_EQ(out.height, 4);
  const rv::RegionXZ<double> high{5, 32765, 4, 10};  // Z from 32760 to 32770
  rv::GetRegionXZPixel(50, offset, scale, &high, &out);
  EXPECT_EQ(out.y, 32760);
  EXPECT_EQ(out.height, 8);
  const rv::RegionXZ<double> above{5, 40000, 4, 10};
  rv::GetRegionXZPixel(50, offset, scale, &above, &out);
  EXPECT_EQ(out.width, 0);
  EXPECT_EQ(out.height, 0);
  const rv::RegionXZ<double> outside{500, 0, 4, 10};
  rv::GetRegionXZPixel(50, offset, scale, &outside, &out);
  EXPECT_EQ(out.width, 0);
  EXPECT_EQ(out.height, 0);
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
  EXPECT_EQ(out.x, 5);
  EXPECT_EQ(out.width, 11);
  EXPECT_EQ(out.y, 5);
  EXPECT_EQ(out.height, 11);
  EXPECT_EQ(out.z, 950);  // (0 - 0.5 + 10) / 0.01
  EXPECT_EQ(out.depth, 101);
  const rv::Region3d<double> flat{1, 1, 0.005, 1, 1, 0.004, 0, 0, 0};  // between two counts
  rv::GetRegionPixel(data, &flat, &out);
  EXPECT_EQ(out.width, 0);
  EXPECT_EQ(out.height, 0);
  EXPECT_EQ(out.depth, 0);
}

TEST(RegionStyles, ConversionsRoundTrip) {
  const rv::Region3d<double> centre{10, 20, 30, 2, 4, 6, 1, 2, 3};
  const rv::Region3d<double> corner = rv::ConvertRegionToCornerStyle(centre);
  EXPECT_EQ(corner.x, 9);
  EXPECT_EQ(corner.y, 18);
  EXPECT_EQ(corner.z, 27);
  EXPECT_EQ(corner.angleZ, 3);
  const rv::Region3d<double> back = rv::ConvertRegionToCenterStyle(corner);
  EXPECT_EQ(back.x, 10);
  EXPECT_EQ(back.z, 30);
  const rv::RegionXZ<double> xz = rv::ConvertRegionToCornerStyle(rv::RegionXZ<double>{1, 1, 2, 4});
  EXPECT_EQ(xz.x, 0);
  EXPECT_EQ(xz.z, -1);
  const zRect3d64f rect = rv::ConvertRegionTozRect(centre);
  EXPECT_EQ(rect.x, 9);
  EXPECT_EQ(rect.length, 4);
  const zRect64f flat = rv::ConvertRegionTozRect(rv::Region2d<double>{0, 0, 2, 4, 45});
  EXPECT_EQ(flat.y, -2);
  EXPECT_EQ(flat.height, 4);
  EXPECT_NEAR(rv::CosDegree(60), 0.5, 1e-15);
  EXPECT_NEAR(rv::SinDegree(-90), -1, 1e-15);
}

}  // namespace
