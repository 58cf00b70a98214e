// The samples of a recipe region over a scan, and regions moved by an anchor.
#ifndef ROVISION_TOOLS_REGIONCELLS_H
#define ROVISION_TOOLS_REGIONCELLS_H

#include <RoVision/RoVision.h>
#include <TyApi/TyObject.h>

#include "Recipe.h"

namespace rovision {

// The region's bounding box over the surface (first column, first row, columns, rows; all 0
// when the region misses the surface) and its mask: a zArray2 of z8u of the box's size, 1 for
// the samples that belong to the region. A sample belongs to a shape when its world position
// (X = offset.x + column * scale.x, Y = offset.y + row * scale.y) lies inside it, edges
// included; null heights do not matter here. A composed region holds the samples of any of its
// `include` regions that lie in none of its `exclude` ones.
struct RegionCells {
  rv::Rect2d<int> box{0, 0, 0, 0};
  Ty::Object<void*> mask;

  bool Empty() const { return box.width <= 0 || box.height <= 0; }
};

RegionCells BuildRegionCells(const rv::Surface& surface, const RegionShape& shape);

// The shape moved so that its coordinates count from the anchor's point (x, y); no turn.
RegionShape AnchorShape(const RegionShape& shape, const rv::Anchor& anchor);

}  // namespace rovision

#endif
