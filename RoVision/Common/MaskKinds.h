// The kinds of region masks shared by the surface and profile regions of interest.
#ifndef ROVISION_COMMON_MASKKINDS_H
#define ROVISION_COMMON_MASKKINDS_H

namespace Ro {
namespace Vision {

// What GetShapeType of a region returns.
enum class MaskType : int {
  Circle = 0,            // annular sector
  Ellipse = 1,           // elliptical sector
  Polygon = 2,           // corner list
  RotatedRectangle = 3,  // rectangle turned by other than a multiple of 90 degrees
  Surface = 4,           // the valid samples of a second surface
  Intensity = 5,         // an intensity range of a second surface
  Composed = 7,          // members combined by a MaskMode
  Rectangle = 8,         // rectangle turned by a multiple of 90 degrees (or the whole surface)
};

// Include: a shape's mask is 1 inside it, a composed mask is the union of its members.
// Exclude: a shape's mask is 1 outside it, a composed mask is the intersection of its members.
enum class MaskMode : int {
  Include = 0,
  Exclude = 1,
};

// How MaskOperation combines two masks byte by byte; any other value writes nothing.
enum class MaskOperationType : int {
  And = 0,
  Or = 1,
};

}  // namespace Vision
}  // namespace Ro

#endif
