// The samples of a recipe region over a scan, and regions moved by an anchor.
// Both stand on the library's surface regions of interest (RoiSurface and its shapes).
#ifndef ROVISION_TOOLS_REGIONCELLS_H
#define ROVISION_TOOLS_REGIONCELLS_H

#include <RoVision/RoVision.h>
#include <TyApi/TyObject.h>

#include "Recipe.h"

namespace rovision {

// Which samples of a surface belong to a region. A sample belongs to a shape when its world
// position (X = offset.x + column * scale.x, Y = offset.y + row * scale.y) lies inside it, edges
// included. A composed region holds the samples of any of its `include` regions that lie in
// none of its `exclude` ones.

// The region's bounding box over the surface: first column, first row, columns, rows; a width
// or height of 0 when the region misses the surface.
rv::Rect2d<int> RegionBox(const rv::Surface& surface, const RegionShape& shape);

// The region's mask over `box` (a box of the surface's samples): a new zArray2 of z8u of the
// box's size, 1 for the samples of the region. A composed region with exclusions also leaves out
// null heights (the library reverses the excluded masks over the valid samples); measurements
// skip them anyway.
Ty::Object<void*> RegionMask(const rv::Surface& surface, const RegionShape& shape,
                             const rv::Rect2d<int>& box);

// The shape moved so that its coordinates count from the anchor's point (x, y); no turn.
RegionShape AnchorShape(const RegionShape& shape, const rv::Anchor& anchor);

}  // namespace rovision

#endif
