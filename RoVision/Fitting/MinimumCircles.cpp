// Entries of the minimum circles: gathering and checking the points, the local origin, the 3D
// forms, and the minimum enclosing circle itself.
#include "MinimumCircles.h"

#include <TyApi/TyObject.h>
#include <zApi/zArrayList.h>
#include <zApi/zObject.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "FitPrivate.h"
#include "MinimumCirclesPrivate.h"
#include "PlaneFit.h"

namespace Ro {
namespace Vision {
namespace circles {
namespace {

// A point counts as inside a circle when it passes the radius by at most this many units in the
// last place: rounding in the circle construction must not send the search round again.
constexpr double kInsideSlack = 8 * 2.220446049250313e-16;

double Distance(const Vec& a, const Vec& b) {
  return std::hypot(a.x - b.x, a.y - b.y);
}

double Distance2(const Vec& a, const Vec& b) {
  return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
}

// The search keeps the squared radius beside the circle: the test runs on every point.
struct Disc {
  Circle circle;
  double limit2;  // the squared radius with the slack
};

Disc DiscOf(const Circle& c) {
  const double limit = c.radius * (1 + kInsideSlack);
  return {c, limit * limit};
}

bool Inside(const Disc& d, const Vec& p) {
  return Distance2(d.circle.center, p) <= d.limit2;
}

// Fisher-Yates with splitmix64 and a scaled 53-bit draw: a tenth of the time of std::shuffle
// with mt19937_64 on 10^6 points, and the draws need no statistical quality beyond that.
void Shuffle(std::vector<Vec>& points) {
  std::uint64_t state = 0x5eed;
  for (std::size_t i = points.size(); i > 1; --i) {
    state += 0x9e3779b97f4a7c15ull;
    std::uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    z ^= z >> 31;
    const std::size_t j = std::size_t(double(z >> 11) * 0x1.0p-53 * double(i));
    std::swap(points[i - 1], points[j]);
  }
}

// The smallest circle with p and q on its boundary that holds points[0 .. n). Its centre runs
// along the bisector of p and q, m + t * e; every point r bounds t on one side by a linear
// condition, and the answer is the feasible t nearest to 0 (the radius grows with |t|). Working on
// the interval instead of on circumcircles of triples keeps nearly collinear points stable.
Circle CircleThrough(const Vec& p, const Vec& q, const Vec* points, std::size_t n) {
  const Vec m{(p.x + q.x) / 2, (p.y + q.y) / 2};
  const double dx = q.x - p.x, dy = q.y - p.y;
  const double length = std::hypot(dx, dy);
  const Vec e{-dy / length, dx / length};
  const double mp2 = (m.x - p.x) * (m.x - p.x) + (m.y - p.y) * (m.y - p.y);
  double low = -HUGE_VAL, high = HUGE_VAL;
  for (std::size_t k = 0; k < n; ++k) {
    const Vec& r = points[k];
    // |m + t e - r|^2 <= |m + t e - p|^2  <=>  2 t a <= b
    const double a = e.x * (m.x - r.x) + e.y * (m.y - r.y);
    const double b = mp2 - ((m.x - r.x) * (m.x - r.x) + (m.y - r.y) * (m.y - r.y));
    if (a > 0) {
      high = std::min(high, b / (2 * a));
    } else if (a < 0) {
      low = std::max(low, b / (2 * a));
    }
  }
  // An empty interval comes only from rounding on (nearly) cocircular points: take its middle.
  const double t = low > high ? (low + high) / 2 : std::clamp(0.0, low, high);
  const Vec center{m.x + t * e.x, m.y + t * e.y};
  return {center, std::max(Distance(center, p), Distance(center, q))};
}

}  // namespace

Circle MinimumEnclosing(std::vector<Vec>& points) {
  // A fixed seed: the same input gives the same circle and no state is shared between calls.
  Shuffle(points);
  Disc disc = DiscOf({points[0], 0});
  for (std::size_t i = 1; i < points.size(); ++i) {
    if (Inside(disc, points[i])) continue;
    const Vec p = points[i];
    disc = DiscOf({p, 0});
    for (std::size_t j = 0; j < i; ++j) {
      if (Inside(disc, points[j])) continue;
      disc = DiscOf(CircleThrough(p, points[j], points.data(), j));
    }
    // Move to front: a point that defined the circle once is likely to again, and testing it
    // first cuts the later inner passes short.
    std::rotate(points.begin(), points.begin() + std::ptrdiff_t(i),
                points.begin() + std::ptrdiff_t(i) + 1);
  }
  double radius2 = 0;
  for (const Vec& p : points) radius2 = std::max(radius2, Distance2(disc.circle.center, p));
  return {disc.circle.center, std::sqrt(radius2)};
}

}  // namespace circles

namespace {

using circles::Vec;

constexpr char kMcc[] = "Ro::Vision::FitCircle_MCC";
constexpr char kMic[] = "Ro::Vision::FitCircle_MIC";
constexpr char kMzc[] = "Ro::Vision::FitCircle_MZC";

// The used points relative to `origin`, the middle of their bounding box.
struct LocalPoints {
  std::vector<Vec> points;
  Vec origin;
};

[[noreturn]] void Abort(const char* function, const char* message) {
  Throw({kFitModule, function}, __LINE__, kAborted, message);
}

template <class GetPoint>
LocalPoints Gather(const char* function, std::size_t count, const int* mask, std::size_t minimum,
                   GetPoint&& get) {
  LocalPoints local;
  local.points.reserve(count);
  double minX = HUGE_VAL, maxX = -HUGE_VAL, minY = HUGE_VAL, maxY = -HUGE_VAL;
  for (std::size_t i = 0; i < count; ++i) {
    if (mask && mask[i] != 0) continue;
    const Vec p = get(i);
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) {
      Abort(function, "a used point has a NaN or infinite coordinate");
    }
    minX = std::min(minX, p.x);
    maxX = std::max(maxX, p.x);
    minY = std::min(minY, p.y);
    maxY = std::max(maxY, p.y);
    local.points.push_back(p);
  }
  if (local.points.size() < minimum) Abort(function, "too few used points for the fit");
  local.origin = {minX + (maxX - minX) / 2, minY + (maxY - minY) / 2};
  for (Vec& p : local.points) p = {p.x - local.origin.x, p.y - local.origin.y};
  return local;
}

LocalPoints GatherFromList(const char* function, void* const list, const int* mask,
                           std::size_t minimum) {
  if (!list || zObject_Class(list) != zClassOf(zArrayList) ||
      zArrayList_ItemType(list) != zTypeOf(zPoint64f)) {
    Abort(function, "the point list must be a zArrayList of zPoint64f");
  }
  const zPoint64f* points = static_cast<const zPoint64f*>(zArrayList_Data(list));
  return Gather(function, zArrayList_Count(list), mask, minimum, [&](std::size_t i) {
    return Vec{points[i].x, points[i].y};
  });
}

template <class P>
LocalPoints GatherRun(const char* function, const P* points, const int* mask, std::size_t count,
                      std::size_t minimum) {
  if (!points && count > 0) Abort(function, "the points are null");
  return Gather(function, count, mask, minimum, [&](std::size_t i) {
    return Vec{points[i].x, points[i].y};
  });
}

LocalPoints GatherXY(const char* function, const double* x, const double* y, const int* mask,
                     std::size_t count, std::size_t minimum) {
  if ((!x || !y) && count > 0) Abort(function, "the coordinates are null");
  return Gather(function, count, mask, minimum, [&](std::size_t i) { return Vec{x[i], y[i]}; });
}

zPoint64f ToWorld(const LocalPoints& local, const Vec& p) {
  return {p.x + local.origin.x, p.y + local.origin.y};
}

void SetNull(zPoint64f& center, double& radius) {
  center = {kNullDouble, kNullDouble};
  radius = kNullDouble;
}

void Mcc(LocalPoints&& local, zPoint64f& center, double& radius) {
  const circles::Circle circle = circles::MinimumEnclosing(local.points);
  center = ToWorld(local, circle.center);
  radius = circle.radius;
}

void Mic(const LocalPoints& local, zPoint64f& center, double& radius) {
  circles::Circle circle;
  if (!circles::MaximumInscribed(local.points, circle)) {
    Abort(kMic, "the used points are collinear");
  }
  center = ToWorld(local, circle.center);
  radius = circle.radius;
}

struct ZoneOut {
  zPoint64f& center;
  double& inner;
  double& outer;
  double& roundness;
  void SetNull() {
    center = {kNullDouble, kNullDouble};
    inner = outer = roundness = kNullDouble;
  }
};

void Mzc(const LocalPoints& local, ZoneOut out) {
  circles::Zone zone;
  if (!circles::MinimumZone(local.points, zone)) Abort(kMzc, "the used points are collinear");
  out.center = ToWorld(local, zone.center);
  out.inner = zone.inner;
  out.outer = zone.outer;
  out.roundness = zone.outer - zone.inner;
}

// The points of a 3D run in the coordinates of their least-squares plane: origin at the
// centroid, axes u and v in the plane, n the unit normal.
struct PlanePoints {
  LocalPoints local;
  zPoint3d64f origin, u, v, n;

