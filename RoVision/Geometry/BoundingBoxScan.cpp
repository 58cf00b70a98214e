// The row scan of GetBoundingBox: per row the first and the last valid cell and the height range
// of the valid cells between them. The scan reads every cell between the row ends (2 bytes of
// height and 1 of mask each) and only the mask outside them, so on large regions it runs at
// memory speed; the vector paths exist to keep it there.
#include <algorithm>

#include "BoundingBoxPrivate.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define RO_BBOX_X86 1
#endif

namespace Ro {
namespace Vision {
namespace {

constexpr short kNullHeight = -32768;

bool Valid(const short* heights, const unsigned char* mask, int c) {
  return heights[c] != kNullHeight && (!mask || mask[c] != 0);
}

// The range of the valid cells of [begin, end), folded into `out`.
void RangeScalar(const short* heights, const unsigned char* mask, int begin, int end,
                 RowExtent& out) {
  for (int c = begin; c < end; ++c) {
    if (!Valid(heights, mask, c)) continue;
    out.low = std::min(out.low, heights[c]);
    out.high = std::max(out.high, heights[c]);
  }
}

RowExtent ScanScalar(const short* heights, const unsigned char* mask, int n) {
  RowExtent out;
  int first = 0;
  while (first < n && !Valid(heights, mask, first)) ++first;
  if (first == n) return out;
  int last = n - 1;
  while (!Valid(heights, mask, last)) --last;
  out.first = first;
  out.last = last;
  RangeScalar(heights, mask, first, last + 1, out);
  return out;
}

#if defined(RO_BBOX_X86)

// ---- SSE2: eight cells per step. ----

// Bit 2i of the result is set when cell c + i is valid (two bits per cell).
int ValidBitsSse2(const short* heights, const unsigned char* mask, int c) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i h = _mm_loadu_si128(reinterpret_cast<const __m128i*>(heights + c));
  __m128i invalid = _mm_cmpeq_epi16(h, _mm_set1_epi16(kNullHeight));
  if (mask) {
    const __m128i m =
        _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(mask + c)), zero);
    invalid = _mm_or_si128(invalid, _mm_cmpeq_epi16(m, zero));
  }
  return ~_mm_movemask_epi8(invalid) & 0xffff;
}

RowExtent ScanSse2(const short* heights, const unsigned char* mask, int n) {
  RowExtent out;
  int first = 0;
  for (; first + 8 <= n; first += 8) {
    const int bits = ValidBitsSse2(heights, mask, first);
    if (bits) break;
  }
  while (first < n && !Valid(heights, mask, first)) ++first;
  if (first == n) return out;
  int end = n;  // the last valid cell is below end
  for (; end - 8 >= first; end -= 8) {
    if (ValidBitsSse2(heights, mask, end - 8)) break;
  }
  while (!Valid(heights, mask, end - 1)) --end;
  out.first = first;
  out.last = end - 1;

  // A cell that is null or masked out becomes 32767 for the minimum and -32768 for the maximum,
  // so it leaves both alone.
  __m128i lows = _mm_set1_epi16(32767), highs = _mm_set1_epi16(kNullHeight);
  const __m128i nullHeight = _mm_set1_epi16(kNullHeight), zero = _mm_setzero_si128();
  int c = first;
  for (; c + 8 <= end; c += 8) {
    const __m128i h = _mm_loadu_si128(reinterpret_cast<const __m128i*>(heights + c));
    __m128i invalid = _mm_cmpeq_epi16(h, nullHeight);
    if (mask) {
      const __m128i m =
          _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(mask + c)), zero);
      invalid = _mm_or_si128(invalid, _mm_cmpeq_epi16(m, zero));
    }
    const __m128i kept = _mm_andnot_si128(invalid, h);
    lows = _mm_min_epi16(lows, _mm_or_si128(kept, _mm_srli_epi16(invalid, 1)));
    highs = _mm_max_epi16(highs, _mm_or_si128(kept, _mm_and_si128(invalid, nullHeight)));
  }
  alignas(16) short l[8], h[8];
  _mm_store_si128(reinterpret_cast<__m128i*>(l), lows);
  _mm_store_si128(reinterpret_cast<__m128i*>(h), highs);
  out.low = *std::min_element(l, l + 8);
  out.high = *std::max_element(h, h + 8);
  RangeScalar(heights, mask, c, end, out);
  return out;
}

