#include "EllipseFit.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "../Algebra/LinearAlgebra.h"
#include "FitPrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

struct Conic {
  double a, b, c;
};

struct EllipseShape {
  double semiMajor, semiMinor, meanAxis, flattening, angle;
};

// Axes for a kept angle. Returns the status.
int AxesForAngle(const Conic& k, double angle, EllipseShape& out) {
  const double theta = -(angle - 90) / kDegreesPerRadian;
  double s = 2 * std::sin(theta) * std::cos(theta);
  if (s == 0) s = 1e-6;
  const double sum = k.a + k.b;
  if (!(sum + k.c / s > 0)) return -5;
  double major = std::sqrt(2 / (sum + k.c / s));
  if (!(sum - k.c / s > 0)) return -4;
  double minor = std::sqrt(2 / (sum - k.c / s));
  if (minor > major) std::swap(major, minor);
  out = {major, minor, std::sqrt(minor * major), 1 - minor / major, angle};
  return 1;
}

// Axes and angle for a kept flattening. Returns the status.
int AxesForRatio(const Conic& k, double flattening, EllipseShape& out) {
  const double r = 1 - flattening;
  const double sum = k.a + k.b;
  if (sum <= 0) return -6;
  const double minor = std::sqrt((1 + r * r) / sum);
  const double major = minor / r;
  const double t = k.a - k.b + (r * r - 1) / (minor * minor);
  if (t == 0) return -7;
  out = {major, minor, std::sqrt(major * minor), flattening,
         std::atan(-k.c / t) * kDegreesPerRadian + 90};
  return 1;
}

int AxesFree(const Conic& k, EllipseShape& out) {
  const double d2 = k.c * k.c + (k.a - k.b) * (k.a - k.b);
  if (d2 <= 0) return -8;
  const double u = 2 / (k.a + k.b + std::sqrt(d2));
  if (u <= 0) return -9;
  double major = std::sqrt(u);
  const double t = k.a + k.b - 1 / (major * major);
  if (t <= 0) return -10;
  double minor = 1 / std::sqrt(t);
  const bool swapped = minor > major;
  if (swapped) std::swap(major, minor);
  double angle =
      std::atan(-k.c / (k.a - k.b + 1 / (major * major) - 1 / (minor * minor))) * kDegreesPerRadian;
  if (swapped) angle += angle >= 0 ? -90 : 90;
  out = {major, minor, std::sqrt(minor * major), 1 - minor / major, angle + 90};
  return 1;
}

}  // namespace

int FitEllipse(double* x, double* y, int n, double* centerX, double* centerY, int fixCenter,
               int fixAngle, int fixRatio, double* semiMajor, double* semiMinor, double* meanAxis,
               double* flattening, double* angle, double* sigma) {
  if (!x || !y || !centerX || !centerY || !semiMajor || !semiMinor || !meanAxis || !flattening ||
      !angle || !sigma || n < 1) {
    return 0;
  }
  for (int i = 0; i < n; ++i) {
    if (!std::isfinite(x[i]) || !std::isfinite(y[i])) return 0;
  }
  const int columns = fixCenter ? 4 : 6;
  std::unique_ptr<double[]> rows(new (std::nothrow) double[std::size_t(n) * columns]);
  if (!rows) return 0;
  for (int i = 0; i < n; ++i) {
    const double dx = x[i] - *centerX, dy = y[i] - *centerY;
    double* row = rows.get() + std::size_t(i) * columns;
    row[0] = dx * dx;
    row[1] = dy * dy;
    row[2] = dx * dy;
    if (!fixCenter) {
      row[3] = dx;
      row[4] = dy;
    }
    row[columns - 1] = 1;
  }
  double coef[5] = {};
  double err = 0;
  const int solved = LeastSquares(rows.get(), columns, n, coef, &err);
  if (fixCenter && !solved) return 0;
  if (!solved) return -1;
  *sigma = err;
  Conic conic{coef[0], coef[1], coef[2]};
  if (!fixCenter) {
    const double d = coef[3], e = coef[4];
    const double det = 4 * conic.a * conic.b - conic.c * conic.c;
    if (det == 0) return -2;
    const double x0 = (-2 * conic.b * d + conic.c * e) / det;
    const double y0 = (conic.c * d - 2 * conic.a * e) / det;
    *centerX += x0;
    *centerY += y0;
    const double k = conic.a * x0 * x0 + conic.b * y0 * y0 + conic.c * x0 * y0;
    if (1 + k == 0) return -3;
    const double factor = 1 - k / (1 + k);
    conic = {conic.a * factor, conic.b * factor, conic.c * factor};
  }
  EllipseShape shape{};
  const int status = fixAngle   ? AxesForAngle(conic, *angle, shape)
                     : fixRatio ? AxesForRatio(conic, *flattening, shape)
                                : AxesFree(conic, shape);
  if (status != 1) return status;
  *semiMajor = shape.semiMajor;
  *semiMinor = shape.semiMinor;
  *meanAxis = shape.meanAxis;
  *flattening = shape.flattening;
  *angle = shape.angle;
  return 1;
}

