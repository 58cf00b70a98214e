#include "CircleFit.h"

#include <zVision/zVision.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "../Common/ElementTypes.h"
#include "FitPrivate.h"

namespace Ro {
namespace Vision {
namespace {

struct ResidualAndIndex {
  double residual;
  std::size_t index;
};

// Ascending by residual with NaN after every number, so that a NaN point cannot break the
// ordering the selections rely on.
bool ResidualLess(const ResidualAndIndex& a, const ResidualAndIndex& b) {
  return a.residual < b.residual || (std::isnan(b.residual) && !std::isnan(a.residual));
}

// Puts the entry of sorted position `position` in place with nothing larger before it.
void SelectAt(std::vector<ResidualAndIndex>& entries, std::size_t position) {
  std::nth_element(entries.begin(), entries.begin() + std::ptrdiff_t(position), entries.end(),
                   ResidualLess);
}

double RadialError(const Point2d<double>& p, const Point2d<double>& center, double radius) {
  const double dx = p.x - center.x, dy = p.y - center.y;
  return std::sqrt(dx * dx + dy * dy) - radius;
}

void SquaredErrorsInIndexOrder(const std::vector<Point2d<double>>& points,
                               const Point2d<double>& center, double radius,
                               std::vector<ResidualAndIndex>& entries) {
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double e = RadialError(points[i], center, radius);
    entries[i] = {e * e, i};
  }
}

// The objective over the first h entries (the h smallest after SelectAt(h)): their sum, or with
// weights a biweight with tuning constant 6 on the error against the median squared error m.
double TrimmedObjective(const std::vector<ResidualAndIndex>& entries, std::size_t h, bool weighted,
                        double m) {
  double objective = 0;
  for (std::size_t j = 0; j < h; ++j) {
    const double residual = entries[j].residual;
    if (!weighted) {
      objective += residual;
      continue;
    }
    const double u = residual / (36 * m);
    if (u <= 1) objective += (1 - u) * (1 - u) * residual;
  }
  return objective;
}

// One clean-up pass: the band +-3 sigma of the inliers' signed errors (centred on 0) decides
// every flag again. Returns whether any flag changed.
bool ReclassifyByThreeSigma(const std::vector<Point2d<double>>& points,
                            const Point2d<double>& center, double radius, std::vector<int>& flags) {
  const Site site{kFitModule, "Ro::Vision::FitCircleByRLTS"};
  std::vector<double> errors(points.size());
  double sum = 0, sumSquares = 0;
  std::size_t k = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    errors[i] = RadialError(points[i], center, radius);
    if (flags[i] != 0) continue;
    sum += errors[i];
    sumSquares += errors[i] * errors[i];
    ++k;
  }
  if (k <= 3) Throw(site, 1977, kFailure);
  const double mean = sum / double(k);
  const double sigma = std::sqrt(sumSquares / double(k) - mean * mean);
  const double lo = -3 * sigma, hi = 3 * sigma;
  bool changed = false;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double r = errors[i];
    if (flags[i] != 0 && lo < r && r < hi) {
      flags[i] = 0;
      changed = true;
    } else if (flags[i] == 0 && (r < lo || r > hi)) {
      flags[i] = 1;
      changed = true;
    }
  }
  return changed;
}

}  // namespace

void GetNRandomPoints(const Point2d<double>* points, std::size_t count, Point2d<double>* out,
                      std::size_t n) {
  if (n > count) Throw({kFitModule, "Ro::Vision::GetNRandomPoints"}, 1662, kIncompatible);
  if (n == count) {
    std::copy(points, points + count, out);
    return;
  }
  if (n == 0) return;
  std::vector<std::size_t> chosen;
  chosen.reserve(n);
  while (chosen.size() < n) {
    // The draw is scaled by the generator's own maximum, so every index stays in range whatever
    // the runtime's RAND_MAX is (it is 32767 on some runtimes and 2^31 - 1 here).
    const double r = std::rand();
    const auto index = static_cast<std::size_t>(r / RAND_MAX * double(count - 1) + 0.5);
    if (std::find(chosen.begin(), chosen.end(), index) == chosen.end()) chosen.push_back(index);
  }
  for (std::size_t k = 0; k < n; ++k) out[k] = points[chosen[k]];
}

