#include "MaskSurfaceShapes.h"

#include <zApi/zArray2.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "../Geometry/PolygonContainment.h"
#include "../Geometry/SectorContainment.h"
#include "../Geometry/ShapeConversion.h"
#include "MaskSurfacePrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr double kEpsilon = 1.1920928955078125e-7;
constexpr double kPi = 3.141592653589793;

// The circle as the elliptical sector it is (full axes = diameters), for the extent.
EllipticalSector2d<double> AsEllipticalSector(const AnnularSector2d<double>& s) {
  auto diameter = [](double r) { return r == kNullDouble ? kNullDouble : 2 * r; };
  EllipticalSector2d<double> e;
  e.innerLength = e.innerWidth = diameter(s.innerRadius);
  e.outerLength = e.outerWidth = diameter(s.outerRadius);
  e.startAngle = s.startAngle;
  e.angleSpan = s.angleSpan;
  e.center = s.center;
  e.angle = 0;
  return e;
}

}  // namespace

PolygonRoiSurface::PolygonRoiSurface(const Surface& surface,
                                     const std::vector<Point2d<double>>& corners, void* allocator)
    : RoiSurface(surface, allocator), corners_(corners) {}

PolygonRoiSurface::PolygonRoiSurface(const Surface& surface, void* allocator)
    : RoiSurface(surface, allocator) {}

void PolygonRoiSurface::UpdateInputParams(const Surface& surface,
                                          const std::vector<Point2d<double>>& corners,
                                          void* allocator) {
  surface_ = surface;
  allocator_ = allocator;
  corners_ = corners;
  _ResetPreviousStatus();
}

void PolygonRoiSurface::_CalculateBoundingBox() {
  if (_SetFullBoundingBox()) return;
  _CheckResolution("Ro::Vision::PolygonRoiSurface::_CalculateBoundingBox");
  if (corners_.empty()) {
    boundingBox_ = Rect2d<int>{0, 0, 0, 0};
    boundingRegion_ = Region2d<double>{0, 0, 0, 0, 0};
    return;
  }
  double xMin = corners_[0].x, xMax = xMin, yMin = corners_[0].y, yMax = yMin;
  for (const Point2d<double>& p : corners_) {
    xMin = std::min(xMin, p.x);
    xMax = std::max(xMax, p.x);
    yMin = std::min(yMin, p.y);
    yMax = std::max(yMax, p.y);
  }
  _SetBoundingBoxFromExtent(xMin, xMax, yMin, yMax);
}

void PolygonRoiSurface::_AssignMask() {
  const mask::PolygonSpans spans(corners_);
  const mask::GridAxes axes = mask::AxesOf(surface_);
  _AssignShapeMask(
      "Ro::Vision::PolygonRoiSurface::_AssignMask",
      [&](int row, int x0, int x1, unsigned char* out) { spans.FillRow(axes, row, x0, x1, out); },
      [&](double x, double y) {
        return IsPointInPolygon(corners_, Point2d<double>{x, y}) != 0;
      });
}

RectangleRoiSurface::RectangleRoiSurface(const Surface& surface, const Region2d<double>& region,
                                         void* allocator)
    : PolygonRoiSurface(surface, allocator) {
  SetRegion(region);
}

RectangleRoiSurface::RectangleRoiSurface(const Surface& surface, const Region3d<double>& region,
                                         void* allocator)
    : PolygonRoiSurface(surface, allocator) {
  Region2d<double> flat;
  Rect3dTo2d(region, &flat);
  SetRegion(flat);
}

RectangleRoiSurface::RectangleRoiSurface(const Surface& surface, void* allocator)
    : PolygonRoiSurface(surface, allocator) {
  fullBoundingBox_ = 1;
}

void RectangleRoiSurface::SetRegion(const Region2d<double>& region) {
  region_ = region;
  ExtractPolygonFromRect(region, &corners_);
}

MaskType RectangleRoiSurface::GetShapeType() const {
  const double a = region_.angle == kNullDouble ? 0 : region_.angle;
  const double q = a / 90;
  const double n = std::trunc(q > 0 ? q + 0.5 : q - 0.5);
  return std::fabs(a - 90 * n) < kEpsilon ? MaskType::Rectangle : MaskType::RotatedRectangle;
}

RectRegionRLE* RectangleRoiSurface::GetRectRegionRLE() {
  return _BuildRectRegionRLE();
}

void RectangleRoiSurface::UpdateInputParams(const Surface& surface, const Region2d<double>& region,
                                            void* allocator) {
  surface_ = surface;
  allocator_ = allocator;
  _ResetPreviousStatus();
  SetRegion(region);
}

