// Regions of interest for the tests of the region overloads: a height map with scattered and
// block nulls, the regions over it, and the box-sized copy of a region's mask that the
// rectangle-and-mask overloads take.
#ifndef ROVISION_TESTS_SUPPORT_REGIONCASES_H
#define ROVISION_TESTS_SUPPORT_REGIONCASES_H

#include <RoVision/Common/MaskSurface.h>
#include <zApi/zApi.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace rotest {

// 40 rows by 50 columns at 0.1 x 0.1 from (-2.5, -2): about 10% scattered nulls and a null
// block over rows 18..21, columns 20..29, heights spread over -800..799.
inline Ro::Vision::Surface RegionTestSurface(zAlloc alloc = nullptr) {
  std::mt19937 random(11);
  std::vector<std::vector<short>> map(40, std::vector<short>(50));
  for (int r = 0; r < 40; ++r) {
    for (int c = 0; c < 50; ++c) {
      const bool null = random() % 10 == 0 || (r >= 18 && r <= 21 && c >= 20 && c <= 29);
      map[r][c] = null ? short(-32768) : short(int(random() % 1600) - 800);
    }
  }
  Ro::Vision::Surface s;
  s.scale = {0.1, 0.1, 0.002};
  s.offset = {-2.5, -2, 1};
  s.layers.push_back(MakeArray2<short>(zTypeOf(z16s), map, alloc));
  return s;
}

inline Ro::Vision::Region2d<double> CentreRect(double x, double y, double width, double length,
                                               double angle) {
  Ro::Vision::Region2d<double> r;
  r.x = x, r.y = y, r.width = width, r.length = length, r.angle = angle;
  return r;
}

struct RegionCase {
  std::string name;
  std::shared_ptr<Ro::Vision::RoiSurface> roi;
};

// A rotated rectangle, an axis-aligned rectangle over the null block, a composed region (a
// rotated rectangle with an elliptical sector) and a rectangle with a height threshold.
inline std::vector<RegionCase> RegionCases(const Ro::Vision::Surface& s, zAlloc alloc) {
  namespace rv = Ro::Vision;
  auto composed = std::make_shared<rv::ComposedRoiSurface>(s, rv::MaskMode::Include, alloc);
  composed->Add(
      std::make_shared<rv::RectangleRoiSurface>(s, CentreRect(-1, 0.5, 2, 0.8, -40), alloc));
  rv::EllipticalSector2d<double> e;
  e.center = {1.0, -0.5};
  e.outerWidth = 1.2;
  e.outerLength = 0.8;
  e.innerWidth = 0.3;
  e.innerLength = 0.2;
  e.startAngle = 10;
  e.angleSpan = 300;
  e.angle = 25;
  composed->Add(std::make_shared<rv::EllipseRoiSurface>(s, e, alloc));
  auto thresholded =
      std::make_shared<rv::RectangleRoiSurface>(s, CentreRect(0.3, -0.2, 3, 2, 0), alloc);
  thresholded->HeightThreshold(0.5, 1.8);
  return {
      {"rotated",
       std::make_shared<rv::RectangleRoiSurface>(s, CentreRect(0.2, 0.1, 3, 1.6, 30), alloc)},
      {"over nulls",
       std::make_shared<rv::RectangleRoiSurface>(s, CentreRect(0, 0, 1.5, 0.6, 0), alloc)},
      {"composed", composed},
      {"thresholded", thresholded},
  };
}

// The region's mask inside its bounding box, as a box-sized z8u array.
inline Ty::Object<void*> BoxMaskOf(Ro::Vision::RoiSurface& roi, zAlloc alloc = nullptr) {
  void* mask = roi.GetMask();
  const Ro::Vision::Rect2d<int> box = roi.GetBoundingBox();
  std::vector<std::vector<unsigned char>> cells(box.height, std::vector<unsigned char>(box.width));
  for (int r = 0; r < box.height; ++r) {
    const auto* row = static_cast<const unsigned char*>(zArray2_Row(mask, zSize(box.y + r)));
    for (int c = 0; c < box.width; ++c) cells[r][c] = row[box.x + c];
  }
  return MakeArray2<unsigned char>(zTypeOf(z8u), cells, alloc);
}

}  // namespace rotest

#endif
