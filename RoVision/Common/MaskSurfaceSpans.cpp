#include <algorithm>
#include <cmath>
#include <cstring>

#include "../Geometry/PolygonContainment.h"
#include "../Geometry/SectorContainment.h"
#include "MaskSurfacePrivate.h"

namespace Ro {
namespace Vision {
namespace mask {
namespace {

constexpr double kPi = 3.141592653589793;

void Fill(unsigned char* row, int from, int to, unsigned char value) {
  if (to > from) std::memset(row + from, value, std::size_t(to - from));
}

// Column index nearest to a world X, clamped to [lo, hi] (NaN gives lo).
int ClampedColumn(const GridAxes& axes, double x, int lo, int hi, bool ceiling) {
  const double v = (x - axes.ox) / axes.sx;
  const double e = ceiling ? std::ceil(v) : std::floor(v);
  if (!(e > lo)) return lo;
  if (e > hi) return hi;
  return int(e);
}

// The first column of [lo, hi] whose world X is not below x (hi when none). World X grows with
// the column (positive resolution), so a short walk from the estimate settles it exactly.
int FirstColumnNotBelow(const GridAxes& axes, double x, int lo, int hi) {
  int j = ClampedColumn(axes, x, lo, hi, true);
  while (j > lo && axes.X(j - 1) >= x) --j;
  while (j < hi && axes.X(j) < x) ++j;
  return j;
}

// The first column of [lo, hi] whose world X lies above x (hi when none).
int FirstColumnAbove(const GridAxes& axes, double x, int lo, int hi) {
  int j = ClampedColumn(axes, x, lo, hi, true);
  while (j > lo && axes.X(j - 1) > x) --j;
  while (j < hi && axes.X(j) <= x) ++j;
  return j;
}

}  // namespace

PolygonSpans::PolygonSpans(const std::vector<Point2d<double>>& corners) : original_(corners) {
  corners_.reserve(corners.size());
  for (const Point2d<double>& p : corners) {
    corners_.push_back(Corner{p.x, p.y});
    if (!std::isfinite(p.x) || !std::isfinite(p.y)) finite_ = false;
  }
}

void PolygonSpans::FillRow(const GridAxes& axes, int row, int x0, int x1,
                           unsigned char* cells) const {
  if (x1 <= x0) return;
  const double w = axes.Y(row);
  const std::size_t n = corners_.size();
  if (!finite_ || !std::isfinite(w)) {
    // Infinite corners: no exact spans, test each cell.
    for (int j = x0; j < x1; ++j) {
      cells[j - x0] = (unsigned char)IsPointInPolygon(original_, Point2d<double>{axes.X(j), w});
    }
    return;
  }
  if (n == 0) {
    Fill(cells, 0, x1 - x0, 0);
    return;
  }

  // Even-odd part: a cell is inside when an odd number of crossings c lie right of it (X < c).
  // Each crossing becomes the first column whose X is not below it.
  int thresholds[64];
  std::vector<int> many;
  int* t = thresholds;
  std::size_t m = 0;
  if (n > 64) {
    many.resize(n);
    t = many.data();
  }
  for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
    const Corner a = corners_[j], b = corners_[i];
    if ((a.w > w) != (b.w > w)) {
      const double crossing = a.u + (w - a.w) * (b.u - a.u) / (b.w - a.w);
      if (std::isnan(crossing)) continue;
      t[m++] = FirstColumnNotBelow(axes, crossing, x0, x1);
    }
  }
  std::sort(t, t + m);
  // Every byte is written once here, inside or not; on-edge cells are set below.
  bool inside = (m % 2) == 1;
  int from = x0;
  for (std::size_t k = 0; k < m; ++k) {
    Fill(cells, from - x0, t[k] - x0, inside ? 1 : 0);
    from = std::max(from, t[k]);
    inside = !inside;
  }
  Fill(cells, from - x0, x1 - x0, inside ? 1 : 0);