void RectangleRoiSurface::UpdateInputParams(const Surface& surface, const Region3d<double>& region,
                                            void* allocator) {
  Region2d<double> flat;
  Rect3dTo2d(region, &flat);
  UpdateInputParams(surface, flat, allocator);
}

void RectangleRoiSurface::UpdateInputParams(const Surface& surface, void* allocator) {
  surface_ = surface;
  allocator_ = allocator;
  _ResetPreviousStatus();
  region_ = Region2d<double>();
  corners_.clear();
  fullBoundingBox_ = 1;
}

void RectangleRoiSurface::_AssignMask() {
  if (!fullBoundingBox_) {
    PolygonRoiSurface::_AssignMask();
    return;
  }
  _AssignShapeMask(
      "Ro::Vision::RectangleRoiSurface::_AssignMask",
      [](int, int x0, int x1, unsigned char* out) {
        if (x1 > x0) std::memset(out, 1, std::size_t(x1 - x0));
      },
      [](double, double) { return true; });
}

EllipseRoiSurface::EllipseRoiSurface(const Surface& surface,
                                     const EllipticalSector2d<double>& sector, void* allocator)
    : RoiSurface(surface, allocator), sector_(sector) {}

void EllipseRoiSurface::UpdateInputParams(const Surface& surface,
                                          const EllipticalSector2d<double>& sector,
                                          void* allocator) {
  surface_ = surface;
  allocator_ = allocator;
  sector_ = sector;
  _ResetPreviousStatus();
}

void EllipseRoiSurface::_CalculateBoundingBox() {
  if (_SetFullBoundingBox()) return;
  _CheckResolution("Ro::Vision::EllipseRoiSurface::_CalculateBoundingBox");
  const EllipticalSector2d<double>& s = sector_;
  if (s.outerWidth == kNullDouble || s.outerLength == kNullDouble) {
    // No outer bound: the sector may reach every sample.
    fullBoundingBox_ = 1;
    _SetFullBoundingBox();
    fullBoundingBox_ = 0;
    return;
  }
  // Half extents of the turned outer ellipse: sqrt(a^2 cos^2 + b^2 sin^2) and its twin.
  const double t = (s.angle == kNullDouble ? 0 : s.angle) * kPi / 180;
  const double a = std::fabs(s.outerWidth) / 2, b = std::fabs(s.outerLength) / 2;
  const double c = std::cos(t), sn = std::sin(t);
  const double hx = std::sqrt(a * a * c * c + b * b * sn * sn);
  const double hy = std::sqrt(a * a * sn * sn + b * b * c * c);
  _SetBoundingBoxFromExtent(s.center.x - hx, s.center.x + hx, s.center.y - hy, s.center.y + hy);
}

void EllipseRoiSurface::_AssignMask() {
  const mask::GridAxes axes = mask::AxesOf(surface_);
  const EllipticalSector2d<double> sector = sector_;
  _AssignShapeMask(
      "Ro::Vision::EllipseRoiSurface::_AssignMask",
      [&](int row, int x0, int x1, unsigned char* out) {
        mask::FillEllipticalRow(sector, axes, row, x0, x1, out);
      },
      [&](double x, double y) {
        return IsPointInEllipticalSector(sector, Point2d<double>{x, y}) != 0;
      });
}

CircleRoiSurface::CircleRoiSurface(const Surface& surface, const AnnularSector2d<double>& sector,
                                   void* allocator)
    : EllipseRoiSurface(surface, AsEllipticalSector(sector), allocator), annular_(sector) {}

void CircleRoiSurface::UpdateInputParams(const Surface& surface,
                                         const AnnularSector2d<double>& sector, void* allocator) {
  EllipseRoiSurface::UpdateInputParams(surface, AsEllipticalSector(sector), allocator);
  annular_ = sector;
}

void CircleRoiSurface::_AssignMask() {
  const mask::GridAxes axes = mask::AxesOf(surface_);
  const AnnularSector2d<double> sector = annular_;
  _AssignShapeMask(
      "Ro::Vision::CircleRoiSurface::_AssignMask",
      [&](int row, int x0, int x1, unsigned char* out) {
        mask::FillAnnularRow(sector, axes, row, x0, x1, out);
      },
      [&](double x, double y) {
        return IsPointInAnnularSector(sector, Point2d<double>{x, y}) != 0;
      });
}

}  // namespace Vision
}  // namespace Ro