// ---- AVX2: sixteen cells per step; stretches of zero mask are skipped 32 bytes at a time. ----

#define RO_AVX2 __attribute__((target("avx2")))

RO_AVX2 bool MaskZero32(const unsigned char* mask) {
  const __m256i m = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(mask));
  return _mm256_testz_si256(m, m) != 0;
}

// Two bits per cell, set for the valid cells of [c, c + 16).
RO_AVX2 unsigned ValidBitsAvx2(const short* heights, const unsigned char* mask, int c) {
  const __m256i h = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(heights + c));
  __m256i invalid = _mm256_cmpeq_epi16(h, _mm256_set1_epi16(kNullHeight));
  if (mask) {
    const __m256i m =
        _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + c)));
    invalid = _mm256_or_si256(invalid, _mm256_cmpeq_epi16(m, _mm256_setzero_si256()));
  }
  return ~unsigned(_mm256_movemask_epi8(invalid));
}

RO_AVX2 int FirstValidAvx2(const short* heights, const unsigned char* mask, int n) {
  int c = 0;
  for (;;) {
    if (mask) {
      while (c + 32 <= n && MaskZero32(mask + c)) c += 32;
    }
    if (c + 16 > n) break;
    const unsigned bits = ValidBitsAvx2(heights, mask, c);
    if (bits) return c + __builtin_ctz(bits) / 2;
    c += 16;
  }
  while (c < n && !Valid(heights, mask, c)) ++c;
  return c;
}

// The end of the valid cells of [begin, n): one past the last valid cell, or begin.
RO_AVX2 int ValidEndAvx2(const short* heights, const unsigned char* mask, int begin, int n) {
  int end = n;
  for (;;) {
    if (mask) {
      while (end - 32 >= begin && MaskZero32(mask + end - 32)) end -= 32;
    }
    if (end - 16 < begin) break;
    const unsigned bits = ValidBitsAvx2(heights, mask, end - 16);
    if (bits) return end - 16 + (31 - __builtin_clz(bits)) / 2 + 1;
    end -= 16;
  }
  while (end > begin && !Valid(heights, mask, end - 1)) --end;
  return end;
}

RO_AVX2 RowExtent ScanAvx2(const short* heights, const unsigned char* mask, int n) {
  RowExtent out;
  const int first = FirstValidAvx2(heights, mask, n);
  if (first == n) return out;
  const int end = ValidEndAvx2(heights, mask, first, n);
  out.first = first;
  out.last = end - 1;

  // Invalid cells become 32767 for the minimum and -32768 for the maximum.
  const __m256i nullHeight = _mm256_set1_epi16(kNullHeight), top = _mm256_set1_epi16(32767);
  const __m256i zero = _mm256_setzero_si256();
  __m256i lows = top, highs = nullHeight;
  int c = first;
  if (mask) {
    for (; c + 16 <= end; c += 16) {
      const __m256i h = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(heights + c));
      const __m256i m =
          _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(mask + c)));
      const __m256i invalid =
          _mm256_or_si256(_mm256_cmpeq_epi16(h, nullHeight), _mm256_cmpeq_epi16(m, zero));
      lows = _mm256_min_epi16(lows, _mm256_blendv_epi8(h, top, invalid));
      highs = _mm256_max_epi16(highs, _mm256_blendv_epi8(h, nullHeight, invalid));
    }
  } else {
    // A null height is already the lowest value: it cannot raise the maximum.
    for (; c + 16 <= end; c += 16) {
      const __m256i h = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(heights + c));
      lows = _mm256_min_epi16(lows, _mm256_blendv_epi8(h, top, _mm256_cmpeq_epi16(h, nullHeight)));
      highs = _mm256_max_epi16(highs, h);
    }
  }
  alignas(32) short l[16], h[16];
  _mm256_store_si256(reinterpret_cast<__m256i*>(l), lows);
  _mm256_store_si256(reinterpret_cast<__m256i*>(h), highs);
  out.low = *std::min_element(l, l + 16);
  out.high = *std::max_element(h, h + 16);
  RangeScalar(heights, mask, c, end, out);
  return out;
}

