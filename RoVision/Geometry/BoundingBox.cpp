#include "BoundingBox.h"

#include <zApi/zArray2.h>
#include <zApi/zParallel.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "../Common/MaskSurfacePrivate.h"
#include "../Fitting/FitPrivate.h"
#include "BoundingBoxPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr char kGeometryModule[] = "Geometry/Geometry";
constexpr char kName[] = "Ro::Vision::GetBoundingBox";
constexpr double kDegreesPerRadian = 180 / 3.141592653589793;

struct Vec {
  double x, y;
};

double Cross(const Vec& o, const Vec& a, const Vec& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// A region to scan: its cells, and the surface cell of its mask's cell (0, 0) (the rectangle's
// corner for a rectangle-sized mask, 0, 0 for a surface-sized one).
struct ScanRegion {
  const Surface* surface;
  HeightRegion cells;
  int maskX, maskY;
};

struct Job {
  std::vector<ScanRegion> regions;
  std::vector<std::size_t> rowStart;  // first flattened row of each region, then the total
  RowExtent* rows = nullptr;
  RowScanner scanner = RowScannerFor(FastestRowScanPath());
};

// The row ends come from short searches from either side; the height range is then one pass
// over the cells between them.
void ScanRow(RowScanner scanner, const ScanRegion& scan, int r, RowExtent& out) {
  const HeightRegion& region = scan.cells;
  const int row = region.rect.y + r;
  const short* heights =
      static_cast<const short*>(zArray2_Row(region.heights, row)) + region.rect.x;
  const unsigned char* mask =
      region.mask ? static_cast<const unsigned char*>(zArray2_Row(region.mask, row - scan.maskY)) +
                        (region.rect.x - scan.maskX)
                  : nullptr;
  out = scanner(heights, mask, region.rect.width);
}

zStatus ScanWorker(const zParallelArgs* args, void* context) {
  Job& job = *static_cast<Job*>(context);
  const zSize total = job.rowStart.back();
  const zSize begin = zParallelArgs_Begin(args, 0, total), end = zParallelArgs_End(args, 0, total);
  std::size_t region =
      std::size_t(std::upper_bound(job.rowStart.begin(), job.rowStart.end(), begin) -
                  job.rowStart.begin()) -
      1;
  for (zSize i = begin; i < end; ++i) {
    while (i >= job.rowStart[region + 1]) ++region;
    ScanRow(job.scanner, job.regions[region], int(i - job.rowStart[region]), job.rows[i]);
  }
  return zOK;
}

// Counter-clockwise hull by the monotone chain, collinear points dropped. Sorts and thins the
// n points in place and keeps the chain as indices in `chain` (room for 2n).
std::vector<Vec> Hull(Vec* points, std::size_t n, std::size_t* chain) {
  std::sort(points, points + n,
            [](const Vec& a, const Vec& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  n = std::size_t(std::unique(points, points + n,
                              [](const Vec& a, const Vec& b) { return a.x == b.x && a.y == b.y; }) -
                  points);
  if (n < 3) return std::vector<Vec>(points, points + n);
  std::size_t k = 0;
  auto turnsRight = [&](std::size_t i) {
    return Cross(points[chain[k - 2]], points[chain[k - 1]], points[i]) <= 0;
  };
  for (std::size_t i = 0; i < n; ++i) {
    while (k >= 2 && turnsRight(i)) --k;
    chain[k++] = i;
  }
  for (std::size_t i = n - 1, lower = k + 1; i-- > 0;) {
    while (k >= lower && turnsRight(i)) --k;
    chain[k++] = i;
  }
  std::vector<Vec> hull(k - 1);
  for (std::size_t i = 0; i + 1 < k; ++i) hull[i] = points[chain[i]];
  return hull;
}

struct Rectangle {
  Vec center{0, 0};
  double width = 0, length = 0, angle = 0;  // angle of the width axis, radians
};

double Dot(const Vec& a, const Vec& b) {
  return a.x * b.x + a.y * b.y;
}

// Rotating calipers over a counter-clockwise hull of at least 3 points: for each edge i the
// farthest points along the edge (j), across it (k) and against it (l) only move forward.
Rectangle MinimumAreaRectangle(const std::vector<Vec>& hull) {
  const std::size_t n = hull.size();
  auto at = [&](std::size_t i) -> const Vec& { return hull[i % n]; };
  Rectangle best;
  double bestArea = HUGE_VAL;
  std::size_t j = 1, k = 1, l = 1;
  for (std::size_t i = 0; i < n; ++i) {
    const Vec e{at(i + 1).x - at(i).x, at(i + 1).y - at(i).y};
    const double norm = std::hypot(e.x, e.y);
    const Vec u{e.x / norm, e.y / norm}, v{-u.y, u.x};
    if (i == 0) j = k = l = 1;
    for (std::size_t s = 0; s < n && Dot(u, at(j + 1)) >= Dot(u, at(j)); ++s) ++j;
    if (i == 0) k = j;
    for (std::size_t s = 0; s < n && Dot(v, at(k + 1)) >= Dot(v, at(k)); ++s) ++k;
    if (i == 0) l = k;
    for (std::size_t s = 0; s < n && Dot(u, at(l + 1)) <= Dot(u, at(l)); ++s) ++l;
    const double uMin = Dot(u, at(l)), uMax = Dot(u, at(j));
    const double vMin = Dot(v, at(i)), vMax = Dot(v, at(k));
    const double area = (uMax - uMin) * (vMax - vMin);
    if (area < bestArea) {
      bestArea = area;
      const double cu = (uMin + uMax) / 2, cv = (vMin + vMax) / 2;
      best = {{cu * u.x + cv * v.x, cu * u.y + cv * v.y},
              uMax - uMin,
              vMax - vMin,
              std::atan2(u.y, u.x)};
    }
  }
  return best;
}

// The n points are sorted and thinned on the way; `chain` has room for 2n indices.
Rectangle EnclosingRectangle(Vec* points, std::size_t n, std::size_t* chain) {
  const std::vector<Vec> hull = Hull(points, n, chain);
  if (hull.size() == 1) return {hull[0], 0, 0, 0};
  if (hull.size() == 2) {
    const Vec d{hull[1].x - hull[0].x, hull[1].y - hull[0].y};
    return {{(hull[0].x + hull[1].x) / 2, (hull[0].y + hull[1].y) / 2},
            std::hypot(d.x, d.y),
            0,
            std::atan2(d.y, d.x)};
  }
  return MinimumAreaRectangle(hull);
}

// (-90, 90]: turning the width axis by 180 degrees leaves the rectangle as it is.
double NormalisedDegrees(double radians) {
  double degrees = radians * kDegreesPerRadian;
  while (degrees > 90) degrees -= 180;
  while (degrees <= -90) degrees += 180;
  return degrees;
}

// The scratch memory of one call in a single block: the extent of every row, the hull
// candidates (two per row) and the hull chain (two indices per candidate). One block because the
// allocator keeps the pages of a large block it has once handed back for the next block of that
// size, while separate buffers got trimmed and faulted in afresh on every call: on a 4096-row
// region that cost as much as the scan itself.
class Scratch {
 public:
  explicit Scratch(std::size_t rows)
      : block_(new unsigned char[rows * (kPointBytes + kChainBytes + sizeof(RowExtent))]) {
    unsigned char* at = block_.get();
    points_ = Create<Vec>(at, 2 * rows);
    chain_ = Create<std::size_t>(at + rows * kPointBytes, 4 * rows);
    rows_ = Create<RowExtent>(at + rows * (kPointBytes + kChainBytes), rows);
  }
  Vec* Points() { return points_; }
  std::size_t* Chain() { return chain_; }
  RowExtent* Rows() { return rows_; }

 private:
  static constexpr std::size_t kPointBytes = 2 * sizeof(Vec);
  static constexpr std::size_t kChainBytes = 4 * sizeof(std::size_t);
  static_assert(alignof(Vec) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ &&
                    kPointBytes % alignof(std::size_t) == 0 &&
                    (kPointBytes + kChainBytes) % alignof(RowExtent) == 0,
                "each part of the block starts aligned for its type");

  template <typename T>
  static T* Create(unsigned char* at, std::size_t count) {
    T* first = reinterpret_cast<T*>(at);
    std::uninitialized_default_construct_n(first, count);
    return first;
  }

  std::unique_ptr<unsigned char[]> block_;
  Vec* points_;
  std::size_t* chain_;
  RowExtent* rows_;
};

// The box around the valid cells of the regions, scanned in parallel on `pool`.
Region3d<double> BoxOfRegions(const Site& site, const std::vector<ScanRegion>& regions,
                              void* pool) {
  Job job;
  job.regions = regions;
  job.rowStart.push_back(0);
  for (const ScanRegion& r : regions) {
    job.rowStart.push_back(job.rowStart.back() + std::size_t(r.cells.rect.height));
  }
  Region3d<double> box;
  const std::size_t rowCount = job.rowStart.back();
  if (rowCount == 0) return box;
  Scratch scratch(rowCount);
  job.rows = scratch.Rows();
  Check(site, __LINE__, zParallel_Execute(ScanWorker, &job, pool));

  Vec* candidates = scratch.Points();
  std::size_t count = 0;
  double zLow = HUGE_VAL, zHigh = -HUGE_VAL;
  for (std::size_t g = 0; g < regions.size(); ++g) {
    const Surface& s = *regions[g].surface;
    const Rect2d<int>& rect = regions[g].cells.rect;
    for (int r = 0; r < rect.height; ++r) {
      const RowExtent& row = job.rows[job.rowStart[g] + std::size_t(r)];
      if (row.first < 0) continue;
      const double y = s.offset.y + double(rect.y + r) * s.scale.y;
      candidates[count++] = {s.offset.x + double(rect.x + row.first) * s.scale.x, y};
      candidates[count++] = {s.offset.x + double(rect.x + row.last) * s.scale.x, y};
      // The scale may be negative: compare world heights.
      const double a = s.offset.z + double(row.low) * s.scale.z;
      const double b = s.offset.z + double(row.high) * s.scale.z;
      zLow = std::min({zLow, a, b});
      zHigh = std::max({zHigh, a, b});
    }
  }
  if (count == 0) return box;
  const Rectangle rect = EnclosingRectangle(candidates, count, scratch.Chain());
  box.x = rect.center.x;
  box.y = rect.center.y;
  box.z = zLow + (zHigh - zLow) / 2;
  box.width = rect.width;
  box.length = rect.length;
  box.height = zHigh - zLow;
  box.angleX = 0;
  box.angleY = 0;
  box.angleZ = NormalisedDegrees(rect.angle);
  return box;
}

}  // namespace

Region3d<double> GetBoundingBox(const std::vector<SurfaceRect>& regions, void* pool) {
  const Site site{kGeometryModule, kName};
  std::vector<ScanRegion> scans;
  scans.reserve(regions.size());
  for (const SurfaceRect& r : regions) {
    scans.push_back(
        {&r.surface, CheckHeightRegion(site, r.surface, r.rect, r.mask), r.rect.x, r.rect.y});
  }
  return BoxOfRegions(site, scans, pool);
}

Region3d<double> GetBoundingBox(const Surface& surface, const Rect2d<int>& rect, void* mask) {
  SurfaceRect region;
  region.surface = surface;
  region.rect = rect;
  region.mask = mask;
  return GetBoundingBox(std::vector<SurfaceRect>{region}, nullptr);
}

Region3d<double> GetBoundingBox(RoiSurface& roi) {
  const Site site{kGeometryModule, kName};
  const Surface& surface = roi.GetSurface();
  void* mask = roi.GetMask();
  const Rect2d<int> box = roi.GetBoundingBox();
  if (!mask || box.width < 1 || box.height < 1) return Region3d<double>{};
  // The mask has the surface's size; it is checked by the region, the heights here.
  HeightRegion cells = CheckHeightRegion(site, surface, box, nullptr);
  cells.mask = mask;
  return BoxOfRegions(site, {ScanRegion{&surface, cells, 0, 0}}, roi.GetThreadPool());
}

Region3d<double> GetBoundingBox(const Surface& surface, const RectRegionRLE& region,
                                void* allocator) {
  const Site site{kGeometryModule, kName};
  if (region.kind != 2) {
    Throw(site, __LINE__, kNotSupported, "the region must be of kind 2 (runs)");
  }
  Rect2d<int> box;
  Ty::Object<void*> mask;
  mask::RunsToTightMask(site, region.runs, allocator, &box, &mask);
  if (!mask) return Region3d<double>{};
  return GetBoundingBox(surface, box, mask);
}

}  // namespace Vision
}  // namespace Ro
