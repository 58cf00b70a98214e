// Region cells from the library's surface regions of interest.
#include <zApi/zApi.h>

#include <cstring>
#include <memory>

#include "RegionCells.h"

namespace rovision {

namespace {

std::shared_ptr<rv::RoiSurface> MakeRoi(const rv::Surface& surface, const RegionShape& shape) {
  switch (shape.kind) {
    case RegionShape::Kind::Rectangle:
      return std::make_shared<rv::RectangleRoiSurface>(surface, shape.rectangle, nullptr);
    case RegionShape::Kind::Polygon:
      return std::make_shared<rv::PolygonRoiSurface>(surface, shape.polygon, nullptr);
    case RegionShape::Kind::Circle:
      return std::make_shared<rv::CircleRoiSurface>(surface, shape.circle, nullptr);
    case RegionShape::Kind::Ellipse:
      return std::make_shared<rv::EllipseRoiSurface>(surface, shape.ellipse, nullptr);
    case RegionShape::Kind::Composed:
      break;
  }
  auto included = std::make_shared<rv::ComposedRoiSurface>(surface, rv::MaskMode::Include, nullptr);
  for (const RegionShape& member : shape.include) included->Add(MakeRoi(surface, member));
  if (shape.exclude.empty()) return included;
  // An exclude-mode region intersects its members: the union of the included regions and the
  // reverse of each excluded one. A reversed mask drops null samples too, which a measurement
  // skips anyway.
  auto composed = std::make_shared<rv::ComposedRoiSurface>(surface, rv::MaskMode::Exclude, nullptr);
  composed->Add(included);
  for (const RegionShape& member : shape.exclude) {
    std::shared_ptr<rv::RoiSurface> excluded = MakeRoi(surface, member);
    excluded->ReverseMask();
    composed->Add(excluded);
  }
  return composed;
}

}  // namespace

rv::Rect2d<int> RegionBox(const rv::Surface& surface, const RegionShape& shape) {
  return MakeRoi(surface, shape)->GetBoundingBox();
}

Ty::Object<void*> RegionMask(const rv::Surface& surface, const RegionShape& shape,
                             const rv::Rect2d<int>& box) {
  const std::shared_ptr<rv::RoiSurface> roi = MakeRoi(surface, shape);
  void* whole = roi->GetMask();  // the surface's size
  zArray2 mask = nullptr;
  const zStatus status =
      zArray2_Construct(&mask, zTypeOf(z8u), zSize(box.height), zSize(box.width), nullptr);
  if (status != zOK) throw Ty::Exception(status, "cannot allocate a region mask");
  Ty::Object<void*> owned(mask);
  for (int r = 0; r < box.height; ++r) {
    std::memcpy(zArray2_Row(mask, zSize(r)),
                static_cast<const z8u*>(zArray2_Row(whole, zSize(box.y + r))) + box.x,
                zSize(box.width));
  }
  return owned;
}

}  // namespace rovision