// ---- AVX-512: 32 cells per step with lane masks, so the row ends need no scalar tail. ----

#define RO_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,bmi,sse4.1")))

RO_AVX512 __mmask32 Lanes(int count) {
  return count >= 32 ? ~__mmask32(0) : __mmask32((1u << count) - 1);
}

RO_AVX512 bool MaskZero64(const unsigned char* mask) {
  const __m512i m = _mm512_loadu_si512(mask);
  return _mm512_test_epi8_mask(m, m) == 0;
}

// The valid cells among `lanes` of [c, c + 32); lanes outside are neither read nor reported.
RO_AVX512 __mmask32 ValidAvx512(const short* heights, const unsigned char* mask, int c,
                                __mmask32 lanes) {
  const __m512i h = _mm512_maskz_loadu_epi16(lanes, heights + c);
  __mmask32 valid = _mm512_mask_cmpneq_epi16_mask(lanes, h, _mm512_set1_epi16(kNullHeight));
  if (mask) {
    const __m256i m = _mm256_maskz_loadu_epi8(lanes, mask + c);
    valid &= _mm256_test_epi8_mask(m, m);
  }
  return valid;
}

RO_AVX512 int FirstValidAvx512(const short* heights, const unsigned char* mask, int n) {
  int c = 0;
  while (c < n) {
    if (mask) {
      while (c + 64 <= n && MaskZero64(mask + c)) c += 64;
    }
    const __mmask32 valid = ValidAvx512(heights, mask, c, Lanes(n - c));
    if (valid) return c + int(_tzcnt_u32(valid));
    c += 32;
  }
  return n;
}

RO_AVX512 int ValidEndAvx512(const short* heights, const unsigned char* mask, int begin, int n) {
  int end = n;
  while (end > begin) {
    if (mask) {
      while (end - 64 >= begin && MaskZero64(mask + end - 64)) end -= 64;
      if (end == begin) break;
    }
    const int start = std::max(begin, end - 32);
    const __mmask32 valid = ValidAvx512(heights, mask, start, Lanes(end - start));
    if (valid) return start + 32 - int(__builtin_clz(valid));
    end = start;
  }
  return begin;
}

// The lowest and highest of 32 lanes: halve to eight lanes, then one unsigned minimum search
// (flipping the sign bit orders signed values as unsigned; flipping the other bits turns the
// maximum into a minimum).
RO_AVX512 __m128i Fold(__m512i v, bool high) {
  // (The zero-masking forms: the plain ones trip a false uninitialised warning in GCC 12.)
  const __m256i a = _mm512_maskz_extracti64x4_epi64(0xf, v, 0);
  const __m256i b = _mm512_maskz_extracti64x4_epi64(0xf, v, 1);
  const __m256i c = high ? _mm256_max_epi16(a, b) : _mm256_min_epi16(a, b);
  const __m128i d = _mm256_castsi256_si128(c), e = _mm256_extracti128_si256(c, 1);
  return high ? _mm_max_epi16(d, e) : _mm_min_epi16(d, e);
}

RO_AVX512 short MinOf(__m512i v) {
  const __m128i flip = _mm_set1_epi16(kNullHeight);
  return short(_mm_cvtsi128_si32(_mm_minpos_epu16(_mm_xor_si128(Fold(v, false), flip))) ^ 0x8000);
}