namespace {

// Sums over the valid cells, positions relative to the rectangle's first cell so that the
// integer sums stay exact.
struct CellMoments {
  double n = 0;
  long long sj = 0, sr = 0, sjj = 0, sjr = 0, srr = 0;
  double sh = 0, shj = 0, shr = 0;
  int lowest = 32767, highest = -32768;
};

// Normalises an angle in degrees into [low, low + period).
double Wrap(double angle, double low, double period) {
  double wrapped = std::fmod(angle - low, period);
  if (wrapped < 0) wrapped += period;
  return wrapped + low;
}

}  // namespace

void FitEllipse(const Surface& surface, const Rect2d<int>& rect, void* mask, int useHeights,
                int signedAngle, zPoint3d64f* center, zPoint3d64f* axes, double* angle) {
  const Site site{kFitModule, "Ro::Vision::FitEllipse"};
  if (center) *center = zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
  if (axes) *axes = zPoint3d64f{kNullDouble, kNullDouble, kNullDouble};
  if (angle) *angle = kNullDouble;
  const HeightRegion region = CheckHeightRegion(site, surface, rect, mask);

  CellMoments m;
  ForEachValidCell(region, [&](int column, int row, short h) {
    const long long j = column - rect.x, r = row - rect.y;
    m.n += 1;
    m.sj += j;
    m.sr += r;
    m.sjj += j * j;
    m.sjr += j * r;
    m.srr += r * r;
    m.sh += h;
    m.shj += double(h) * double(j);
    m.shr += double(h) * double(r);
    m.lowest = std::min<int>(m.lowest, h);
    m.highest = std::max<int>(m.highest, h);
  });
  if (m.n == 0) return;

  const zPoint3d64f& scale = surface.scale;
  const zPoint3d64f& offset = surface.offset;
  const double mj = double(m.sj) / m.n, mr = double(m.sr) / m.n, mh = m.sh / m.n;
  // Covariance in world units: index covariances scaled by the (signed) resolutions.
  const double cxx = (double(m.sjj) / m.n - mj * mj) * scale.x * scale.x;
  const double cyy = (double(m.srr) / m.n - mr * mr) * scale.y * scale.y;
  const double cxy = (double(m.sjr) / m.n - mj * mr) * scale.x * scale.y;
  const double half = 0.5 * (cxx + cyy);
  const double spread = std::sqrt(0.25 * (cxx - cyy) * (cxx - cyy) + cxy * cxy);
  const double major = half + spread, minor = std::max(half - spread, 0.0);
  double degrees = 0.5 * std::atan2(2 * cxy, cxx - cyy) * kDegreesPerRadian;

  if (useHeights) {
    const double chx = (m.shj / m.n - mh * mj) * scale.x;
    const double chy = (m.shr / m.n - mh * mr) * scale.y;
    const double along =
        chx * std::cos(degrees / kDegreesPerRadian) + chy * std::sin(degrees / kDegreesPerRadian);
    if (along < 0) degrees += 180;
    degrees = signedAngle ? Wrap(degrees, -180, 360) : Wrap(degrees, 0, 360);
  } else {
    degrees = signedAngle ? Wrap(degrees, -90, 180) : Wrap(degrees, 0, 180);
  }

  if (center) {
    *center = zPoint3d64f{offset.x + (rect.x + mj) * scale.x, offset.y + (rect.y + mr) * scale.y,
                          offset.z + 0.5 * (m.lowest + m.highest) * scale.z};
  }
  if (axes) {
    *axes = zPoint3d64f{2 * std::sqrt(major), 2 * std::sqrt(minor),
                        double(m.highest - m.lowest) * scale.z};
  }
  if (angle) *angle = degrees;
}

}  // namespace Vision
}  // namespace Ro
