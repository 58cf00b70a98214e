#include "ShapeConversion.h"

#include <cmath>

#include "../Alignment/Anchor.h"
#include "../Alignment/RefFrame.h"
#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

const char* const kFile = "Geometry/Geometry";
// Below this the rectangle counts as unturned (the single-precision epsilon).
constexpr double kNegligibleAngle = 1.1920928955078125e-7;

void CheckOutput(const void* out, const char* function, int line) {
  if (!out) Throw(Site{kFile, function}, line, kInvalidArgument);
}

// The corners of the unturned rectangle about (cu, cw), in polygon order.
void RectCorners(double cu, double cw, double width, double length, Point3d<double> corners[4]) {
  const double hu = width / 2, hw = length / 2;
  corners[0] = Point3d<double>{cu - hu, cw - hw, 0};
  corners[1] = Point3d<double>{cu + hu, cw - hw, 0};
  corners[2] = Point3d<double>{cu + hu, cw + hw, 0};
  corners[3] = Point3d<double>{cu - hu, cw + hw, 0};
}

// Corners of a rectangle in a plane (u, w), turned about its centre through a RefFrame.
void TurnedRectCorners(double cu, double cw, double width, double length, double angle,
                       Point3d<double> corners[4]) {
  RectCorners(cu, cw, width, length, corners);
  if (std::fabs(angle) < kNegligibleAngle) return;
  Region3d<double> region;
  region.x = cu;
  region.y = cw;
  region.z = 0;
  region.width = width;
  region.length = length;
  region.height = 0;
  region.angleX = 0;
  region.angleY = 0;
  region.angleZ = angle;
  RefFrame frame;
  frame.Rotate(region, false);
  frame.ApplyN(corners, corners, 4);
}

}  // namespace

void Rect2dTo3d(const Region2d<double>& in, Region3d<double>* out) {
  CheckOutput(out, "Ro::Vision::Rect2dTo3d", 2566);
  out->x = in.x;
  out->y = in.y;
  out->z = 0;
  out->width = in.width;
  out->length = in.length;
  out->height = 0;
  out->angleZ = in.angle;
}

void Rect3dTo2d(const Region3d<double>& in, Region2d<double>* out) {
  CheckOutput(out, "Ro::Vision::Rect3dTo2d", 2552);
  *out = Region2d<double>{in.x, in.y, in.width, in.length, in.angleZ};
}

void Polygon3dTo2d(const std::vector<Point3d<double>>& in, std::vector<Point2d<double>>* out) {
  CheckOutput(out, "Ro::Vision::Polygon3dTo2d", 2582);
  std::vector<Point2d<double>> flat;
  flat.reserve(in.size());
  for (const Point3d<double>& p : in) flat.push_back(Point2d<double>{p.x, p.y});
  *out = std::move(flat);
}

void Polygon2dTo3d(const std::vector<Point2d<double>>& in, std::vector<Point3d<double>>* out) {
  CheckOutput(out, "Ro::Vision::Polygon2dTo3d", 2596);
  std::vector<Point3d<double>> lifted;
  lifted.reserve(in.size());
  for (const Point2d<double>& p : in) lifted.push_back(Point3d<double>{p.x, p.y, 0});
  *out = std::move(lifted);
}

void AnnularSector2dTo3d(const AnnularSector2d<double>& in, AnnularSector3d<double>* out) {
  CheckOutput(out, "Ro::Vision::AnnularSector2dTo3d", 2624);
  *out = AnnularSector3d<double>{in.innerRadius,
                                 in.outerRadius,
                                 in.startAngle,
                                 in.angleSpan,
                                 0,
                                 Point3d<double>{in.center.x, in.center.y, 0}};
}

void AnnularSector3dTo2d(const AnnularSector3d<double>& in, AnnularSector2d<double>* out) {
  CheckOutput(out, "Ro::Vision::AnnularSector3dTo2d", 2610);
  *out = AnnularSector2d<double>{in.innerRadius, in.outerRadius, in.startAngle, in.angleSpan,
                                 Point2d<double>{in.center.x, in.center.y}};
}

void EllipticalSector2dTo3d(const EllipticalSector2d<double>& in, EllipticalSector3d<double>* out) {
  CheckOutput(out, "Ro::Vision::EllipticalSector2dTo3d", 2656);
  out->innerLength = in.innerLength;
  out->innerWidth = in.innerWidth;
  out->outerLength = in.outerLength;
  out->outerWidth = in.outerWidth;
  out->startAngle = in.startAngle;
  out->angleSpan = in.angleSpan;
  out->height = 0;
  out->center = Point3d<double>{in.center.x, in.center.y, 0};
  out->angleZ = in.angle;
}

void EllipticalSector3dTo2d(const EllipticalSector3d<double>& in, EllipticalSector2d<double>* out) {
  CheckOutput(out, "Ro::Vision::EllipticalSector3dTo2d", 2639);
  *out = EllipticalSector2d<double>{in.innerLength,
                                    in.innerWidth,
                                    in.outerLength,
                                    in.outerWidth,
                                    in.startAngle,
                                    in.angleSpan,
                                    Point2d<double>{in.center.x, in.center.y},
                                    in.angleZ};
}

void ExtractPolygonFromRect(const Region2d<double>& region, std::vector<Point2d<double>>* out) {
  CheckOutput(out, "Ro::Vision::ExtractPolygonFromRect", 2929);
  Point3d<double> corners[4];
  TurnedRectCorners(region.x, region.y, region.width, region.length, region.angle, corners);
  out->clear();
  for (const Point3d<double>& c : corners) out->push_back(Point2d<double>{c.x, c.y});
}

void ExtractPolygonFromRect(const RegionXZ<double>& region, std::vector<PointXZ<double>>* out) {
  CheckOutput(out, "Ro::Vision::ExtractPolygonFromRect", 2966);
  Point3d<double> corners[4];
  TurnedRectCorners(region.x, region.z, region.width, region.height, region.angle, corners);
  out->clear();
  for (const Point3d<double>& c : corners) out->push_back(PointXZ<double>{c.x, c.y});
}

RegionXZ<double> TransformRegionXZ(const RegionXZ<double>& region, zPoint64f offset, double angle) {
  Anchor anchor;
  anchor.x = offset.x;
  anchor.z = offset.y;
  anchor.ry = angle;
  RegionXZ<double> moved;
  AnchorRegion(anchor, region, &moved);
  return moved;
}

}  // namespace Vision
}  // namespace Ro
