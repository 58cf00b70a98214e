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
#if defined(__SSE2__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
// AVX2 forms, compiled for that instruction set only and chosen at run time (HasAvx2()).
#define RO_SURFACE_AVERAGE_AVX2 1
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

// Prefix sums of a row's non-null heights and of their count: sums[j] and counts[j] cover cells
// 0 .. j - 1, for j = 0 .. n. P is std::uint32_t (wrapping; differences of at most 65535
// values are still exact) or a 64-bit integer.
template <class P>
inline void PrefixPlain(const short* row, P* sums, P* counts, std::size_t n) {
  // Running totals in locals: re-reading the stored prefix would chain every cell on a
  // store-to-load round trip.
  P sum = 0;
  P count = 0;
  sums[0] = 0;
  counts[0] = 0;
  for (std::size_t j = 0; j < n; ++j) {
    const bool present = row[j] != kNull;
    sum += present ? static_cast<P>(row[j]) : P(0);
    count += present ? P(1) : P(0);
    sums[j + 1] = sum;
    counts[j + 1] = count;
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

// As PrefixPlain with 32-bit prefixes, eight cells at a time and without a branch per cell
// (a branch on randomly placed nulls mispredicts often).
inline void PrefixFast(const short* row, std::uint32_t* sums, std::uint32_t* counts,
                       std::size_t n) {
  const __m128i nullValue = _mm_set1_epi16(kNull);
  const __m128i one = _mm_set1_epi16(1);
  const __m128i zero = _mm_setzero_si128();
  __m128i sumCarry = zero;    // the running sum in every lane
  __m128i countCarry = zero;  // the running count in every lane
  sums[0] = 0;
  counts[0] = 0;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + i));
    const __m128i isNull = _mm_cmpeq_epi16(v, nullValue);
    const __m128i kept = _mm_andnot_si128(isNull, v);
    // Counts of at most 8 fit 16-bit lanes: prefix them there in three shifted adds.
    __m128i ones = _mm_andnot_si128(isNull, one);
    ones = _mm_add_epi16(ones, _mm_slli_si128(ones, 2));
    ones = _mm_add_epi16(ones, _mm_slli_si128(ones, 4));
    ones = _mm_add_epi16(ones, _mm_slli_si128(ones, 8));
    __m128i lo = _mm_srai_epi32(_mm_unpacklo_epi16(kept, kept), 16);
    __m128i hi = _mm_srai_epi32(_mm_unpackhi_epi16(kept, kept), 16);
    lo = _mm_add_epi32(lo, _mm_slli_si128(lo, 4));
    lo = _mm_add_epi32(lo, _mm_slli_si128(lo, 8));
    hi = _mm_add_epi32(hi, _mm_slli_si128(hi, 4));
    hi = _mm_add_epi32(hi, _mm_slli_si128(hi, 8));
    hi = _mm_add_epi32(hi, _mm_shuffle_epi32(lo, 0xFF));
    lo = _mm_add_epi32(lo, sumCarry);
    hi = _mm_add_epi32(hi, sumCarry);
    const __m128i countLo = _mm_add_epi32(_mm_unpacklo_epi16(ones, zero), countCarry);
    const __m128i countHi = _mm_add_epi32(_mm_unpackhi_epi16(ones, zero), countCarry);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sums + i + 1), lo);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(sums + i + 5), hi);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(counts + i + 1), countLo);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(counts + i + 5), countHi);
    sumCarry = _mm_shuffle_epi32(hi, 0xFF);
    countCarry = _mm_shuffle_epi32(countHi, 0xFF);
  }
  std::uint32_t sum = sums[i];
  std::uint32_t count = counts[i];
  for (; i < n; ++i) {
    const bool present = row[i] != kNull;
    sum += present ? static_cast<std::uint32_t>(row[i]) : 0u;
    count += present ? 1u : 0u;
    sums[i + 1] = sum;
    counts[i + 1] = count;
  }
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
inline void PrefixFast(const short* row, std::uint32_t* sums, std::uint32_t* counts,
                       std::size_t n) {
  PrefixPlain(row, sums, counts, n);
}

#endif

#if defined(RO_SURFACE_AVERAGE_AVX2)

inline bool HasAvx2() {
  return __builtin_cpu_supports("avx2");
}

