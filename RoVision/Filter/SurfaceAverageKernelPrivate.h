// Private to the Filter module: the per-row steps of the null-aware separable moving average of
// height maps, in a plain form that states the arithmetic and an SSE2 form that gives the same
// bits faster (tests compare the two).
#ifndef ROVISION_FILTER_SURFACEAVERAGEKERNELPRIVATE_H
#define ROVISION_FILTER_SURFACEAVERAGEKERNELPRIVATE_H

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace Ro {
namespace Vision {
namespace surface_average {

constexpr short kNull = -32768;

// The fast mean divides in single precision. For integers a and b with |a| < 2^24 the quotient
// a / b rounded to a float truncates to the same integer as a / b in integers: a float holds a
// and b exactly, the division is correctly rounded, and a non-integer quotient stays at least
// 1 / b below the next integer, more than half a float step at that size. Sums of at most 512
// heights in -32767..32767 stay below 2^24.
constexpr std::size_t kMaxFastCount = 512;

// Adds (add = true) or removes the non-null heights of `row` to or from per-column sums and
// counts of non-null values.
template <class Sum>
inline void AccumulatePlain(Sum* sum, Sum* count, const short* row, std::size_t n, bool add) {
  const Sum sign = add ? 1 : -1;
  for (std::size_t i = 0; i < n; ++i) {
    if (row[i] == kNull) continue;
    sum[i] += sign * row[i];
    count[i] += sign;
  }
}

// mean = sum / count in integers (truncated toward zero); null where count is 0 and, with
// keepNulls, where the cell's own value `own` is null.
template <class Sum>
inline void WriteMeansPlain(const Sum* sum, const Sum* count, const short* own, short* out,
                            std::size_t n, bool keepNulls) {
  for (std::size_t i = 0; i < n; ++i) {
    short mean = count[i] > 0 ? static_cast<short>(sum[i] / count[i]) : kNull;
    if (keepNulls && own[i] == kNull) mean = kNull;
    out[i] = mean;
  }
}

// The difference of two prefix runs: out[i] = hi[i] - lo[i], taken modulo 2^32 so that a
// prefix that wrapped still gives the exact window sum.
inline void DifferencePlain(const std::uint32_t* hi, const std::uint32_t* lo, std::int32_t* out,
                            std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<std::int32_t>(hi[i] - lo[i]);
}

#if defined(__SSE2__)

inline void AccumulateFast(std::int32_t* sum, std::int32_t* count, const short* row, std::size_t n,
                           bool add) {
  const __m128i nullValue = _mm_set1_epi16(kNull);
  const __m128i one = _mm_set1_epi16(1);
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + i));
    const __m128i isNull = _mm_cmpeq_epi16(v, nullValue);
    const __m128i kept = _mm_andnot_si128(isNull, v);
    const __m128i v0 = _mm_srai_epi32(_mm_unpacklo_epi16(kept, kept), 16);
    const __m128i v1 = _mm_srai_epi32(_mm_unpackhi_epi16(kept, kept), 16);
    const __m128i ones = _mm_andnot_si128(isNull, one);
    const __m128i c0 = _mm_unpacklo_epi16(ones, zero);
    const __m128i c1 = _mm_unpackhi_epi16(ones, zero);
    __m128i* s = reinterpret_cast<__m128i*>(sum + i);
    __m128i* c = reinterpret_cast<__m128i*>(count + i);
    if (add) {
      _mm_storeu_si128(s, _mm_add_epi32(_mm_loadu_si128(s), v0));
      _mm_storeu_si128(s + 1, _mm_add_epi32(_mm_loadu_si128(s + 1), v1));
      _mm_storeu_si128(c, _mm_add_epi32(_mm_loadu_si128(c), c0));
      _mm_storeu_si128(c + 1, _mm_add_epi32(_mm_loadu_si128(c + 1), c1));
    } else {
      _mm_storeu_si128(s, _mm_sub_epi32(_mm_loadu_si128(s), v0));
      _mm_storeu_si128(s + 1, _mm_sub_epi32(_mm_loadu_si128(s + 1), v1));
      _mm_storeu_si128(c, _mm_sub_epi32(_mm_loadu_si128(c), c0));
      _mm_storeu_si128(c + 1, _mm_sub_epi32(_mm_loadu_si128(c + 1), c1));
    }
  }
  AccumulatePlain(sum + i, count + i, row + i, n - i, add);
}

// As WriteMeansPlain, for counts of at most kMaxFastCount.
inline void WriteMeansFast(const std::int32_t* sum, const std::int32_t* count, const short* own,
                           short* out, std::size_t n, bool keepNulls) {
  const __m128i nullValue = _mm_set1_epi16(kNull);
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i s0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sum + i));
    const __m128i s1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sum + i + 4));
    const __m128i c0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(count + i));
    const __m128i c1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(count + i + 4));
    const __m128i empty0 = _mm_cmpeq_epi32(c0, zero);
    const __m128i empty1 = _mm_cmpeq_epi32(c1, zero);
    // An empty window divides by 1 instead of 0; its result is replaced by null below.
    const __m128 d0 = _mm_cvtepi32_ps(_mm_sub_epi32(c0, empty0));
    const __m128 d1 = _mm_cvtepi32_ps(_mm_sub_epi32(c1, empty1));
    const __m128i q0 = _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(s0), d0));
    const __m128i q1 = _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(s1), d1));
    __m128i mean = _mm_packs_epi32(q0, q1);
    __m128i nullMask = _mm_packs_epi32(empty0, empty1);
    if (keepNulls) {
      const __m128i self = _mm_loadu_si128(reinterpret_cast<const __m128i*>(own + i));
      nullMask = _mm_or_si128(nullMask, _mm_cmpeq_epi16(self, nullValue));
    }
    mean = _mm_or_si128(_mm_andnot_si128(nullMask, mean), _mm_and_si128(nullMask, nullValue));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), mean);
  }
  WriteMeansPlain(sum + i, count + i, keepNulls ? own + i : own, out + i, n - i, keepNulls);
}

inline void DifferenceFast(const std::uint32_t* hi, const std::uint32_t* lo, std::int32_t* out,
                           std::size_t n) {
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const __m128i h = _mm_loadu_si128(reinterpret_cast<const __m128i*>(hi + i));
    const __m128i l = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lo + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_sub_epi32(h, l));
  }
  DifferencePlain(hi + i, lo + i, out + i, n - i);
}

#else

inline void AccumulateFast(std::int32_t* sum, std::int32_t* count, const short* row, std::size_t n,
                           bool add) {
  AccumulatePlain(sum, count, row, n, add);
}
inline void WriteMeansFast(const std::int32_t* sum, const std::int32_t* count, const short* own,
                           short* out, std::size_t n, bool keepNulls) {
  WriteMeansPlain(sum, count, own, out, n, keepNulls);
}
inline void DifferenceFast(const std::uint32_t* hi, const std::uint32_t* lo, std::int32_t* out,
                           std::size_t n) {
  DifferencePlain(hi, lo, out, n);
}

#endif

}  // namespace surface_average
}  // namespace Vision
}  // namespace Ro

#endif
