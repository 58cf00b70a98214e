#include "PlaneMeasure.h"

#include <zApi/zArrayList.h>
#include <zApi/zObject.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr char kUtilsModule[] = "Utils/Utils";
constexpr double kDegreesPerRadian = 180 / 3.141592653589793;

bool IsSet(double v) {
  return v != kNullDouble && std::isfinite(v);
}

// The plane with a unit normal, or false when it has an unset component or a zero normal.
bool UnitPlane(const zPlane3d64f& plane, zPlane3d64f& unit) {
  if (!IsSet(plane.a) || !IsSet(plane.b) || !IsSet(plane.c) || !IsSet(plane.d)) return false;
  const double length = std::sqrt(plane.a * plane.a + plane.b * plane.b + plane.c * plane.c);
  if (!(length > 0)) return false;
  unit = {plane.a / length, plane.b / length, plane.c / length, plane.d / length};
  return true;
}

zPlane3d64f ToZPlane(const PlaneParams<double>& p) {
  return {p.a, p.b, p.c, p.d};
}

const zPoint3d64f* CheckedList(const char* function, void* const points, std::size_t& count) {
  const Site site{kUtilsModule, function};
  if (!points) Throw(site, __LINE__, kInvalidArgument, "the point list is null");
  if (zObject_Class(points) != zClassOf(zArrayList) ||
      zArrayList_ItemType(points) != zTypeOf(zPoint3d64f)) {
    Throw(site, __LINE__, kIncompatible, "the point list must hold zPoint3d64f");
  }
  count = zArrayList_Count(points);
  return static_cast<const zPoint3d64f*>(zArrayList_Data(points));
}

double SignedDistance(const zPlane3d64f& unit, const zPoint3d64f& p) {
  return unit.a * p.x + unit.b * p.y + unit.c * p.z + unit.d;
}

constexpr zPoint3d64f kNullPoint{kNullDouble, kNullDouble, kNullDouble};

}  // namespace

double ComputeAverageDistanceFromPlane(const zPlane3d64f& plane, void* const points,
                                       zPoint3d64f* least, zPoint3d64f* greatest) {
  if (least) *least = kNullPoint;
  if (greatest) *greatest = kNullPoint;
  std::size_t count = 0;
  const zPoint3d64f* list =
      CheckedList("Ro::Vision::ComputeAverageDistanceFromPlane", points, count);
  zPlane3d64f unit;
  if (!UnitPlane(plane, unit)) return kNullDouble;
  double sum = 0, lowest = HUGE_VAL, highest = -HUGE_VAL;
  std::size_t used = 0, lowIndex = 0, highIndex = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (list[i].z == kNullDouble) continue;
    const double d = SignedDistance(unit, list[i]);
    sum += d;
    ++used;
    if (d < lowest) {
      lowest = d;
      lowIndex = i;
    }
    if (d > highest) {
      highest = d;
      highIndex = i;
    }
  }
  if (used == 0) return kNullDouble;
  if (least) *least = list[lowIndex];
  if (greatest) *greatest = list[highIndex];
  return sum / double(used);
}

double ComputePercentileHeightFromPlane(const zPlane3d64f& plane, void* const points,
                                        double percent) {
  constexpr char kName[] = "Ro::Vision::ComputePercentileHeightFromPlane";
  std::size_t count = 0;
  const zPoint3d64f* list = CheckedList(kName, points, count);
  if (!(percent >= 0 && percent <= 100)) {
    Throw({kUtilsModule, kName}, __LINE__, kInvalidArgument, "percent must lie in [0, 100]");
  }
  zPlane3d64f unit;
  if (!UnitPlane(plane, unit)) return kNullDouble;
  std::vector<double> distances;
  distances.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (list[i].z != kNullDouble) distances.push_back(SignedDistance(unit, list[i]));
  }
  if (distances.empty()) return kNullDouble;
  const double position = double(distances.size() - 1) * percent / 100;
  const std::size_t below = std::min(std::size_t(position), distances.size() - 1);
  const std::size_t above = std::min(below + 1, distances.size() - 1);
  // Only the two ranks around the position are needed: two selections instead of a sort.
  std::nth_element(distances.begin(), distances.begin() + std::ptrdiff_t(below), distances.end());
  const double low = distances[below];
  const double high = above == below ? low
                                     : *std::min_element(distances.begin() + std::ptrdiff_t(above),
                                                         distances.end());
  return low + (high - low) * (position - double(below));
}

