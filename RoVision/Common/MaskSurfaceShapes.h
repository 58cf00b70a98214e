// Shape regions of interest over a surface: polygons, rectangles, elliptical and annular
// sectors. See MaskSurfaceRoi.h for the bounding box, mask and point-cloud rules.
//
// The bounding box is the shape's axis-aligned world extent turned into columns and rows with
// the region-to-index rule (first = ceil((min - offset) / scale), last = floor((max - offset) /
// scale), clipped to the surface); the bounding region is that world extent. A sample belongs to
// the shape when its world position passes the shape's containment test (IsPointInPolygon,
// IsPointInEllipticalSector, IsPointInAnnularSector); the masks are built from per-row spans
// that give exactly the cells of that test.
#ifndef ROVISION_COMMON_MASKSURFACESHAPES_H
#define ROVISION_COMMON_MASKSURFACESHAPES_H

#include <vector>

#include "MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {

// A polygon given by its corners in order (even-odd rule, edges inside). Extent: the corners'.
class RO_API PolygonRoiSurface : public RoiSurface {
 public:
  PolygonRoiSurface(const Surface& surface, const std::vector<Point2d<double>>& corners,
                    void* allocator);
  MaskType GetShapeType() const override { return MaskType::Polygon; }
  const std::vector<Point2d<double>>& GetShape() const { return corners_; }
  void UpdateInputParams(const Surface& surface, const std::vector<Point2d<double>>& corners,
                         void* allocator);

 protected:
  PolygonRoiSurface(const Surface& surface, void* allocator);
  void _CalculateBoundingBox() override;
  void _AssignMask() override;
  std::vector<Point2d<double>> corners_;
};

// A centre-style rectangle turned by its angle (its corner polygon, ExtractPolygonFromRect), or
// the whole surface. Built from a Region3d, only its footprint counts (x, y, width, length,
// angleZ); a height range is set with HeightThreshold. GetShapeType: 8 when the angle is within
// 1.1920928955078125e-7 of a multiple of 90 degrees (or unset, or the whole surface), else 3.
// The whole surface has every sample in its mask (on a point cloud, every point without a null
// component) and keeps the default (unset) shape.
class RO_API RectangleRoiSurface : public PolygonRoiSurface {
 public:
  RectangleRoiSurface(const Surface& surface, const Region2d<double>& region, void* allocator);
  RectangleRoiSurface(const Surface& surface, const Region3d<double>& region, void* allocator);
  RectangleRoiSurface(const Surface& surface, void* allocator);
  MaskType GetShapeType() const override;
  RectRegionRLE* GetRectRegionRLE() override;
  const Region2d<double>& GetShape() const { return region_; }
  void UpdateInputParams(const Surface& surface, const Region2d<double>& region, void* allocator);
  void UpdateInputParams(const Surface& surface, const Region3d<double>& region, void* allocator);
  void UpdateInputParams(const Surface& surface, void* allocator);

 protected:
  void _AssignMask() override;

 private:
  void SetRegion(const Region2d<double>& region);
  Region2d<double> region_;
};

// An elliptical sector. Extent: the outer ellipse's (the whole surface when it is unset).
class RO_API EllipseRoiSurface : public RoiSurface {
 public:
  EllipseRoiSurface(const Surface& surface, const EllipticalSector2d<double>& sector,
                    void* allocator);
  MaskType GetShapeType() const override { return MaskType::Ellipse; }
  const EllipticalSector2d<double>& GetShape() const { return sector_; }
  void UpdateInputParams(const Surface& surface, const EllipticalSector2d<double>& sector,
                         void* allocator);

 protected:
  void _CalculateBoundingBox() override;
  void _AssignMask() override;
  EllipticalSector2d<double> sector_;
};

// An annular sector. Extent: the outer circle's (the whole surface when it is unset).
class RO_API CircleRoiSurface : public EllipseRoiSurface {
 public:
  CircleRoiSurface(const Surface& surface, const AnnularSector2d<double>& sector, void* allocator);
  MaskType GetShapeType() const override { return MaskType::Circle; }
  const AnnularSector2d<double>& GetShape() const { return annular_; }
  void UpdateInputParams(const Surface& surface, const AnnularSector2d<double>& sector,
                         void* allocator);

 protected:
  void _AssignMask() override;

 private:
  AnnularSector2d<double> annular_;
};

}  // namespace Vision
}  // namespace Ro

#endif
