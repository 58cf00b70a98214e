// The kinds of region of interest and how a region's shape becomes its mask; shared by the
// profile and surface regions.
#ifndef ROVISION_COMMON_MASKTYPES_H
#define ROVISION_COMMON_MASKTYPES_H

#include <cstdint>

namespace Ro {
namespace Vision {

// What a region's mask holds. For a composed region the same two values choose how its members
// combine: Include = union, Exclude = intersection.
enum class MaskMode : int32_t {
  Include = 0,  // 1 inside the shape
  Exclude = 1,  // 1 outside the shape
};

// The shape of a region, as GetShapeType reports it.
enum class MaskType : int32_t {
  Circle = 0,
  Ellipse = 1,
  Polygon = 2,
  RotatedRectangle = 3,
  Surface = 4,
  Intensity = 5,
  Composed = 7,
  Rectangle = 8,
};

}  // namespace Vision
}  // namespace Ro

#endif