void FitCircleThreePoints(const Point2d<double>& p1, const Point2d<double>& p2,
                          const Point2d<double>& p3, Point2d<double>* center, double* radius) {
  if (center) *center = Point2d<double>{};
  if (radius) *radius = kNullDouble;
  const double x1 = p1.x, y1 = p1.y, x2 = p2.x, y2 = p2.y, x3 = p3.x, y3 = p3.y;
  const double d = x1 * (y2 - y3) - y1 * (x2 - x3) + x2 * y3 - x3 * y2;
  if (std::fabs(d) < kFitEpsilon) return;
  const double s1 = x1 * x1 + y1 * y1, s2 = x2 * x2 + y2 * y2, s3 = x3 * x3 + y3 * y3;
  const double bx = s1 * (y3 - y2) + s2 * (y1 - y3) + s3 * (y2 - y1);
  const double by = s1 * (x2 - x3) + s2 * (x3 - x1) + s3 * (x1 - x2);
  if (center) *center = Point2d<double>{-bx / (2 * d), -by / (2 * d)};
  if (radius) {
    const double c = s1 * (x3 * y2 - x2 * y3) + s2 * (x1 * y3 - x3 * y1) + s3 * (x2 * y1 - x1 * y2);
    *radius = std::sqrt((bx * bx + by * by - 4 * d * c) / (4 * d * d));
  }
}

void FitCircleAlgebraic(const Point2d<double>* points, std::size_t count, Point2d<double>* center,
                        double* radius) {
  if (center) *center = Point2d<double>{};
  if (radius) *radius = kNullDouble;
  if (!points || count < 3) return;
  double sxx = 0, sxy = 0, sx = 0, syy = 0, sy = 0, ssx = 0, ssy = 0, ss = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double x = points[i].x, y = points[i].y, s = x * x + y * y;
    sxx += x * x;
    sxy += x * y;
    sx += x;
    syy += y * y;
    sy += y;
    ssx += s * x;
    ssy += s * y;
    ss += s;
  }
  const double n = double(count);
  const double m[9] = {4 * sxx, 4 * sxy, 2 * sx, 4 * sxy, 4 * syy, 2 * sy, 2 * sx, 2 * sy, n};
  double inverse[9];
  if (zMatrix_Invert(m, 3, inverse) != zOK) return;
  const double rhs[3] = {2 * ssx, 2 * ssy, ss};
  double abc[3];
  for (int i = 0; i < 3; ++i) {
    abc[i] = inverse[3 * i] * rhs[0] + inverse[3 * i + 1] * rhs[1] + inverse[3 * i + 2] * rhs[2];
  }
  if (center) *center = Point2d<double>{abc[0], abc[1]};
  if (radius) *radius = std::sqrt(abc[2] + abc[0] * abc[0] + abc[1] * abc[1]);
}

