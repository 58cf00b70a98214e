#include "LinearAlgebra.h"

#include <cmath>
#include <cstddef>
#include <new>
#include <utility>

namespace Ro {
namespace Vision {
namespace {

// Element (row, column) of the lower triangle of a symmetric n x n matrix.
inline double& Lower(double* a, int n, int row, int column) {
  return row >= column ? a[std::size_t(row) * n + column] : a[std::size_t(column) * n + row];
}

// One Jacobi rotation of the pair (p, q), p < q. Returns false when the element is below the
// threshold and the pair is skipped.
bool RotatePair(double* a, double* v, int n, bool valuesOnly, int p, int q, double threshold) {
  const double apq = a[std::size_t(q) * n + p];
  if (std::fabs(apq) < threshold) return false;
  const double app = a[std::size_t(p) * n + p];
  const double aqq = a[std::size_t(q) * n + q];
  const double y = 0.5 * (app - aqq);
  double x, t;
  const double r2 = apq * apq + y * y;
  if (r2 <= 0) {
    x = -1;
    t = 0;
  } else {
    x = -apq / std::sqrt(r2);
    t = 1 - x * x;
    if (t < 0) t = 0;
  }
  if (y < 0) x = -x;
  const double s = x / std::sqrt(2 * (1 + std::sqrt(t)));
  const double co = std::sqrt(1 - s * s);
  for (int i = 0; i < n; ++i) {
    if (i == p || i == q) continue;
    double& aip = Lower(a, n, i, p);
    double& aiq = Lower(a, n, i, q);
    const double oldP = aip, oldQ = aiq;
    aip = oldP * co - oldQ * s;
    aiq = oldP * s + oldQ * co;
  }
  if (!valuesOnly) {
    double* vp = v + std::size_t(p) * n;
    double* vq = v + std::size_t(q) * n;
    for (int i = 0; i < n; ++i) {
      const double oldP = vp[i], oldQ = vq[i];
      vq[i] = oldP * s + oldQ * co;
      vp[i] = oldP * co - oldQ * s;
    }
  }
  a[std::size_t(q) * n + p] = (app - aqq) * s * co + apq * (co * co - s * s);
  a[std::size_t(p) * n + p] = app * co * co + aqq * s * s - 2 * apq * s * co;
  a[std::size_t(q) * n + q] = app * s * s + aqq * co * co + 2 * apq * s * co;
  return true;
}

}  // namespace

void DecomposeEigen(double* a, double* v, int n, int valuesOnly) {
  if (!a || n <= 0 || (!valuesOnly && !v)) return;
  double off = 0;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      if (i != j) off += Lower(a, n, i, j) * Lower(a, n, i, j);
    }
  }
  if (!valuesOnly) {
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) v[std::size_t(i) * n + j] = i == j ? 1.0 : 0.0;
    }
  }
  if (off > 0) {
    off = std::sqrt(off);
    const double eps = off * 1e-12 / n;
    double threshold = off / n;
    while (threshold > eps) {
      bool changed = true;
      while (changed) {
        changed = false;
        for (int p = 0; p < n - 1; ++p) {
          for (int q = p + 1; q < n; ++q) {
            changed |= RotatePair(a, v, n, valuesOnly != 0, p, q, threshold);
          }
        }
      }
      threshold /= n;
    }
  }
  for (int i = 0; i < n - 1; ++i) {
    for (int j = i + 1; j < n; ++j) {
      double& di = a[std::size_t(i) * n + i];
      double& dj = a[std::size_t(j) * n + j];
      if (dj > di) {
        std::swap(di, dj);
        if (!valuesOnly) {
          for (int k = 0; k < n; ++k)
            std::swap(v[std::size_t(i) * n + k], v[std::size_t(j) * n + k]);
        }
      }
    }
  }
}

int LinearSystemByGaussian(double* A, double* x, int n) {
  if (!A || !x || n <= 0) return 0;
  const int stride = n + 1;
  auto at = [&](int r, int c) -> double& { return A[std::size_t(r) * stride + c]; };
  for (int d = 0; d < n; ++d) {
    int pivot = d;
    for (int r = d + 1; r < n; ++r) {
      if (std::fabs(at(r, d)) > std::fabs(at(pivot, d))) pivot = r;
    }
    if (pivot != d) {
      for (int c = 0; c <= n; ++c) std::swap(at(d, c), at(pivot, c));
    }
    if (std::fabs(at(d, d)) <= 1e-12) {
      for (int i = 0; i < n; ++i) x[i] = 0;
      return 0;
    }
    for (int r = d + 1; r < n; ++r) {
      const double f = at(r, d) / at(d, d);
      at(r, n) -= f * at(d, n);
      for (int j = d; j < n; ++j) at(r, j) -= f * at(d, j);
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    double sum = at(i, n);
    for (int j = i + 1; j < n; ++j) sum -= at(i, j) * x[j];
    x[i] = sum / at(i, i);
  }
  return 1;
}

int LeastSquares(const double* data, int n, int m, double* coef, double* err) {
  if (!data || !coef || !err || n < 2 || m < 0) return 0;
  const int unknowns = n - 1;
  double* M = new (std::nothrow) double[std::size_t(unknowns) * n]();
  if (!M) return 0;
  for (int i = 0; i < unknowns; ++i) {
    coef[i] = 0;
    for (int j = 0; j < n; ++j) {
      double sum = 0;
      for (int r = 0; r < m; ++r)
        sum += data[std::size_t(r) * n + i] * data[std::size_t(r) * n + j];
      M[std::size_t(i) * n + j] = sum;
    }
  }
  const int solved = LinearSystemByGaussian(M, coef, unknowns);
  delete[] M;
  if (!solved) return 0;
  double residuals = 0;
  for (int r = 0; r < m; ++r) {
    const double* row = data + std::size_t(r) * n;
    double model = 0;
    for (int i = 0; i < unknowns; ++i) model += coef[i] * row[i];
    residuals += std::fabs(row[unknowns] - model);
  }
  *err = residuals / m * std::sqrt(1.5707963267948966);
  return 1;
}

}  // namespace Vision
}  // namespace Ro