RO_AVX512 short MaxOf(__m512i v) {
  const __m128i flip = _mm_set1_epi16(0x7fff);
  return short(_mm_cvtsi128_si32(_mm_minpos_epu16(_mm_xor_si128(Fold(v, true), flip))) ^ 0x7fff);
}

constexpr int kAhead = 1024;
RO_AVX512 RowExtent ScanAvx512(const short* heights, const unsigned char* mask, int n) {
  RowExtent out;
  const int first = FirstValidAvx512(heights, mask, n);
  if (first == n) return out;
  const int end = ValidEndAvx512(heights, mask, first, n);
  out.first = first;
  out.last = end - 1;

  // Only the valid lanes take part in the minimum and maximum.
  const __m512i nullHeight = _mm512_set1_epi16(kNullHeight);
  __m512i lows = _mm512_set1_epi16(32767), highs = nullHeight;
  int c = first;
  if (mask) {
    for (; c + 32 <= end; c += 32) {
      _mm_prefetch(reinterpret_cast<const char*>(heights + c + kAhead), _MM_HINT_T0);
      _mm_prefetch(reinterpret_cast<const char*>(mask + c + kAhead), _MM_HINT_T0);
      const __m512i h = _mm512_loadu_si512(heights + c);
      const __m256i m = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(mask + c));
      const __mmask32 valid = _mm512_cmpneq_epi16_mask(h, nullHeight) & _mm256_test_epi8_mask(m, m);
      lows = _mm512_mask_min_epi16(lows, valid, lows, h);
      highs = _mm512_mask_max_epi16(highs, valid, highs, h);
    }
  } else {
    for (; c + 32 <= end; c += 32) {
      const __m512i h = _mm512_loadu_si512(heights + c);
      lows = _mm512_mask_min_epi16(lows, _mm512_cmpneq_epi16_mask(h, nullHeight), lows, h);
      highs = _mm512_max_epi16(highs, h);
    }
  }
  if (c < end) {
    const __mmask32 lanes = Lanes(end - c);
    const __m512i h = _mm512_maskz_loadu_epi16(lanes, heights + c);
    const __mmask32 valid = ValidAvx512(heights, mask, c, lanes);
    lows = _mm512_mask_min_epi16(lows, valid, lows, h);
    highs = _mm512_mask_max_epi16(highs, valid, highs, h);
  }
  out.low = MinOf(lows);
  out.high = MaxOf(highs);
  return out;
}

#endif  // RO_BBOX_X86

}  // namespace

bool RowScanPathSupported(RowScanPath path) {
  switch (path) {
    case RowScanPath::kScalar:
      return true;
#if defined(RO_BBOX_X86)
    case RowScanPath::kSse2:
      return __builtin_cpu_supports("sse2");
    case RowScanPath::kAvx2:
      return __builtin_cpu_supports("avx2");
    case RowScanPath::kAvx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("bmi") &&
             __builtin_cpu_supports("sse4.1");
#endif
    default:
      return false;
  }
}

RowScanPath FastestRowScanPath() {
  for (RowScanPath path : {RowScanPath::kAvx512, RowScanPath::kAvx2, RowScanPath::kSse2}) {
    if (RowScanPathSupported(path)) return path;
  }
  return RowScanPath::kScalar;
}

RowScanner RowScannerFor(RowScanPath path) {
  switch (path) {
#if defined(RO_BBOX_X86)
    case RowScanPath::kSse2:
      return ScanSse2;
    case RowScanPath::kAvx2:
      return ScanAvx2;
    case RowScanPath::kAvx512:
      return ScanAvx512;
#endif
    default:
      return ScanScalar;
  }
}

RowExtent ScanRowCells(RowScanPath path, const short* heights, const unsigned char* mask, int n) {
  return RowScannerFor(path)(heights, mask, n);
}

}  // namespace Vision
}  // namespace Ro