// As AccumulatePlain, sixteen cells at a time.
__attribute__((target("avx2"))) inline void AccumulateAvx2(std::int32_t* sum, std::int32_t* count,
                                                           const short* row, std::size_t n,
                                                           bool add) {
  const __m256i nullValue = _mm256_set1_epi16(kNull);
  const __m256i one = _mm256_set1_epi16(1);
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + i));
    const __m256i isNull = _mm256_cmpeq_epi16(v, nullValue);
    const __m256i kept = _mm256_andnot_si256(isNull, v);
    const __m256i ones = _mm256_andnot_si256(isNull, one);
    const __m256i v0 = _mm256_cvtepi16_epi32(_mm256_castsi256_si128(kept));
    const __m256i v1 = _mm256_cvtepi16_epi32(_mm256_extracti128_si256(kept, 1));
    const __m256i c0 = _mm256_cvtepu16_epi32(_mm256_castsi256_si128(ones));
    const __m256i c1 = _mm256_cvtepu16_epi32(_mm256_extracti128_si256(ones, 1));
    __m256i* s = reinterpret_cast<__m256i*>(sum + i);
    __m256i* c = reinterpret_cast<__m256i*>(count + i);
    if (add) {
      _mm256_storeu_si256(s, _mm256_add_epi32(_mm256_loadu_si256(s), v0));
      _mm256_storeu_si256(s + 1, _mm256_add_epi32(_mm256_loadu_si256(s + 1), v1));
      _mm256_storeu_si256(c, _mm256_add_epi32(_mm256_loadu_si256(c), c0));
      _mm256_storeu_si256(c + 1, _mm256_add_epi32(_mm256_loadu_si256(c + 1), c1));
    } else {
      _mm256_storeu_si256(s, _mm256_sub_epi32(_mm256_loadu_si256(s), v0));
      _mm256_storeu_si256(s + 1, _mm256_sub_epi32(_mm256_loadu_si256(s + 1), v1));
      _mm256_storeu_si256(c, _mm256_sub_epi32(_mm256_loadu_si256(c), c0));
      _mm256_storeu_si256(c + 1, _mm256_sub_epi32(_mm256_loadu_si256(c + 1), c1));
    }
  }
  AccumulateFast(sum + i, count + i, row + i, n - i, add);
}

// As WriteMeansFast, sixteen cells at a time.
__attribute__((target("avx2"))) inline void WriteMeansAvx2(const std::int32_t* sum,
                                                           const std::int32_t* count,
                                                           const short* own, short* out,
                                                           std::size_t n, bool keepNulls) {
  const __m256i nullValue = _mm256_set1_epi16(kNull);
  const __m256i zero = _mm256_setzero_si256();
  std::size_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const __m256i s0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(sum + i));
    const __m256i s1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(sum + i + 8));
    const __m256i c0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(count + i));
    const __m256i c1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(count + i + 8));
    const __m256i empty0 = _mm256_cmpeq_epi32(c0, zero);
    const __m256i empty1 = _mm256_cmpeq_epi32(c1, zero);
    const __m256 d0 = _mm256_cvtepi32_ps(_mm256_sub_epi32(c0, empty0));
    const __m256 d1 = _mm256_cvtepi32_ps(_mm256_sub_epi32(c1, empty1));
    const __m256i q0 = _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(s0), d0));
    const __m256i q1 = _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(s1), d1));
    // Packing works within 128-bit halves; the permute puts the sixteen results in order.
    __m256i mean = _mm256_permute4x64_epi64(_mm256_packs_epi32(q0, q1), 0xD8);
    __m256i nullMask = _mm256_permute4x64_epi64(_mm256_packs_epi32(empty0, empty1), 0xD8);
    if (keepNulls) {
      const __m256i self = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(own + i));
      nullMask = _mm256_or_si256(nullMask, _mm256_cmpeq_epi16(self, nullValue));
    }
    mean = _mm256_blendv_epi8(mean, nullValue, nullMask);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), mean);
  }
  WriteMeansFast(sum + i, count + i, keepNulls ? own + i : own, out + i, n - i, keepNulls);
}

__attribute__((target("avx2"))) inline void DifferenceAvx2(const std::uint32_t* hi,
                                                           const std::uint32_t* lo,
                                                           std::int32_t* out, std::size_t n) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const __m256i h = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(hi + i));
    const __m256i l = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lo + i));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), _mm256_sub_epi32(h, l));
  }
  DifferenceFast(hi + i, lo + i, out + i, n - i);
}

#endif

}  // namespace surface_average
}  // namespace Vision
}  // namespace Ro

#endif
