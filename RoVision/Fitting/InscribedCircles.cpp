// The maximum inscribed circle and the minimum zone, both on the Delaunay triangulation of the
// points (exact predicates, double constructions): its dual is the nearest-point Voronoi diagram
// and its hull the points' convex hull.
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <algorithm>
#include <cmath>
#include <queue>
#include <vector>

#include "FitPrivate.h"
#include "MinimumCirclesPrivate.h"

namespace Ro {
namespace Vision {
namespace circles {
namespace {

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Delaunay = CGAL::Delaunay_triangulation_2<Kernel>;
using KPoint = Kernel::Point_2;
using VertexHandle = Delaunay::Vertex_handle;

Vec ToVec(const KPoint& p) {
  return {p.x(), p.y()};
}

double Distance2(const Vec& a, const Vec& b) {
  return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
}

double Cross(const Vec& o, const Vec& a, const Vec& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// The triangulation of the points, or none (dimension below 2) when they are all collinear.
struct Triangulation {
  Delaunay dt;
  std::vector<VertexHandle> hull;  // counter-clockwise
  double scale = 0;                // the largest coordinate magnitude

  bool Build(const std::vector<Vec>& points) {
    std::vector<KPoint> kp;
    kp.reserve(points.size());
    for (const Vec& p : points) {
      kp.emplace_back(p.x, p.y);
      scale = std::max({scale, std::fabs(p.x), std::fabs(p.y)});
    }
    dt.insert(kp.begin(), kp.end());
    if (dt.dimension() < 2) return false;
    auto circulator = dt.incident_vertices(dt.infinite_vertex()), end = circulator;
    do {
      hull.push_back(circulator);
    } while (++circulator != end);
    double area = 0;
    for (std::size_t i = 0; i < hull.size(); ++i) {
      area += Cross({0, 0}, ToVec(hull[i]->point()), ToVec(hull[(i + 1) % hull.size()]->point()));
    }
    if (area < 0) std::reverse(hull.begin(), hull.end());
    return true;
  }

  Vec HullPoint(std::size_t i) const { return ToVec(hull[i]->point()); }

  // Inside or on the convex hull, with a slack of a few rounding errors of the coordinates: a
  // circumcentre that lies on the hull by rounding only is as good as the edge crossing there.
  bool InHull(const Vec& p) const {
    const double slack = -1e-13 * scale * scale;
    const std::size_t n = hull.size();
    const Vec h0 = HullPoint(0);
    if (Cross(h0, HullPoint(1), p) < slack || Cross(h0, HullPoint(n - 1), p) > -slack) {
      return false;
    }
    std::size_t lo = 1, hi = n - 1;  // find the fan triangle (h0, h[lo], h[lo + 1]) holding p
    while (hi - lo > 1) {
      const std::size_t mid = (lo + hi) / 2;
      (Cross(h0, HullPoint(mid), p) >= 0 ? lo : hi) = mid;
    }
    return Cross(HullPoint(lo), HullPoint(lo + 1), p) >= slack;
  }

  double Nearest2(const Vec& p, VertexHandle& hint) const {
    hint = dt.nearest_vertex(KPoint(p.x, p.y),
                             hint == VertexHandle() ? Delaunay::Face_handle() : hint->face());
    return Distance2(p, ToVec(hint->point()));
  }

  double Farthest2(const Vec& p) const {
    double best = 0;
    for (const VertexHandle& v : hull) best = std::max(best, Distance2(p, ToVec(v->point())));
    return best;
  }
};

struct Candidate {
  Vec center;
  double radius2 = -1;
  void Offer(const Vec& c, double r2) {
    if (r2 > radius2) {
      center = c;
      radius2 = r2;
    }
  }
};

// Walks the hull edge from hull[k] to hull[k + 1] through the Voronoi cells it crosses and offers
// every crossing point, where the two sites of a Voronoi edge are equally near.
void OfferHullCrossings(const Triangulation& t, std::size_t k, Candidate& best) {
  const VertexHandle target = t.hull[(k + 1) % t.hull.size()];
  const Vec a = t.HullPoint(k), b = ToVec(target->point());
  VertexHandle site = t.hull[k], previous;
  double u = 0;
  for (std::size_t step = 0; site != target && step < t.dt.number_of_vertices(); ++step) {
    const Vec s = ToVec(site->point());
    // Along P(u) = a + u (b - a): |P - n|^2 - |P - s|^2 = alpha + beta u; the walk leaves the
    // cell of s where that first turns negative for a neighbour n.
    double exit = HUGE_VAL;
    VertexHandle next;
    auto circulator = t.dt.incident_vertices(site), end = circulator;
    do {
      if (t.dt.is_infinite(circulator) || VertexHandle(circulator) == previous) continue;
      const Vec n = ToVec(circulator->point());
      const double alpha = Distance2(a, n) - Distance2(a, s);
      const double beta = 2 * ((b.x - a.x) * (s.x - n.x) + (b.y - a.y) * (s.y - n.y));
      if (beta >= 0) continue;
      const double at = std::max(u, -alpha / beta);
      if (at < exit) {
        exit = at;
        next = circulator;
      }
    } while (++circulator != end);
    if (exit >= 1 || next == VertexHandle()) break;
    const Vec p{a.x + exit * (b.x - a.x), a.y + exit * (b.y - a.y)};
    best.Offer(p, Distance2(p, s));
    previous = site;
    site = next;
    u = exit;
  }
}

bool Intersection(const Vec& a, const Vec& b, const Vec& c, const Vec& d, Vec& out) {
  // 2 (b - a) . x = |b|^2 - |a|^2 and 2 (d - c) . x = |d|^2 - |c|^2
  const double a11 = 2 * (b.x - a.x), a12 = 2 * (b.y - a.y);
  const double a21 = 2 * (d.x - c.x), a22 = 2 * (d.y - c.y);
  const double r1 = (b.x * b.x + b.y * b.y) - (a.x * a.x + a.y * a.y);
  const double r2 = (d.x * d.x + d.y * d.y) - (c.x * c.x + c.y * c.y);
  const double det = a11 * a22 - a12 * a21;
  if (det == 0) return false;
  out = {(r1 * a22 - r2 * a12) / det, (a11 * r2 - a21 * r1) / det};
  return std::isfinite(out.x) && std::isfinite(out.y);
}

bool Circumcentre(const Vec& a, const Vec& b, const Vec& c, Vec& out) {
  return Intersection(a, b, a, c, out);
}

}  // namespace

bool MaximumInscribed(const std::vector<Vec>& points, Circle& circle) {
  Triangulation t;
  if (!t.Build(points)) return false;
  Candidate best;
  for (auto face = t.dt.finite_faces_begin(); face != t.dt.finite_faces_end(); ++face) {
    // A sliver that the exact predicates keep may still have no circumcentre in doubles (its
    // centre lies far outside the hull then): it is skipped, never handed to CGAL's
    // construction, which asserts on it.
    Vec c;
    if (!Circumcentre(ToVec(face->vertex(0)->point()), ToVec(face->vertex(1)->point()),
                      ToVec(face->vertex(2)->point()), c)) {
      continue;
    }
    const double r2 = Distance2(c, ToVec(face->vertex(0)->point()));
    if (r2 > best.radius2 && t.InHull(c)) best.Offer(c, r2);
  }
  for (std::size_t k = 0; k < t.hull.size(); ++k) OfferHullCrossings(t, k, best);
  // The radius is measured again against every point, so that none lies strictly inside.
  double nearest2 = HUGE_VAL;
  for (const Vec& p : points) nearest2 = std::min(nearest2, Distance2(best.center, p));
  circle = {best.center, std::sqrt(nearest2)};
  return true;
}

namespace {

// Bounds of the branch-and-bound search for the minimum zone. The search ends when no box can
// improve the best separation by more than kZoneTolerance times the extent of the points, or
// after kMaxBoxes evaluations; the exact step afterwards settles the last digits either way.
constexpr double kZoneTolerance = 1e-13;
constexpr int kMaxBoxes = 40000;
// Critical points taken into the exact step, per side. Ten per side gives 2025 two-and-two
// centres and 240 three-point centres, a few milliseconds on 10^5 points.
constexpr std::size_t kMaxCritical = 10;

struct ZoneEvaluator {
  const Triangulation& t;
  mutable VertexHandle hint;

