// Region cells from the library's containment tests, sample by sample. Stands in until the
// library's surface regions of interest are on this branch.
#include <zApi/zApi.h>

#include <algorithm>
#include <cmath>

#include "RegionCells.h"

namespace rovision {

namespace {

struct Extent {
  double xMin = INFINITY, xMax = -INFINITY, yMin = INFINITY, yMax = -INFINITY;
  void Add(double x, double y) {
    xMin = std::min(xMin, x), xMax = std::max(xMax, x);
    yMin = std::min(yMin, y), yMax = std::max(yMax, y);
  }
};

std::vector<rv::Point2d<double>> RectangleCorners(const RegionShape& shape) {
  std::vector<rv::Point2d<double>> corners;
  rv::ExtractPolygonFromRect(shape.rectangle, &corners);
  return corners;
}

Extent ExtentOf(const RegionShape& shape) {
  Extent extent;
  switch (shape.kind) {
    case RegionShape::Kind::Rectangle:
      for (const auto& p : RectangleCorners(shape)) extent.Add(p.x, p.y);
      break;
    case RegionShape::Kind::Polygon:
      for (const auto& p : shape.polygon) extent.Add(p.x, p.y);
      break;
    case RegionShape::Kind::Circle: {
      const auto& c = shape.circle;
      extent.Add(c.center.x - c.outerRadius, c.center.y - c.outerRadius);
      extent.Add(c.center.x + c.outerRadius, c.center.y + c.outerRadius);
      break;
    }
    case RegionShape::Kind::Ellipse: {
      const auto& e = shape.ellipse;
      const double reach = std::max(e.outerWidth, e.outerLength) / 2;
      extent.Add(e.center.x - reach, e.center.y - reach);
      extent.Add(e.center.x + reach, e.center.y + reach);
      break;
    }
    case RegionShape::Kind::Composed:
      for (const RegionShape& member : shape.include) {
        const Extent inner = ExtentOf(member);
        extent.Add(inner.xMin, inner.yMin);
        extent.Add(inner.xMax, inner.yMax);
      }
      break;
  }
  return extent;
}

bool Contains(const RegionShape& shape, const std::vector<rv::Point2d<double>>& corners,
              const rv::Point2d<double>& p) {
  switch (shape.kind) {
    case RegionShape::Kind::Rectangle:
      return rv::IsPointInPolygon(corners, p) != 0;
    case RegionShape::Kind::Polygon:
      return rv::IsPointInPolygon(shape.polygon, p) != 0;
    case RegionShape::Kind::Circle:
      return rv::IsPointInAnnularSector(shape.circle, p) != 0;
    case RegionShape::Kind::Ellipse:
      return rv::IsPointInEllipticalSector(shape.ellipse, p) != 0;
    case RegionShape::Kind::Composed:
      break;
  }
  auto inAny = [&](const std::vector<RegionShape>& members) {
    return std::any_of(members.begin(), members.end(), [&](const RegionShape& member) {
      return Contains(member, RectangleCorners(member), p);
    });
  };
  return inAny(shape.include) && !inAny(shape.exclude);
}

}  // namespace

rv::Rect2d<int> RegionBox(const rv::Surface& surface, const RegionShape& shape) {
  const Extent extent = ExtentOf(shape);
  const rv::Region2d<double> corner{extent.xMin, extent.yMin, extent.xMax - extent.xMin,
                                    extent.yMax - extent.yMin, 0};
  rv::Rect2d<int> box{0, 0, 0, 0};
  rv::GetRegionPixel(zArray2_Columns(surface.layers[0]), zArray2_Rows(surface.layers[0]),
                     zPoint64f{surface.offset.x, surface.offset.y},
                     zPoint64f{surface.scale.x, surface.scale.y}, &corner, &box, nullptr, 1, 0);
  return box;
}

Ty::Object<void*> RegionMask(const rv::Surface& surface, const RegionShape& shape,
                             const rv::Rect2d<int>& box) {
  zArray2 mask = nullptr;
  const zStatus status =
      zArray2_Construct(&mask, zTypeOf(z8u), zSize(box.height), zSize(box.width), nullptr);
  if (status != zOK) throw Ty::Exception(status, "cannot allocate a region mask");
  Ty::Object<void*> owned(mask);
  const std::vector<rv::Point2d<double>> corners = shape.kind == RegionShape::Kind::Rectangle
                                                       ? RectangleCorners(shape)
                                                       : std::vector<rv::Point2d<double>>();
  for (int r = 0; r < box.height; ++r) {
    auto* row = static_cast<z8u*>(zArray2_Row(mask, zSize(r)));
    const double y = surface.offset.y + (box.y + r) * surface.scale.y;
    for (int c = 0; c < box.width; ++c) {
      const double x = surface.offset.x + (box.x + c) * surface.scale.x;
      row[c] = Contains(shape, corners, rv::Point2d<double>{x, y}) ? 1 : 0;
    }
  }
  return owned;
}

}  // namespace rovision