  zPoint3d64f ToWorld3d(const zPoint64f& p) const {
    return {origin.x + p.x * u.x + p.y * v.x, origin.y + p.x * u.y + p.y * v.y,
            origin.z + p.x * u.z + p.y * v.z};
  }
};

zPoint3d64f Cross(const zPoint3d64f& a, const zPoint3d64f& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

zPoint3d64f Normalised(const zPoint3d64f& a) {
  const double length = std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z);
  return {a.x / length, a.y / length, a.z / length};
}

PlanePoints ProjectIntoPlane(const char* function, const zPoint3d64f* points, const int* mask,
                             std::size_t count, std::size_t minimum) {
  if (!points && count > 0) Abort(function, "the points are null");
  std::vector<zPoint3d64f> used;
  used.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (mask && mask[i] != 0) continue;
    const zPoint3d64f& p = points[i];
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
      Abort(function, "a used point has a NaN or infinite coordinate");
    }
    used.push_back(p);
  }
  if (used.size() < std::max<std::size_t>(minimum, 4)) {
    Abort(function, "too few used points for the plane and the fit");
  }
  void* list = nullptr;
  Check({kFitModule, function}, __LINE__,
        zArrayList_Construct(&list, zTypeOf(zPoint3d64f), used.size(), nullptr));
  Ty::Object<void*> held(list);
  Check({kFitModule, function}, __LINE__, zArrayList_AppendN(list, used.data(), used.size()));
  PlaneParams<double> plane;
  PlanePoints out;
  FitPlanePoints(list, &plane, &out.origin);
  if (plane.a == kNullDouble) Abort(function, "no plane fits the used points");