  Zone At(const Vec& c) const {
    return {c, std::sqrt(t.Nearest2(c, hint)), std::sqrt(t.Farthest2(c))};
  }
};

double Separation(const Zone& z) {
  return z.outer - z.inner;
}

struct Box {
  Vec center;
  double half;
  double lower;
  bool operator<(const Box& other) const { return lower > other.lower; }  // smallest first
};

Zone SearchZone(const ZoneEvaluator& evaluate, const Vec& start, double half, double extent) {
  Zone best = evaluate.At(start);
  std::priority_queue<Box> boxes;
  auto push = [&](const Vec& c, double h) {
    const Zone z = evaluate.At(c);
    if (Separation(z) < Separation(best)) best = z;
    // Each of the two radii moves by at most the distance from the centre, half * sqrt(2).
    boxes.push({c, h, Separation(z) - 2 * std::sqrt(2.0) * h});
  };
  push(start, half);
  for (int evaluations = 0; !boxes.empty() && evaluations < kMaxBoxes; evaluations += 4) {
    const Box box = boxes.top();
    boxes.pop();
    if (box.lower >= Separation(best) - kZoneTolerance * extent) break;
    const double h = box.half / 2;
    for (const Vec& d : {Vec{-h, -h}, Vec{h, -h}, Vec{-h, h}, Vec{h, h}}) {
      push({box.center.x + d.x, box.center.y + d.y}, h);
    }
  }
  return best;
}

// The indices of the up to kMaxCritical points nearest to (outer = false) or farthest from the
// centre, among those within `band` of the extreme.
std::vector<std::size_t> Critical(const std::vector<Vec>& points, const Zone& z, double band,
                                  bool outer) {
  std::vector<std::pair<double, std::size_t>> ranked;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double d = std::sqrt(Distance2(points[i], z.center));
    const double gap = outer ? z.outer - d : d - z.inner;
    if (gap <= band) ranked.push_back({gap, i});
  }
  const std::size_t keep = std::min(kMaxCritical, ranked.size());
  std::partial_sort(ranked.begin(), ranked.begin() + std::ptrdiff_t(keep), ranked.end());
  std::vector<std::size_t> out;
  for (std::size_t i = 0; i < keep; ++i) out.push_back(ranked[i].second);
  return out;
}

}  // namespace

bool MinimumZone(const std::vector<Vec>& points, Zone& zone) {
  Triangulation t;
  if (!t.Build(points)) return false;
  const ZoneEvaluator evaluate{t, VertexHandle()};

  std::vector<Vec> enclosing = points;
  const Circle mcc = MinimumEnclosing(enclosing);
  std::vector<Point2d<double>> asRecords(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) asRecords[i] = {points[i].x, points[i].y};
  Point2d<double> ls;
  FitCircleAlgebraic(asRecords.data(), asRecords.size(), &ls, nullptr);
  const Vec start = ls.x == kNullDouble ? mcc.center : Vec{ls.x, ls.y};
  const double half = mcc.radius + std::sqrt(Distance2(start, mcc.center));
  Zone best = SearchZone(evaluate, start, half, 2 * mcc.radius);

  // The exact step: the minimum zone is balanced by two outer and two inner points, or by three
  // on one side. The band takes in every point that may be critical at the true centre.
  const double band = std::max(4 * Separation(best), 1e-9 * mcc.radius);
  const std::vector<std::size_t> outer = Critical(points, best, band, true);
  const std::vector<std::size_t> inner = Critical(points, best, band, false);
  auto offer = [&](const Vec& c) {
    const Zone z = evaluate.At(c);
    if (Separation(z) < Separation(best)) best = z;
  };
  Vec c;
  for (std::size_t i = 0; i < outer.size(); ++i) {
    for (std::size_t j = i + 1; j < outer.size(); ++j) {
      for (std::size_t k = 0; k < inner.size(); ++k) {
        for (std::size_t l = k + 1; l < inner.size(); ++l) {
          if (Intersection(points[outer[i]], points[outer[j]], points[inner[k]], points[inner[l]],
                           c)) {
            offer(c);
          }
        }
      }
    }
  }
  for (const std::vector<std::size_t>* side : {&outer, &inner}) {
    const std::vector<std::size_t>& s = *side;
    for (std::size_t i = 0; i < s.size(); ++i) {
      for (std::size_t j = i + 1; j < s.size(); ++j) {
        for (std::size_t k = j + 1; k < s.size(); ++k) {
          if (Circumcentre(points[s[i]], points[s[j]], points[s[k]], c)) offer(c);
        }
      }
    }
  }
  zone = best;
  return true;
}

}  // namespace circles
}  // namespace Vision
}  // namespace Ro
