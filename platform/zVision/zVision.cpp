#include "zVision.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <vector>

void zL3dTransform3d_Identity(zL3dTransform3d* t) {
  if (!t) return;
  *t = zL3dTransform3d{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};
}

zStatus zL3dTransform3d_Apply(const zL3dTransform3d* t, const zPoint3d64f* p, zPoint3d64f* out) {
  if (!t || !p || !out) return zERROR_PARAMETER;
  const zPoint3d64f in = *p;
  out->x = t->xx * in.x + t->xy * in.y + t->xz * in.z + t->xt;
  out->y = t->yx * in.x + t->yy * in.y + t->yz * in.z + t->yt;
  out->z = t->zx * in.x + t->zy * in.y + t->zz * in.z + t->zt;
  return zOK;
}

zStatus zMatrix_Mul64f(const z64f* a, const z64f* b, zSize rows, zSize inner, zSize columns,
                       z64f* out) {
  if (!a || !b || !out) return zERROR_PARAMETER;
  for (zSize r = 0; r < rows; ++r) {
    for (zSize c = 0; c < columns; ++c) {
      z64f sum = 0;
      for (zSize k = 0; k < inner; ++k) sum += a[r * inner + k] * b[k * columns + c];
      out[r * columns + c] = sum;
    }
  }
  return zOK;
}

zStatus zMatrix_Invert(const z64f* m, zSize n, z64f* out) {
  if (!m || !out || n == 0) return zERROR_PARAMETER;
  std::vector<z64f> work(m, m + n * n);
  std::vector<z64f> inv(n * n, 0.0);
  for (zSize i = 0; i < n; ++i) inv[i * n + i] = 1.0;
  z64f largest = 0;
  for (z64f v : work) largest = std::max(largest, std::fabs(v));
  const z64f tiny = largest * 1e-14;
  for (zSize col = 0; col < n; ++col) {
    zSize pivot = col;
    for (zSize r = col + 1; r < n; ++r) {
      if (std::fabs(work[r * n + col]) > std::fabs(work[pivot * n + col])) pivot = r;
    }
    const z64f p = work[pivot * n + col];
    if (!(std::fabs(p) > tiny)) return zERROR_SINGULAR;
    if (pivot != col) {
      for (zSize k = 0; k < n; ++k) {
        std::swap(work[pivot * n + k], work[col * n + k]);
        std::swap(inv[pivot * n + k], inv[col * n + k]);
      }
    }
    for (zSize k = 0; k < n; ++k) {
      work[col * n + k] /= p;
      inv[col * n + k] /= p;
    }
    for (zSize r = 0; r < n; ++r) {
      if (r == col) continue;
      const z64f f = work[r * n + col];
      if (f == 0) continue;
      for (zSize k = 0; k < n; ++k) {
        work[r * n + k] -= f * work[col * n + k];
        inv[r * n + k] -= f * inv[col * n + k];
      }
    }
  }
  std::copy(inv.begin(), inv.end(), out);
  return zOK;
}

zStatus zS3dMath_Normalize64f(const zPoint3d64f* v, zPoint3d64f* out) {
  if (!v || !out) return zERROR_PARAMETER;
  const z64f length = std::sqrt(v->x * v->x + v->y * v->y + v->z * v->z);
  if (!(length > 0) || !std::isfinite(length)) return zERROR_PARAMETER;
  *out = zPoint3d64f{v->x / length, v->y / length, v->z / length};
  return zOK;
}

zStatus zNullMath_Median64f(z64f* values, zSize count, z64f* median) {
  if (!median || (!values && count > 0)) return zERROR_PARAMETER;
  z64f* end =
      std::remove_if(values, values + count, [](z64f v) { return v == -DBL_MAX || std::isnan(v); });
  const zSize n = static_cast<zSize>(end - values);
  if (n == 0) {
    *median = -DBL_MAX;
    return zOK;
  }
  z64f* upper = values + n / 2;
  std::nth_element(values, upper, end);
  if (n % 2 == 1) {
    *median = *upper;
  } else {
    const z64f lower = *std::max_element(values, upper);
    *median = lower / 2 + *upper / 2;
  }
  return zOK;
}