  out.n = Normalised({plane.a, plane.b, plane.c});
  // u: the world axis least aligned with the normal, made orthogonal to it.
  const double ax = std::fabs(out.n.x), ay = std::fabs(out.n.y), az = std::fabs(out.n.z);
  const zPoint3d64f axis = ax <= ay && ax <= az ? zPoint3d64f{1, 0, 0}
                           : ay <= az           ? zPoint3d64f{0, 1, 0}
                                                : zPoint3d64f{0, 0, 1};
  out.u = Normalised(Cross(Cross(out.n, axis), out.n));
  out.v = Cross(out.n, out.u);
  std::vector<zPoint64f> planar(used.size());
  for (std::size_t i = 0; i < used.size(); ++i) {
    const zPoint3d64f d{used[i].x - out.origin.x, used[i].y - out.origin.y,
                        used[i].z - out.origin.z};
    planar[i] = {d.x * out.u.x + d.y * out.u.y + d.z * out.u.z,
                 d.x * out.v.x + d.y * out.v.y + d.z * out.v.z};
  }
  out.local = GatherRun(function, planar.data(), nullptr, planar.size(), minimum);
  return out;
}

}  // namespace

void FitCircle_MCC(const zPoint64f* points, const int* mask, std::size_t count, zPoint64f& center,
                   double& radius) {
  SetNull(center, radius);
  Mcc(GatherRun(kMcc, points, mask, count, 2), center, radius);
}

void FitCircle_MCC(const Point2d<double>* points, const int* mask, std::size_t count,
                   zPoint64f& center, double& radius) {
  SetNull(center, radius);
  Mcc(GatherRun(kMcc, points, mask, count, 2), center, radius);
}

void FitCircle_MCC(const double* x, const double* y, const int* mask, std::size_t count,
                   zPoint64f& center, double& radius) {
  SetNull(center, radius);
  Mcc(GatherXY(kMcc, x, y, mask, count, 2), center, radius);
}

