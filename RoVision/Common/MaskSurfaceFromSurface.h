// Regions of interest taken from a second surface of the same size: its valid heights
// (SurfaceROI) or its intensities within a range (IntensityROI). The bounding box is the whole
// surface. Only height maps are accepted: when layer 0 of the region's surface is not a z16s
// array the mask raises -984 (after writing "Not support \"Surface\" mask for point cloud." or
// "Not support \"Intensity\" mask for point cloud." to the debug log for a zPoint3d16s cloud).
// A second surface whose layer (heights, respectively a z8u intensity layer 1) is missing or of
// another size or type raises -984 too.
#ifndef ROVISION_COMMON_MASKSURFACEFROMSURFACE_H
#define ROVISION_COMMON_MASKSURFACEFROMSURFACE_H

#include "MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// 1 where the second surface's height is not -32768.
class RO_API SurfaceROI : public RoiSurface {
 public:
  SurfaceROI(const Surface& surface, const Surface& maskSurface, void* allocator);
  MaskType GetShapeType() const override { return MaskType::Surface; }
  const Surface& GetShape() const { return maskSurface_; }
  void UpdateInputParams(const Surface& surface, const Surface& maskSurface, void* allocator);

 protected:
  void _CalculateBoundingBox() override;
  void _AssignMask() override;
  // Raises -984 (with the debug log for a zPoint3d16s cloud) unless layer 0 is a height map.
  void _CheckHeightMap(const char* function, const char* kindName) const;
  Surface maskSurface_;
};

// 1 where the second surface's intensity (layer 1, z8u) lies within [low, high], both included.
class RO_API IntensityROI : public SurfaceROI {
 public:
  IntensityROI(const Surface& surface, const Surface& maskSurface, unsigned char low,
               unsigned char high, void* allocator);
  MaskType GetShapeType() const override { return MaskType::Intensity; }
  void GetRange(unsigned char* low, unsigned char* high) const;
  void UpdateInputParams(const Surface& surface, const Surface& maskSurface, unsigned char low,
                         unsigned char high, void* allocator);

 protected:
  void _AssignMask() override;

 private:
  unsigned char low_;
  unsigned char high_;
};

}  // namespace Vision
}  // namespace Ro

#endif