void FitCircleByRLTS(const zPoint64f* points, std::size_t count, double outlierPercent,
                     zPoint64f& center, double& radius, int* outlierFlags, unsigned int* seed,
                     int useWeights) {
  const Site site{kFitModule, "Ro::Vision::FitCircleByRLTS"};
  center = zPoint64f{kNullDouble, kNullDouble};
  radius = kNullDouble;
  if (count <= 2) return;
  if (!points) Throw(site, __LINE__, kInvalidArgument);
  std::vector<Point2d<double>> pts(count);
  for (std::size_t i = 0; i < count; ++i) pts[i] = Point2d<double>{points[i].x, points[i].y};

  Point2d<double> best;
  double bestRadius = kNullDouble;
  auto publish = [&] {
    center = zPoint64f{best.x, best.y};
    radius = bestRadius;
  };
  if (count == 3) {
    FitCircleThreePoints(pts[0], pts[1], pts[2], &best, &bestRadius);
    publish();
    return;
  }
  if (outlierPercent == 0.0) {
    if (outlierFlags) std::fill(outlierFlags, outlierFlags + count, 0);
    FitCircleAlgebraic(pts.data(), count, &best, &bestRadius);
    publish();
    return;
  }
  // ln(1 - (1 - q)^3) is undefined for q < 0, so only a cap above is meaningful.
  if (!(outlierPercent > 0)) Throw(site, __LINE__, kInvalidArgument);

  const double q = std::min(outlierPercent, 80.0) / 100;
  const double inlierFraction = (1 - q) * (1 - q) * (1 - q);
  const auto trials = static_cast<std::size_t>(
      std::log(9.999999999998899e-05) / std::log(1 - inlierFraction) + 0.5);
  const auto h = static_cast<std::size_t>(std::ceil(double(count) * (1 - q)));
  std::srand(seed ? *seed : static_cast<unsigned int>(std::time(nullptr)));

  std::vector<int> tmpOutliers(count, 0);
  std::vector<ResidualAndIndex> residualAndIndex(count);
  std::vector<Point2d<double>> hSubset;
  hSubset.reserve(count);
  double bestObjective = DBL_MAX;
  for (std::size_t trial = 0; trial < trials; ++trial) {
    Point2d<double> h0Subset[3];
    GetNRandomPoints(pts.data(), count, h0Subset, 3);
    Point2d<double> sampleCenter;
    double sampleRadius;
    FitCircleThreePoints(h0Subset[0], h0Subset[1], h0Subset[2], &sampleCenter, &sampleRadius);
    if (sampleRadius == kNullDouble) continue;

    SquaredErrorsInIndexOrder(pts, sampleCenter, sampleRadius, residualAndIndex);
    SelectAt(residualAndIndex, h);
    hSubset.clear();
    for (std::size_t j = 0; j < h; ++j) hSubset.push_back(pts[residualAndIndex[j].index]);
    Point2d<double> tmpCenter;
    double tmpRadius;
    FitCircleAlgebraic(hSubset.data(), hSubset.size(), &tmpCenter, &tmpRadius);
    // A subset too small or too straight for a circle gives no candidate (its zero weighted
    // objective would otherwise win).
    if (tmpRadius == kNullDouble) continue;

    SquaredErrorsInIndexOrder(pts, tmpCenter, tmpRadius, residualAndIndex);
    double m = 1;
    if (useWeights != 0) {
      SelectAt(residualAndIndex, count / 2);
      m = residualAndIndex[count / 2].residual;
    }
    SelectAt(residualAndIndex, h);
    const double objective = TrimmedObjective(residualAndIndex, h, useWeights != 0, m);
    if (!(objective < bestObjective)) continue;
    bestObjective = objective;
    best = tmpCenter;
    bestRadius = tmpRadius;
    publish();
    // Positions 0 .. h, that is h + 1 points, are inliers.
    for (std::size_t j = 0; j < count; ++j) {
      const int flag = j > h ? 1 : 0;
      tmpOutliers[residualAndIndex[j].index] = flag;
      if (outlierFlags) outlierFlags[residualAndIndex[j].index] = flag;
    }
  }

  // A single clean-up pass: once flags changed, the circle is refitted over the inliers and the
  // clean-up ends; a refit left with 3 or fewer inliers fails as the next pass would.
  if (ReclassifyByThreeSigma(pts, best, bestRadius, tmpOutliers)) {
    hSubset.clear();
    for (std::size_t i = 0; i < count; ++i) {
      if (tmpOutliers[i] == 0) hSubset.push_back(pts[i]);
    }
    FitCircleAlgebraic(hSubset.data(), hSubset.size(), &best, &bestRadius);
    publish();
    if (hSubset.size() <= 3) Throw(site, 1977, kFailure);
  }
  if (outlierFlags) std::copy(tmpOutliers.begin(), tmpOutliers.end(), outlierFlags);
}

}  // namespace Vision
}  // namespace Ro