void FitCircle_MCC(void* const pointList, const int* mask, zPoint64f& center, double& radius) {
  SetNull(center, radius);
  Mcc(GatherFromList(kMcc, pointList, mask, 2), center, radius);
}

void FitCircle_MIC(const zPoint64f* points, const int* mask, std::size_t count, zPoint64f& center,
                   double& radius) {
  SetNull(center, radius);
  Mic(GatherRun(kMic, points, mask, count, 3), center, radius);
}

void FitCircle_MIC(const Point2d<double>* points, const int* mask, std::size_t count,
                   zPoint64f& center, double& radius) {
  SetNull(center, radius);
  Mic(GatherRun(kMic, points, mask, count, 3), center, radius);
}

void FitCircle_MIC(const double* x, const double* y, const int* mask, std::size_t count,
                   zPoint64f& center, double& radius) {
  SetNull(center, radius);
  Mic(GatherXY(kMic, x, y, mask, count, 3), center, radius);
}

void FitCircle_MIC(void* const pointList, const int* mask, zPoint64f& center, double& radius) {
  SetNull(center, radius);
  Mic(GatherFromList(kMic, pointList, mask, 3), center, radius);
}

void FitCircle_MZC(const zPoint64f* points, const int* mask, std::size_t count, zPoint64f& center,
                   double& innerRadius, double& outerRadius, double& roundness) {
  ZoneOut out{center, innerRadius, outerRadius, roundness};
  out.SetNull();
  Mzc(GatherRun(kMzc, points, mask, count, 3), out);
}

void FitCircle_MZC(const Point2d<double>* points, const int* mask, std::size_t count,
                   zPoint64f& center, double& innerRadius, double& outerRadius, double& roundness) {
  ZoneOut out{center, innerRadius, outerRadius, roundness};
  out.SetNull();
  Mzc(GatherRun(kMzc, points, mask, count, 3), out);
}

void FitCircle_MZC(const double* x, const double* y, const int* mask, std::size_t count,
                   zPoint64f& center, double& innerRadius, double& outerRadius, double& roundness) {
  ZoneOut out{center, innerRadius, outerRadius, roundness};
  out.SetNull();
  Mzc(GatherXY(kMzc, x, y, mask, count, 3), out);
}

void FitCircle_MZC(void* const pointList, const int* mask, zPoint64f& center, double& innerRadius,
                   double& outerRadius, double& roundness) {
  ZoneOut out{center, innerRadius, outerRadius, roundness};
  out.SetNull();
  Mzc(GatherFromList(kMzc, pointList, mask, 3), out);
}

namespace {

void SetNull3d(zPoint3d64f& center, zPoint3d64f& normal) {
  center = normal = {kNullDouble, kNullDouble, kNullDouble};
}

}  // namespace

void FitCircle_MCC(const zPoint3d64f* points, const int* mask, std::size_t count,
                   zPoint3d64f& center, double& radius, zPoint3d64f& normal) {
  SetNull3d(center, normal);
  radius = kNullDouble;
  PlanePoints planar = ProjectIntoPlane(kMcc, points, mask, count, 2);
  zPoint64f center2d;
  Mcc(std::move(planar.local), center2d, radius);
  center = planar.ToWorld3d(center2d);
  normal = planar.n;
}

void FitCircle_MIC(const zPoint3d64f* points, const int* mask, std::size_t count,
                   zPoint3d64f& center, double& radius, zPoint3d64f& normal) {
  SetNull3d(center, normal);
  radius = kNullDouble;
  const PlanePoints planar = ProjectIntoPlane(kMic, points, mask, count, 3);
  zPoint64f center2d;
  Mic(planar.local, center2d, radius);
  center = planar.ToWorld3d(center2d);
  normal = planar.n;
}

void FitCircle_MZC(const zPoint3d64f* points, const int* mask, std::size_t count,
                   zPoint3d64f& center, double& innerRadius, double& outerRadius, double& roundness,
                   zPoint3d64f& normal) {
  SetNull3d(center, normal);
  innerRadius = outerRadius = roundness = kNullDouble;
  const PlanePoints planar = ProjectIntoPlane(kMzc, points, mask, count, 3);
  zPoint64f center2d;
  Mzc(planar.local, {center2d, innerRadius, outerRadius, roundness});
  center = planar.ToWorld3d(center2d);
  normal = planar.n;
}

}  // namespace Vision
}  // namespace Ro
