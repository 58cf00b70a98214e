// Private to the Filter module: the histogram steps of the percentile filter on 16-bit counts, in
// a plain form that states the arithmetic and an AVX2 form that gives the same bits faster (tests
// compare the two).
#ifndef ROVISION_FILTER_PERCENTILEHISTOGRAMPRIVATE_H
#define ROVISION_FILTER_PERCENTILEHISTOGRAMPRIVATE_H

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
// AVX2 forms, compiled for that instruction set only and chosen at run time (HasAvx2()).
#define RO_PERCENTILE_AVX2 1
#endif

namespace Ro {
namespace Vision {
namespace percentile_histogram {

// Counts are handled in blocks of 16, one AVX2 register of 16-bit counts.
constexpr std::size_t kBlock = 16;

// dst += add - sub over n counts (n a multiple of kBlock), modulo 2^16 or 2^32: a count never
// leaves its range once the whole step is done, so wrapping in between is harmless. Fixed inner
// trip counts let the compiler vectorise the plain form too.
template <class Count>
inline void AddSubPlain(Count* __restrict dst, const Count* __restrict add,
                        const Count* __restrict sub, std::size_t n) {
  for (std::size_t i = 0; i < n; i += kBlock) {
    for (std::size_t k = 0; k < kBlock; ++k) {
      dst[i + k] = static_cast<Count>(dst[i + k] + add[i + k] - sub[i + k]);
    }
  }
}

// The first k in 0..15 where below + counts[k] > rest, with `below` the sum of counts[0..k-1].
// The caller makes sure such a k exists (the 16 counts sum to more than rest), and the sum of
// the 16 counts stays within 16 bits.
struct Found {
  std::size_t index;
  std::size_t below;
};

template <class Count>
inline Found FindPlain(const Count* counts, std::size_t rest) {
  std::size_t below = 0;
  std::size_t k = 0;
  while (below + counts[k] <= rest) below += counts[k++];
  return {k, below};
}

#if RO_PERCENTILE_AVX2

inline bool HasAvx2() {
  return __builtin_cpu_supports("avx2");
}

__attribute__((target("avx2"))) inline void AddSubAvx2(std::uint16_t* dst, const std::uint16_t* add,
                                                       const std::uint16_t* sub, std::size_t n) {
  for (std::size_t i = 0; i < n; i += kBlock) {
    auto* d = reinterpret_cast<__m256i*>(dst + i);
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(add + i));
    const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(sub + i));
    _mm256_storeu_si256(d, _mm256_sub_epi16(_mm256_add_epi16(_mm256_loadu_si256(d), a), s));
  }
}

// Branch-free: running sums of the 16 counts, then the number of running sums at or below rest
// (they never decrease, so those lanes lead).
__attribute__((target("avx2"))) inline Found FindAvx2(const std::uint16_t* counts,
                                                      std::size_t rest) {
  __m256i sums = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(counts));
  sums = _mm256_add_epi16(sums, _mm256_slli_si256(sums, 2));
  sums = _mm256_add_epi16(sums, _mm256_slli_si256(sums, 4));
  sums = _mm256_add_epi16(sums, _mm256_slli_si256(sums, 8));
  // Carry the low half's total (its lane 7) into every lane of the high half.
  const __m256i lowHalf = _mm256_permute2x128_si256(sums, sums, 0x08);
  sums = _mm256_add_epi16(sums, _mm256_shuffle_epi8(lowHalf, _mm256_set1_epi16(0x0F0E)));
  // rest >= 65535 never happens: the counts sum to more than rest within 16 bits.
  const __m256i limit = _mm256_set1_epi16(static_cast<short>(rest));
  const __m256i atOrBelow = _mm256_cmpeq_epi16(_mm256_min_epu16(sums, limit), sums);
  const auto k = static_cast<std::size_t>(
                     __builtin_popcount(static_cast<unsigned>(_mm256_movemask_epi8(atOrBelow)))) /
                 2;
  if (k == 0) return {0, 0};
  alignas(32) std::uint16_t lanes[kBlock];
  _mm256_store_si256(reinterpret_cast<__m256i*>(lanes), sums);
  return {k, lanes[k - 1]};
}

#endif

}  // namespace percentile_histogram
}  // namespace Vision
}  // namespace Ro

#endif
