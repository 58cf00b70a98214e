// Anchoring recipe regions through the library's anchor functions.
#include "RegionCells.h"

namespace rovision {

RegionShape AnchorShape(const RegionShape& shape, const rv::Anchor& anchor) {
  RegionShape moved = shape;
  switch (shape.kind) {
    case RegionShape::Kind::Rectangle:
      rv::AnchorRegion(anchor, shape.rectangle, &moved.rectangle);
      break;
    case RegionShape::Kind::Polygon:
      rv::AnchorPolygon(anchor, shape.polygon, &moved.polygon);
      break;
    case RegionShape::Kind::Circle: {
      rv::AnnularSector3d<double> sector;
      rv::AnnularSector2dTo3d(shape.circle, &sector);
      rv::AnchorAnnularSector(anchor, rv::kRotationOrderXYZ, sector, &sector);
      rv::AnnularSector3dTo2d(sector, &moved.circle);
      break;
    }
    case RegionShape::Kind::Ellipse: {
      rv::EllipticalSector3d<double> sector;
      rv::EllipticalSector2dTo3d(shape.ellipse, &sector);
      rv::AnchorEllipticalSector(anchor, rv::kRotationOrderXYZ, sector, &sector);
      rv::EllipticalSector3dTo2d(sector, &moved.ellipse);
      break;
    }
    case RegionShape::Kind::Composed:
      for (RegionShape& member : moved.include) member = AnchorShape(member, anchor);
      for (RegionShape& member : moved.exclude) member = AnchorShape(member, anchor);
      break;
  }
  return moved;
}

}  // namespace rovision