void NormalToAngles(const zPoint3d64f& normal, double* angleX, double* angleY) {
  if (angleX) *angleX = kNullDouble;
  if (angleY) *angleY = kNullDouble;
  const double nx = normal.x, ny = normal.y, nz = normal.z;
  if (!IsSet(nx) || !IsSet(ny) || !IsSet(nz) || (nx == 0 && ny == 0 && nz == 0)) return;
  // Ry(ry) takes n to (0, ny, rho) with rho = |(nx, nz)|; Rx(rx) then takes that to +z.
  const double ry = std::atan2(-nx, nz);
  const double rx = std::atan2(ny, std::hypot(nx, nz));
  if (angleX) *angleX = rx * kDegreesPerRadian;
  if (angleY) *angleY = ry * kDegreesPerRadian;
}

void CalculateYXAngleRotation(const zPlane3d64f& plane, double* angleX, double* angleY) {
  NormalToAngles({plane.a, plane.b, plane.c}, angleX, angleY);
}

void CalculateYXAngleRotation(const PlaneParams<double>& plane, double* angleX, double* angleY) {
  CalculateYXAngleRotation(ToZPlane(plane), angleX, angleY);
}

RefFrame GetRotationTransform(const zPlane3d64f& plane) {
  RefFrame frame;
  zPlane3d64f unit;
  if (!UnitPlane(plane, unit)) return frame;
  // The plane's point nearest to the origin goes to the origin, so z after the turn is the
  // signed distance.
  frame.Translate(unit.a * unit.d, unit.b * unit.d, unit.c * unit.d);
  double rx = 0, ry = 0;
  NormalToAngles({unit.a, unit.b, unit.c}, &rx, &ry);
  frame.RotateXYZ(rx, ry, 0);
  return frame;
}

RefFrame GetRotationTransform(const PlaneParams<double>& plane) {
  return GetRotationTransform(ToZPlane(plane));
}

void GetRegionCenterCorner(const Region2d<double>& region, Point2d<double>* center,
                           Point2d<double>* corners) {
  if (center) *center = {};
  if (corners) std::fill(corners, corners + 4, Point2d<double>{});
  if (!IsSet(region.x) || !IsSet(region.y) || !IsSet(region.width) || !IsSet(region.length)) {
    return;
  }
  const double angle = IsSet(region.angle) ? region.angle : 0;
  const double c = std::cos(angle / kDegreesPerRadian), s = std::sin(angle / kDegreesPerRadian);
  if (center) *center = {region.x, region.y};
  if (!corners) return;
  const double hw = region.width / 2, hl = region.length / 2;
  const double local[4][2] = {{-hw, -hl}, {hw, -hl}, {hw, hl}, {-hw, hl}};
  for (int i = 0; i < 4; ++i) {
    corners[i] = {region.x + c * local[i][0] - s * local[i][1],
                  region.y + s * local[i][0] + c * local[i][1]};
  }
}

double ComputeProjectAngleStart(const zPlane3d64f& plane, const zPoint3d64f& direction) {
  zPlane3d64f n;
  if (!UnitPlane(plane, n) || !IsSet(direction.x) || !IsSet(direction.y) || !IsSet(direction.z)) {
    return kNullDouble;
  }
  // Projections into the plane: v - (v . n) n.
  const double dn = direction.x * n.a + direction.y * n.b + direction.z * n.c;
  const zPoint3d64f d{direction.x - dn * n.a, direction.y - dn * n.b, direction.z - dn * n.c};
  const zPoint3d64f x{1 - n.a * n.a, -n.a * n.b, -n.a * n.c};
  const double dLength = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
  const double xLength = std::sqrt(x.x * x.x + x.y * x.y + x.z * x.z);
  const double directionLength =
      std::sqrt(direction.x * direction.x + direction.y * direction.y + direction.z * direction.z);
  // Below this fraction of its length a projection has lost its direction to rounding.
  constexpr double kDegenerate = 1e-12;
  if (!(dLength > kDegenerate * directionLength) || !(xLength > kDegenerate)) return kNullDouble;
  const zPoint3d64f cross{x.y * d.z - x.z * d.y, x.z * d.x - x.x * d.z, x.x * d.y - x.y * d.x};
  const double sine = cross.x * n.a + cross.y * n.b + cross.z * n.c;
  const double cosine = x.x * d.x + x.y * d.y + x.z * d.z;
  const double angle = std::atan2(sine, cosine) * kDegreesPerRadian;
  return angle <= -180 ? angle + 360 : angle;
}

}  // namespace Vision
}  // namespace Ro
