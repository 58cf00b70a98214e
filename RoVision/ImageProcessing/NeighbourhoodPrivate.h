// Private to the image filters: 3x3 row kernels shared by morphology and the median.
//
// Every kernel has a scalar form that follows the defined order of visits literally and, for z8u
// and z16s, an SSE2 form for the interior columns. Minimum, maximum and the median network are
// exact on integers whatever the order of visits, so both forms give the same bits; the tests
// compare them on random rows.
#ifndef ROVISION_IMAGEPROCESSING_NEIGHBOURHOODPRIVATE_H
#define ROVISION_IMAGEPROCESSING_NEIGHBOURHOODPRIVATE_H

#include <zApi/zDefs.h>
#include <zVision/zVision.h>

#include <algorithm>
#include <cfloat>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#define RO_HAVE_SSE2 1
#endif

namespace Ro {
namespace Vision {
namespace image {

struct MinOp {
  template <class T>
  static bool Better(T candidate, T current) {
    return candidate < current;
  }
};

struct MaxOp {
  template <class T>
  static bool Better(T candidate, T current) {
    return candidate > current;
  }
};

// The three-row neighbourhood's extreme at column x: columns max(x-1, 0) to min(x+1, width-1),
// rows a, b, c, visited in that order.
template <class Op, class T>
inline T ExtremeAt(const T* a, const T* b, const T* c, zSize x, zSize width) {
  const zSize first = x > 0 ? x - 1 : 0;
  const zSize last = x + 1 < width ? x + 1 : width - 1;
  T best = a[first];
  for (const T* row : {a, b, c}) {
    for (zSize i = first; i <= last; ++i) {
      if (Op::Better(row[i], best)) best = row[i];
    }
  }
  return best;
}

// Scalar reference: every pixel of one output row.
template <class Op, class T>
void ExtremeRowScalar(const T* a, const T* b, const T* c, T* out, zSize width) {
  for (zSize x = 0; x < width; ++x) out[x] = ExtremeAt<Op>(a, b, c, x, width);
}

#if RO_HAVE_SSE2
template <class T>
struct Lanes;
template <>
struct Lanes<z8u> {
  static __m128i Min(__m128i a, __m128i b) { return _mm_min_epu8(a, b); }
  static __m128i Max(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
};
template <>
struct Lanes<z16s> {
  static __m128i Min(__m128i a, __m128i b) { return _mm_min_epi16(a, b); }
  static __m128i Max(__m128i a, __m128i b) { return _mm_max_epi16(a, b); }
};

inline __m128i Load(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
inline void Store(void* p, __m128i v) {
  _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

template <class Op, class T>
inline __m128i Combine(__m128i a, __m128i b) {
  if constexpr (std::is_same<Op, MinOp>::value) {
    return Lanes<T>::Min(a, b);
  } else {
    return Lanes<T>::Max(a, b);
  }
}
#endif

// The same row as ExtremeRowScalar, interior columns 16 bytes at a time where SSE2 is there.
template <class Op, class T>
void ExtremeRowFast(const T* a, const T* b, const T* c, T* out, zSize width) {
  if (width < 3) {
    ExtremeRowScalar<Op>(a, b, c, out, width);
    return;
  }
  out[0] = ExtremeAt<Op>(a, b, c, 0, width);
  zSize x = 1;
#if RO_HAVE_SSE2
  if constexpr (std::is_same<T, z8u>::value || std::is_same<T, z16s>::value) {
    constexpr zSize kLanes = 16 / sizeof(T);
    auto column = [&](zSize i) {
      return Combine<Op, T>(Combine<Op, T>(Load(a + i), Load(b + i)), Load(c + i));
    };
    // Reads columns x - 1 to x + kLanes, all inside the row.
    for (; x + kLanes < width; x += kLanes) {
      Store(out + x, Combine<Op, T>(Combine<Op, T>(column(x - 1), column(x)), column(x + 1)));
    }
  }
#endif
  for (; x < width; ++x) out[x] = ExtremeAt<Op>(a, b, c, x, width);
}

// ---- Median ----------------------------------------------------------------------------------

// Gathers the neighbourhood of column x (see ExtremeAt) into `values` as doubles; returns the
// count (9 inside, 6 at the first and last column, 3 in an image one pixel wide).
template <class T>
inline zSize GatherAt(const T* a, const T* b, const T* c, zSize x, zSize width, double* values) {
  const zSize first = x > 0 ? x - 1 : 0;
  const zSize last = x + 1 < width ? x + 1 : width - 1;
  zSize n = 0;
  for (const T* row : {a, b, c}) {
    for (zSize i = first; i <= last; ++i) values[n++] = static_cast<double>(row[i]);
  }
  return n;
}

// A platform median as the pixel type stores it: truncated toward zero for the integer types;
// for z32f a result that is not finite, or beyond the float range, is the z32f null.
template <class T>
inline T StoreMedian(double median) {
  if constexpr (std::is_same<T, z32f>::value) {
    if (!(median >= -FLT_MAX && median <= FLT_MAX)) return -FLT_MAX;
    return static_cast<z32f>(median);
  } else {
    return static_cast<T>(median);
  }
}

// Reference median of one row of z8u, z16s or z32f through the platform's null-aware median of
// doubles. Returns the first failing status, else zOK.
template <class T>
zStatus MedianRowPlatform(const T* a, const T* b, const T* c, T* out, zSize width) {
  double values[9];
  for (zSize x = 0; x < width; ++x) {
    const zSize n = GatherAt(a, b, c, x, width, values);
    double median = 0;
    const zStatus status = zNullMath_Median64f(values, n, &median);
    if (status != zOK) return status;
    out[x] = StoreMedian<T>(median);
  }
  return zOK;
}

template <class T>
inline void SortPair(T& lo, T& hi) {
  const T smaller = std::min(lo, hi);
  hi = std::max(lo, hi);
  lo = smaller;
}

// The median of nine by the 19-exchange network; exact for integers in any lane width.
template <class V, class Order>
inline V Median9(V p0, V p1, V p2, V p3, V p4, V p5, V p6, V p7, V p8, Order sort) {
  sort(p1, p2);
  sort(p4, p5);
  sort(p7, p8);
  sort(p0, p1);
  sort(p3, p4);
  sort(p6, p7);
  sort(p1, p2);
  sort(p4, p5);
  sort(p7, p8);
  sort(p0, p3);
  sort(p5, p8);
  sort(p4, p7);
  sort(p3, p6);
  sort(p1, p4);
  sort(p2, p5);
  sort(p4, p7);
  sort(p4, p2);
  sort(p6, p4);
  sort(p4, p2);
  return p4;
}

// The median of the six integers at an edge column: the mean of the two middle values truncated
// toward zero, which is what the platform's mean of the two halves gives once truncated.
template <class T>
inline T Median6(const T* a, const T* b, const T* c, zSize first) {
  int v[6] = {a[first], a[first + 1], b[first], b[first + 1], c[first], c[first + 1]};
  std::sort(v, v + 6);
  return static_cast<T>((v[2] + v[3]) / 2);
}

template <class T>
inline T Median9At(const T* a, const T* b, const T* c, zSize x) {
  return Median9(a[x - 1], a[x], a[x + 1], b[x - 1], b[x], b[x + 1], c[x - 1], c[x], c[x + 1],
                 [](T& lo, T& hi) { SortPair(lo, hi); });
}

// The same row as MedianRowPlatform for z8u and z16s, with integer networks (16 bytes at a time
// inside where SSE2 is there). Images under three columns go to the platform form.
template <class T>
zStatus MedianRowFast(const T* a, const T* b, const T* c, T* out, zSize width) {
  static_assert(std::is_same<T, z8u>::value || std::is_same<T, z16s>::value, "integers only");
  if (width < 3) return MedianRowPlatform(a, b, c, out, width);
  out[0] = Median6(a, b, c, 0);
  out[width - 1] = Median6(a, b, c, width - 2);
  zSize x = 1;
#if RO_HAVE_SSE2
  constexpr zSize kLanes = 16 / sizeof(T);
  auto sort = [](__m128i& lo, __m128i& hi) {
    const __m128i smaller = Lanes<T>::Min(lo, hi);
    hi = Lanes<T>::Max(lo, hi);
    lo = smaller;
  };
  for (; x + kLanes < width; x += kLanes) {
    Store(out + x,
          Median9(Load(a + x - 1), Load(a + x), Load(a + x + 1), Load(b + x - 1), Load(b + x),
                  Load(b + x + 1), Load(c + x - 1), Load(c + x), Load(c + x + 1), sort));
  }
#endif
  for (; x + 1 < width; ++x) out[x] = Median9At(a, b, c, x);
  return zOK;
}

// The upper middle of n doubles (the median for odd n) by two small heaps: a max-heap of the
// lower half and a min-heap of the upper half, the upper kept one larger for odd n. No value is
// skipped.
inline double MedianByHeaps(const double* values, zSize n) {
  double lower[9];
  double upper[9];
  zSize nLower = 0;
  zSize nUpper = 0;
  const auto maxFirst = [](double p, double q) { return p < q; };
  const auto minFirst = [](double p, double q) { return p > q; };
  for (zSize i = 0; i < n; ++i) {
    const double v = values[i];
    if (nUpper > 0 && v < upper[0]) {
      lower[nLower++] = v;
      std::push_heap(lower, lower + nLower, maxFirst);
    } else {
      upper[nUpper++] = v;
      std::push_heap(upper, upper + nUpper, minFirst);
    }
    if (nLower > nUpper) {
      std::pop_heap(lower, lower + nLower, maxFirst);
      upper[nUpper++] = lower[--nLower];
      std::push_heap(upper, upper + nUpper, minFirst);
    } else if (nUpper > nLower + 1) {
      std::pop_heap(upper, upper + nUpper, minFirst);
      lower[nLower++] = upper[--nUpper];
      std::push_heap(lower, lower + nLower, maxFirst);
    }
  }
  return upper[0];
}

}  // namespace image
}  // namespace Vision
}  // namespace Ro

#endif