  // Cells on an edge count as inside: the exact cross-product test, whose value moves
  // monotonically with the column, holds on one short run of columns per edge.
  for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
    const Corner a = corners_[j], b = corners_[i];
    if (w < std::min(a.w, b.w) || w > std::max(a.w, b.w)) continue;
    const double uLo = std::min(a.u, b.u), uHi = std::max(a.u, b.u);
    const int first = FirstColumnNotBelow(axes, uLo, x0, x1);
    const int end = FirstColumnAbove(axes, uHi, x0, x1);
    if (first >= end) continue;
    const double k = b.w - a.w;
    const double target = (b.u - a.u) * (w - a.w);
    if (k == 0) {
      // Horizontal edge on this row: both products are zero for every cell within it.
      Fill(cells, first - x0, end - x0, 1);
      continue;
    }
    // g(col) = sign(k) * k * (X - a.u) grows with the column; find where it equals sign * target.
    const double sign = k > 0 ? 1.0 : -1.0;
    const double kk = sign * k, goal = sign * target;
    auto g = [&](int col) { return kk * (axes.X(col) - a.u); };
    int col = ClampedColumn(axes, a.u + (w - a.w) * (b.u - a.u) / k, first, end - 1, false);
    while (col > first && g(col - 1) >= goal) --col;
    while (col < end && g(col) < goal) ++col;
    for (; col < end && g(col) == goal; ++col) cells[col - x0] = 1;
  }
}

namespace {

// Fills [x0, x1) from approximate boundary positions (in columns): cells within two columns of
// a boundary are tested exactly, every stretch between them takes the test of its middle cell.
template <class Inside>
void FillFromCuts(std::vector<double>& cuts, int x0, int x1, unsigned char* cells,
                  const Inside& inside) {
  constexpr int kGuard = 2;
  for (double c : cuts) {
    if (std::isnan(c)) {
      for (int j = x0; j < x1; ++j) cells[j - x0] = inside(j) ? 1 : 0;
      return;
    }
  }
  std::vector<std::pair<int, int>> windows;
  windows.reserve(cuts.size());
  for (double c : cuts) {
    if (c < x0 - kGuard - 1.0 || c > x1 + kGuard + 1.0) continue;
    const int base = int(std::floor(c));
    windows.emplace_back(std::max(x0, base - kGuard), std::min(x1, base + kGuard + 1));
  }
  std::sort(windows.begin(), windows.end());
  int from = x0;
  auto fillStretch = [&](int a, int b) {
    if (b > a) Fill(cells, a - x0, b - x0, inside(a + (b - a) / 2) ? 1 : 0);
  };
  for (const auto& win : windows) {
    if (win.second <= from) continue;
    const int start = std::max(from, win.first);
    fillStretch(from, start);
    for (int j = start; j < win.second; ++j) cells[j - x0] = inside(j) ? 1 : 0;
    from = win.second;
  }
  fillStretch(from, x1);
}

// Offsets along the row (dx) where a turned ellipse with half axes a (own x) and b (own y)
// crosses it at height dy, and the vertex between them (also when it does not cross).
void EllipseCuts(double dy, double c, double s, double a, double b, std::vector<double>& dxs) {
  a = std::fabs(a);
  b = std::fabs(b);
  if (!(a > 0) || !(b > 0) || !std::isfinite(a) || !std::isfinite(b)) {
    // A flat or unbounded ellipse has no crossings to go by: every cell is tested.
    dxs.push_back(std::nan(""));
    return;
  }
  const double ia = 1 / (a * a), ib = 1 / (b * b);
  // u = dx c - dy s, v = dx s + dy c; u^2 ia + v^2 ib = 1 as a quadratic in dx.
  const double qa = c * c * ia + s * s * ib;
  const double qb = 2 * dy * c * s * (ib - ia);
  const double qc = dy * dy * (s * s * ia + c * c * ib) - 1;
  const double vertex = -qb / (2 * qa);
  dxs.push_back(vertex);
  const double disc = qb * qb - 4 * qa * qc;
  if (disc >= 0) {
    const double root = std::sqrt(disc) / (2 * qa);
    dxs.push_back(vertex - root);
    dxs.push_back(vertex + root);
  }
}

// Where the line through the centre at `degrees` (world frame) crosses the row at height dy;
// nothing for a line along the row.
void RayCut(double dy, double degrees, std::vector<double>& dxs) {
  const double t = degrees * kPi / 180;
  const double sn = std::sin(t), cs = std::cos(t);
  if (std::fabs(sn) > 1e-300) dxs.push_back(dy * cs / sn);
}

void AngularCuts(double dy, double start, double span, double turn, std::vector<double>& dxs) {
  if (span == kNullDouble || std::fabs(span) >= 360) return;
  const double s0 = start == kNullDouble ? 0 : start;
  RayCut(dy, s0 + turn, dxs);
  RayCut(dy, s0 + span + turn, dxs);
  RayCut(dy, turn, dxs);  // the sector's own X axis, where its directions wrap past 0 degrees
}

template <class Inside>
void FillSectorRow(const GridAxes& axes, double centerX, std::vector<double>& dxs, int x0, int x1,
                   unsigned char* cells, const Inside& inside) {
  dxs.push_back(0);  // the centre column
  for (double& d : dxs) d = (centerX + d - axes.ox) / axes.sx;
  FillFromCuts(dxs, x0, x1, cells, inside);
}

}  // namespace

void FillEllipticalRow(const EllipticalSector2d<double>& sector, const GridAxes& axes, int row,
                       int x0, int x1, unsigned char* cells) {
  if (x1 <= x0) return;
  const double y = axes.Y(row);
  const double dy = y - sector.center.y;
  const double turn = sector.angle == kNullDouble ? 0 : sector.angle;
  const double phi = -turn * kPi / 180;
  const double c = std::cos(phi), s = std::sin(phi);
  std::vector<double> dxs;
  dxs.reserve(12);
  if (sector.outerWidth != kNullDouble && sector.outerLength != kNullDouble) {
    EllipseCuts(dy, c, s, sector.outerWidth / 2, sector.outerLength / 2, dxs);
  }
  // An inner ellipse of zero size excludes nothing (its ratio is infinite or not a number).
  if (sector.innerWidth != kNullDouble && sector.innerLength != kNullDouble &&
      !(sector.innerWidth == 0 && sector.innerLength == 0)) {
    EllipseCuts(dy, c, s, sector.innerWidth / 2, sector.innerLength / 2, dxs);
  }
  AngularCuts(dy, sector.startAngle, sector.angleSpan, turn, dxs);
  FillSectorRow(axes, sector.center.x, dxs, x0, x1, cells, [&](int j) {
    return IsPointInEllipticalSector(sector, Point2d<double>{axes.X(j), y}) != 0;
  });
}

void FillAnnularRow(const AnnularSector2d<double>& sector, const GridAxes& axes, int row, int x0,
                    int x1, unsigned char* cells) {
  if (x1 <= x0) return;
  const double y = axes.Y(row);
  const double dy = y - sector.center.y;
  std::vector<double> dxs;
  dxs.reserve(12);
  if (sector.outerRadius != kNullDouble) {
    EllipseCuts(dy, 1, 0, sector.outerRadius, sector.outerRadius, dxs);
  }
  if (sector.innerRadius != kNullDouble && sector.innerRadius != 0) {
    EllipseCuts(dy, 1, 0, sector.innerRadius, sector.innerRadius, dxs);
  }
  AngularCuts(dy, sector.startAngle, sector.angleSpan, 0, dxs);
  FillSectorRow(axes, sector.center.x, dxs, x0, x1, cells, [&](int j) {
    return IsPointInAnnularSector(sector, Point2d<double>{axes.X(j), y}) != 0;
  });
}

}  // namespace mask
}  // namespace Vision
}  // namespace Ro
