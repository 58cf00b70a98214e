// Private to the Filter module: the tile kernel of the percentile filter, included once by each
// kernel build (PercentileKernel.cpp, PercentileKernelAvx2.cpp) inside a namespace of its own.
// Everything here lives in that namespace and calls only out-of-line or C functions from
// elsewhere, so the AVX2 build never lends an inline function to the portable one.
//
// The window's values are ranked through a two-level histogram in the manner of Perreault and
// Hebert's constant-time median: per input column of a tile, a coarse histogram and a fine one;
// the window's coarse histogram slides along a row by adding one column's and dropping another's,
// and the fine histogram of the coarse bin that holds the rank is brought up to date only when it
// is needed. The window's histograms are kept cumulative, so that finding the bin of a rank is a
// comparison and a count of lanes rather than a search that branches on the data. The bins adapt
// to each tile: keys are taken relative to the smallest key in the tile's reach and the bin width
// is chosen from the reach's value range (ChooseBins), which on height maps (values that vary
// little within a tile) makes both levels a few vector steps long.
#ifndef RO_PERCENTILE_KERNEL_NAMESPACE
#error "define RO_PERCENTILE_KERNEL_NAMESPACE before including PercentileKernelImpl.h"
#endif

#include <zApi/zMem.h>
#include <zApi/zParallel.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "PercentileKernelPrivate.h"

namespace Ro {
namespace Vision {
namespace RO_PERCENTILE_KERNEL_NAMESPACE {
namespace {

using percentile_kernel::Job;
using percentile_kernel::Rank;

constexpr std::size_t kBlock = 16;     // counts per vector step
constexpr std::size_t kMaxBins = 256;  // bins of either level at most
constexpr unsigned kMinShift = 4;      // fine bins per coarse bin: 16 ..
constexpr unsigned kMaxShift = 8;      // .. 256
constexpr std::size_t kTileColumns = 128;
constexpr std::size_t kTileRows = 256;
// Above this the per-column histograms of a tile give way to the direct path (RunDirect). Over
// the full 16-bit range a column takes 128 KiB in 16-bit counts, so this allows windows about
// 500 columns wide there; narrower value ranges allow far more.
constexpr std::size_t kMaxColumnBytes = std::size_t(64) << 20;

inline std::size_t Min(std::size_t a, std::size_t b) {
  return a < b ? a : b;
}
inline std::size_t Max(std::size_t a, std::size_t b) {
  return a > b ? a : b;
}

// Keys: order-preserving unsigned 16-bit images of the values, 0 for null.
inline std::uint16_t KeyOf(short v) {
  return static_cast<std::uint16_t>(static_cast<std::uint16_t>(v) ^ 0x8000u);
}
inline std::uint16_t KeyOf(unsigned char v) {
  return v;
}
inline int ValueOfKey(std::uint16_t key, short) {
  return static_cast<int>(key) - 32768;
}
inline int ValueOfKey(std::uint16_t key, unsigned char) {
  return key;
}
inline short NullOf(short) {
  return -32768;
}
inline unsigned char NullOf(unsigned char) {
  return 0;
}

// dst += add - sub over n counts (n a multiple of kBlock), modulo 2^16 or 2^32: a count never
// leaves its range once the whole step is done, so wrapping in between is harmless.
template <class Count>
inline void AddSub(Count* __restrict dst, const Count* __restrict add, const Count* __restrict sub,
                   std::size_t n) {
#if defined(__AVX2__)
  if constexpr (sizeof(Count) == 2) {
    for (std::size_t i = 0; i < n; i += kBlock) {
      auto* d = reinterpret_cast<__m256i*>(dst + i);
      const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(add + i));
      const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(sub + i));
      _mm256_storeu_si256(d, _mm256_sub_epi16(_mm256_add_epi16(_mm256_loadu_si256(d), a), s));
    }
    return;
  }
#endif
  for (std::size_t i = 0; i < n; i += kBlock) {
    for (std::size_t k = 0; k < kBlock; ++k) {
      dst[i + k] = static_cast<Count>(dst[i + k] + add[i + k] - sub[i + k]);
    }
  }
}

#if defined(__AVX2__)
// Running sums of 16 counts.
inline __m256i RunningSums(__m256i v) {
  v = _mm256_add_epi16(v, _mm256_slli_si256(v, 2));
  v = _mm256_add_epi16(v, _mm256_slli_si256(v, 4));
  v = _mm256_add_epi16(v, _mm256_slli_si256(v, 8));
  // Carry the low half's total (its lane 7) into every lane of the high half.
  const __m256i lowHalf = _mm256_permute2x128_si256(v, v, 0x08);
  return _mm256_add_epi16(v, _mm256_shuffle_epi8(lowHalf, _mm256_set1_epi16(0x0F0E)));
}

// Lane 15 in every lane.
inline __m256i LastLane(__m256i v) {
  const __m256i highHalf = _mm256_permute2x128_si256(v, v, 0x11);
  return _mm256_shuffle_epi8(highHalf, _mm256_set1_epi16(0x0F0E));
}

// The number of lanes at or below limit, unsigned.
inline std::size_t AtOrBelow(__m256i v, __m256i limit) {
  const __m256i at = _mm256_cmpeq_epi16(_mm256_min_epu16(v, limit), v);
  return static_cast<std::size_t>(
             __builtin_popcount(static_cast<unsigned>(_mm256_movemask_epi8(at)))) /
         2;
}
#endif

// cum[i] += the running sum of add - sub up to i, over n counts (n a multiple of kBlock): keeps a
// cumulative histogram current as raw histograms come and go.
template <class Count>
inline void AddSubRunning(Count* __restrict cum, const Count* __restrict add,
                          const Count* __restrict sub, std::size_t n) {
#if defined(__AVX2__)
  if constexpr (sizeof(Count) == 2) {
    __m256i carry = _mm256_setzero_si256();
    for (std::size_t i = 0; i < n; i += kBlock) {
      const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(add + i));
      const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(sub + i));
      const __m256i running = _mm256_add_epi16(RunningSums(_mm256_sub_epi16(a, s)), carry);
      auto* c = reinterpret_cast<__m256i*>(cum + i);
      _mm256_storeu_si256(c, _mm256_add_epi16(_mm256_loadu_si256(c), running));
      carry = LastLane(running);
    }
    return;
  }
#endif
  Count carry = 0;
  for (std::size_t i = 0; i < n; ++i) {
    carry = static_cast<Count>(carry + add[i] - sub[i]);
    cum[i] = static_cast<Count>(cum[i] + carry);
  }
}

// out = the sum of `count` histograms of n counts (n a multiple of kBlock) laid `stride` counts
// apart from `first`, each block summed in a register.
template <class Count>
inline void SumHistograms(Count* __restrict out, const Count* __restrict first, std::size_t stride,
                          std::size_t count, std::size_t n) {
#if defined(__AVX2__)
  if constexpr (sizeof(Count) == 2) {
    for (std::size_t i = 0; i < n; i += kBlock) {
      __m256i sum = _mm256_setzero_si256();
      const Count* p = first + i;
      for (std::size_t c = 0; c < count; ++c, p += stride) {
        sum = _mm256_add_epi16(sum, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
      }
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), sum);
    }
    return;
  }
#endif
  for (std::size_t i = 0; i < n; ++i) out[i] = 0;
  for (std::size_t c = 0; c < count; ++c, first += stride) {
    for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<Count>(out[i] + first[i]);
  }
}

// The number of entries at or below rest of a cumulative histogram of n counts: the bin that
// holds rank rest.
template <class Count>
inline std::size_t CumulativeRank(const Count* cum, std::size_t n, std::size_t rest) {
#if defined(__AVX2__)
  if constexpr (sizeof(Count) == 2) {
    const __m256i limit = _mm256_set1_epi16(static_cast<short>(rest));
    std::size_t k = 0;
    for (std::size_t i = 0; i < n; i += kBlock) {
      k += AtOrBelow(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(cum + i)), limit);
    }
    return k;
  }
#endif
  std::size_t k = 0;
  for (std::size_t i = 0; i < n; ++i) k += cum[i] <= rest;
  return k;
}

// The bins of a cumulative histogram of n counts that hold ranks rest and rest + 1 (n when a
// rank lies beyond it).
template <class Count>
inline void CumulativeRanks(const Count* cum, std::size_t n, std::size_t rest, std::size_t& at,
                            std::size_t& next) {
#if defined(__AVX2__)
  if constexpr (sizeof(Count) == 2) {
    const __m256i limit = _mm256_set1_epi16(static_cast<short>(rest));
    const __m256i limitNext = _mm256_set1_epi16(static_cast<short>(rest + 1));
    at = next = 0;
    for (std::size_t i = 0; i < n; i += kBlock) {
      const __m256i counts = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(cum + i));
      at += AtOrBelow(counts, limit);
      next += AtOrBelow(counts, limitNext);
    }
    return;
  }
#endif
  at = next = 0;
  for (std::size_t i = 0; i < n; ++i) {
    at += cum[i] <= rest;
    next += cum[i] <= rest + 1;
  }
}

// The smallest and largest key of a row's cells (low stays 0xFFFF and high 0 without a valid
// cell). Keys are compared as the values' order: nulls are the smallest value of their type and
// are moved out of the way of the minimum.
inline void KeyRangeOfRow(const short* row, std::size_t n, std::uint16_t& low,
                          std::uint16_t& high) {
  std::size_t x = 0;
  short lowValue = 32767, highValue = -32768;
#if defined(__SSE2__)
  const __m128i null = _mm_set1_epi16(-32768);
  __m128i lows = _mm_set1_epi16(32767), highs = null;
  for (; x + 8 <= n; x += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + x));
    highs = _mm_max_epi16(highs, v);  // a null never raises the maximum
    // A null xor all ones is 32767, which never lowers the minimum.
    lows = _mm_min_epi16(lows, _mm_xor_si128(v, _mm_cmpeq_epi16(v, null)));
  }
  alignas(16) short l[8], h[8];
  _mm_store_si128(reinterpret_cast<__m128i*>(l), lows);
  _mm_store_si128(reinterpret_cast<__m128i*>(h), highs);
  for (int i = 0; i < 8; ++i) {
    lowValue = l[i] < lowValue ? l[i] : lowValue;
    highValue = h[i] > highValue ? h[i] : highValue;
  }
#endif
  for (; x < n; ++x) {
    if (row[x] == -32768) continue;
    lowValue = row[x] < lowValue ? row[x] : lowValue;
    highValue = row[x] > highValue ? row[x] : highValue;
  }
  if (highValue == -32768) return;  // no valid cell
  const std::uint16_t lowKey = KeyOf(lowValue), highKey = KeyOf(highValue);
  low = lowKey < low ? lowKey : low;
  high = highKey > high ? highKey : high;
}

inline void KeyRangeOfRow(const unsigned char* row, std::size_t n, std::uint16_t& low,
                          std::uint16_t& high) {
  for (std::size_t x = 0; x < n; ++x) {
    if (row[x] == 0) continue;
    low = row[x] < low ? row[x] : low;
    high = row[x] > high ? row[x] : high;
  }
}

// A growable work block from the caller's allocator; zero-filled when (re)made.
class Scratch {
 public:
  explicit Scratch(void* allocator) : allocator_(allocator) {}
  ~Scratch() { zMemFree(allocator_, block_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  zStatus Reserve(std::size_t bytes, void** block) {
    if (bytes > size_) {
      zMemFree(allocator_, block_);
      block_ = nullptr;
      size_ = 0;
      const zStatus status = zMemAlloc(allocator_, bytes, &block_);
      if (status != zOK) return status;
      size_ = bytes;
    }
    *block = block_;
    return zOK;
  }

 private:
  void* allocator_;
  void* block_ = nullptr;
  std::size_t size_ = 0;
};

template <class Count>
const Count* Zeros() {
  alignas(64) static const Count zeros[kMaxBins] = {};
  return zeros;
}

// The histograms of one tile of outputs.
template <class T, class Count>
class TileRank {
 public:
  TileRank(const Job& job, Scratch& columnsBlock, Scratch& kernelBlock)
      : job_(job),
        columnsBlock_(columnsBlock),
        kernelBlock_(kernelBlock),
        median_(job.percentile == 50) {}

  zStatus Run(std::size_t y0, std::size_t y1, std::size_t x0, std::size_t x1,
              std::uint64_t& serial) {
    const std::size_t ya = y0 > job_.halfY ? y0 - job_.halfY : 0;
    const std::size_t yb = Min(job_.rows, y1 + job_.halfY);
    xa_ = x0 > job_.halfX ? x0 - job_.halfX : 0;
    xb_ = Min(job_.columns, x1 + job_.halfX);
    if (!ChooseBins(ya, yb)) {
      for (std::size_t y = y0; y < y1; ++y) {
        for (std::size_t x = x0; x < x1; ++x) OutRow(y)[x] = NullOf(T());
      }
      return zOK;
    }
    zStatus status = LayKernel();
    if (status != zOK) return status;
    // Columns from the one a step at x0 drops to the last one a step at x1 - 1 adds; those
    // outside the map stay empty, so that no step needs to check for the map's edges.
    firstColumn_ = static_cast<std::ptrdiff_t>(x0) - static_cast<std::ptrdiff_t>(job_.halfX) - 1;
    nc_ = (x1 - x0) + 2 * job_.halfX + 1;
    const std::size_t columnBytes = nc_ * PerColumn() * sizeof(Count);
    if (columnBytes > kMaxColumnBytes) {
      RunDirect(y0, y1, x0, x1);
      return zOK;
    }
    status = LayColumns();
    if (status != zOK) return status;
    // Column histograms hold the window rows of the current output row.
    std::size_t loaded = ya;   // next input row to add
    std::size_t dropped = ya;  // next input row to remove
    for (std::size_t y = y0; y < y1; ++y) {
      const std::size_t lo = y > job_.halfY ? y - job_.halfY : 0;
      const std::size_t hi = Min(job_.rows, y + job_.halfY + 1);
      for (; dropped < lo; ++dropped) UpdateColumns(dropped, static_cast<Count>(-1));
      for (; loaded < hi; ++loaded) UpdateColumns(loaded, 1);
      SweepRow(y, x0, x1, ++serial);
    }
    // Leave the column block all zero for the next tile.
    for (; dropped < loaded; ++dropped) UpdateColumns(dropped, static_cast<Count>(-1));
    return zOK;
  }

 private:
  const T* InRow(std::size_t y) const {
    return static_cast<const T*>(job_.input) + y * job_.columns;
  }
  T* OutRow(std::size_t y) const { return static_cast<T*>(job_.output) + y * job_.columns; }

  // Bins for the keys of the tile's reach: keys are counted relative to the smallest (keyLow_),
  // in coarse bins of 2^shift_ fine bins. The coarse bins are made to fit one vector unless that
  // would make the fine level more than twice as long as the coarse one: wider fine bins cost
  // more per step, but the rank leaves its coarse bin less often, and each time it does, a fine
  // histogram is rebuilt from every column of the window. False when the reach holds no valid
  // cell.
  bool ChooseBins(std::size_t ya, std::size_t yb) {
    std::uint16_t low = 0xFFFF, high = 0;
    for (std::size_t y = ya; y < yb; ++y) KeyRangeOfRow(InRow(y) + xa_, xb_ - xa_, low, high);
    if (high == 0) return false;
    keyLow_ = low;
    const std::size_t span = std::size_t(high) - low;
    shift_ = kMinShift;
    auto coarseBins = [&] { return (span >> shift_) + 1; };
    while (shift_ < kMaxShift && coarseBins() > kBlock && 2 * coarseBins() > (1u << shift_)) {
      ++shift_;
    }
    width_ = std::size_t(1) << shift_;
    nb_ = (span >> shift_) + 1;
    nbPad_ = (nb_ + kBlock - 1) / kBlock * kBlock;
    span_ = nb_ * width_;
    return true;
  }

  std::size_t PerColumn() const { return nbPad_ + span_; }

  // Carves the tile's column histograms from their work block (all zero: every tile takes out
  // again what it put in).
  zStatus LayColumns() {
    void* block = nullptr;
    const zStatus status = columnsBlock_.Reserve(nc_ * PerColumn() * sizeof(Count), &block);
    if (status != zOK) return status;
    coarse_ = static_cast<Count*>(block);
    fine_ = coarse_ + nc_ * nbPad_;
    return zOK;
  }

  // Carves the window's histograms from their work block, all zero. The cumulative coarse
  // histogram follows a block of zeros, so that the count below bin 0 reads as 0; room for one
  // raw histogram of either level follows the fine ones.
  zStatus LayKernel() {
    const std::size_t stamps = 2 * nb_ * sizeof(std::uint64_t);
    const std::size_t counts = (kBlock + nbPad_ + span_ + kMaxBins) * sizeof(Count);
    void* block = nullptr;
    const zStatus status = kernelBlock_.Reserve(stamps + counts, &block);
    if (status != zOK) return status;
    std::memset(block, 0, stamps + counts);
    fineRow_ = static_cast<std::uint64_t*>(block);
    fineX_ = fineRow_ + nb_;
    kCumulative_ = reinterpret_cast<Count*>(fineX_ + nb_) + kBlock;
    kFine_ = kCumulative_ + nbPad_;
    kRaw_ = kFine_ + span_;
    return zOK;
  }

  // Adds (delta 1) or removes (delta -1) the valid cells of input row y to or from the column
  // histograms.
  void UpdateColumns(std::size_t y, Count delta) {
    const T* row = InRow(y) + xa_;
    const std::size_t nc = xb_ - xa_;
    const std::size_t slot = Local(static_cast<std::ptrdiff_t>(xa_));
    Count* coarse = coarse_ + slot * nbPad_;
    Count* fine = fine_ + slot * span_;
    for (std::size_t c = 0; c < nc; ++c, coarse += nbPad_, fine += span_) {
      const std::uint16_t key = KeyOf(row[c]);
      if (key == 0) continue;
      const std::size_t r = std::size_t(key) - keyLow_;
      coarse[r >> shift_] = static_cast<Count>(coarse[r >> shift_] + delta);
      fine[r] = static_cast<Count>(fine[r] + delta);
    }
  }

  // The fallback for very wide windows over a wide value range, where the per-column histograms
  // would take more than kMaxColumnBytes: the window's histograms are kept directly, every fine
  // bin current, a step adding and removing the cells of one column each (cost per cell grows
  // with the window height and the number of coarse bins here).
  void RunDirect(std::size_t y0, std::size_t y1, std::size_t x0, std::size_t x1) {
    direct_ = true;
    const auto hx = static_cast<std::ptrdiff_t>(job_.halfX);
    const auto last = static_cast<std::ptrdiff_t>(job_.columns) - 1;
    for (std::size_t y = y0; y < y1; ++y) {
      const std::size_t lo = y > job_.halfY ? y - job_.halfY : 0;
      const std::size_t hi = Min(job_.rows, y + job_.halfY + 1);
      auto column = [&](std::ptrdiff_t c, Count delta) {
        if (c < 0 || c > last) return;
        for (std::size_t r = lo; r < hi; ++r) {
          const std::uint16_t key = KeyOf(InRow(r)[c]);
          if (key == 0) continue;
          const std::size_t k = std::size_t(key) - keyLow_;
          for (std::size_t b = k >> shift_; b < nbPad_; ++b) {
            kCumulative_[b] = static_cast<Count>(kCumulative_[b] + delta);
          }
          const std::size_t binEnd = ((k >> shift_) + 1) << shift_;
          for (std::size_t f = k; f < binEnd; ++f)
            kFine_[f] = static_cast<Count>(kFine_[f] + delta);
        }
      };
      const auto sx0 = static_cast<std::ptrdiff_t>(x0);
      for (std::ptrdiff_t c = sx0 - hx; c <= sx0 + hx; ++c) column(c, 1);
      const T* own = InRow(y);
      T* out = OutRow(y);
      for (std::size_t x = x0; x < x1; ++x) {
        const auto sx = static_cast<std::ptrdiff_t>(x);
        if (x > x0) {
          column(sx + hx, 1);
          column(sx - hx - 1, static_cast<Count>(-1));
        }
        const std::size_t n = kCumulative_[nbPad_ - 1];
        const bool empty = n == 0 || (job_.keepNull && KeyOf(own[x]) == 0);
        out[x] = empty ? NullOf(T()) : Percentile(n, sx, 0);
      }
      const auto sx1 = static_cast<std::ptrdiff_t>(x1) - 1;
      for (std::ptrdiff_t c = sx1 - hx; c <= sx1 + hx; ++c) column(c, static_cast<Count>(-1));
    }
    direct_ = false;
  }

  // The slot of map column x (which may lie outside the map) among the tile's columns.
  std::size_t Local(std::ptrdiff_t x) const { return static_cast<std::size_t>(x - firstColumn_); }

  const Count* CoarseOf(std::size_t c) const { return coarse_ + c * nbPad_; }
  const Count* FineOf(std::size_t c, std::size_t b) const { return fine_ + c * span_ + b * width_; }

  void SweepRow(std::size_t y, std::size_t x0, std::size_t x1, std::uint64_t serial) {
    const auto hx = static_cast<std::ptrdiff_t>(job_.halfX);
    const auto sx0 = static_cast<std::ptrdiff_t>(x0);
    SumHistograms(kRaw_, CoarseOf(Local(sx0 - hx)), nbPad_, 2 * job_.halfX + 1, nbPad_);
    std::memset(kCumulative_, 0, nbPad_ * sizeof(Count));
    AddSubRunning(kCumulative_, kRaw_, Zeros<Count>(), nbPad_);
    const T* own = InRow(y);
    T* out = OutRow(y);
    lastBin_ = nb_;  // none yet
    for (std::size_t x = x0; x < x1; ++x) {
      const auto sx = static_cast<std::ptrdiff_t>(x);
      if (x > x0) {
        AddSubRunning(kCumulative_, CoarseOf(Local(sx + hx)), CoarseOf(Local(sx - hx - 1)), nbPad_);
        // The rank usually stays in the coarse bin of the last cell: bring that bin's fine
        // histogram along before the search, so that its loads need not wait for the search.
        if (lastBin_ < nb_) UpdateFine(lastBin_, sx, serial);
      }
      const std::size_t n = kCumulative_[nbPad_ - 1];
      if (n == 0 || (job_.keepNull && KeyOf(own[x]) == 0)) {
        out[x] = NullOf(T());
        continue;
      }
      out[x] = Percentile(n, sx, serial);
    }
  }

  // No branch on the fraction: low + (high - low) * 0 is low.
  __attribute__((always_inline)) T Percentile(std::size_t n, std::ptrdiff_t x,
                                              std::uint64_t serial) {
    const Rank at =
        n < job_.rankCount ? job_.ranks[n] : percentile_kernel::RankOf(n, job_.percentile);
    std::uint16_t next = 0;
    const std::uint16_t key = Select(at.index, x, serial, at.fraction != 0, next);
    const int low = ValueOfKey(key, T());
    if (median_) {
      // At p = 50 the fraction is 0 or exactly 0.5, and low + (high - low) * 0.5 truncated
      // toward zero is (low + high) / 2 in integers.
      const int high = at.fraction != 0 ? ValueOfKey(next, T()) : low;
      return static_cast<T>((low + high) / 2);
    }
    const double high = ValueOfKey(next, T());
    // The rank rule's interpolation, truncated toward zero.
    return static_cast<T>(static_cast<int>(low + (high - low) * at.fraction));
  }

  // The key of rank t (0-based) among the window's valid values (t < n), and in `next` the key
  // of rank t + 1 (when wanted, t + 1 < n; else the key of rank t again). Rank t + 1 comes from
  // the same search when it lies in the same coarse bin, which is the common case.
  __attribute__((always_inline)) std::uint16_t Select(std::size_t t, std::ptrdiff_t x,
                                                      std::uint64_t serial, bool wantNext,
                                                      std::uint16_t& next) {
    const std::size_t b = CumulativeRank(kCumulative_, nbPad_, t);
    const std::size_t rest = t - kCumulative_[static_cast<std::ptrdiff_t>(b) - 1];
    UpdateFine(b, x, serial);
    lastBin_ = b;
    std::size_t f = 0, f2 = 0;
    CumulativeRanks(kFine_ + b * width_, width_, rest, f, f2);
    const std::size_t base = keyLow_ + (b << shift_);
    const auto key = static_cast<std::uint16_t>(base + f);
    if (f2 < width_) {
      next = static_cast<std::uint16_t>(base + f2);
    } else if (wantNext) {
      next = SelectAlone(t + 1, x, serial);
    } else {
      next = key;
    }
    return key;
  }

  // The key of rank t alone, out of line: wanted only when rank t - 1 ends its coarse bin.
  __attribute__((noinline)) std::uint16_t SelectAlone(std::size_t t, std::ptrdiff_t x,
                                                      std::uint64_t serial) {
    std::uint16_t unused = 0;
    return Select(t, x, serial, false, unused);
  }

  // Brings the window's fine histogram of coarse bin b to column x. The common cases, already
  // there or one column behind, are handled here; the rest out of line.
  void UpdateFine(std::size_t b, std::ptrdiff_t x, std::uint64_t serial) {
    if (direct_) return;  // the direct path keeps every fine histogram current
    if (fineRow_[b] == serial) {
      const auto last = static_cast<std::ptrdiff_t>(fineX_[b]);
      if (last == x) return;
      if (last + 1 == x) {
        const auto hx = static_cast<std::ptrdiff_t>(job_.halfX);
        AddSubRunning(kFine_ + b * width_, FineOf(Local(x + hx), b), FineOf(Local(x - hx - 1), b),
                      width_);
        fineX_[b] = static_cast<std::uint64_t>(x);
        return;
      }
    }
    SyncFine(b, x, serial);
  }

  // Slides the fine histogram of bin b from where it was last used in this row when that is
  // cheaper than building it anew from the window's columns.
  __attribute__((noinline)) void SyncFine(std::size_t b, std::ptrdiff_t x, std::uint64_t serial) {
    Count* fine = kFine_ + b * width_;
    const auto hx = static_cast<std::ptrdiff_t>(job_.halfX);
    if (fineRow_[b] == serial) {
      const auto last = static_cast<std::ptrdiff_t>(fineX_[b]);
      if (2 * (x - last) <= 2 * hx + 1) {
        for (std::ptrdiff_t s = last + 1; s <= x; ++s) {
          AddSubRunning(fine, FineOf(Local(s + hx), b), FineOf(Local(s - hx - 1), b), width_);
        }
        fineX_[b] = static_cast<std::uint64_t>(x);
        return;
      }
    }
    // The window's columns summed raw, then one running sum.
    SumHistograms(kRaw_, FineOf(Local(x - hx), b), span_, 2 * job_.halfX + 1, width_);
    std::memset(fine, 0, width_ * sizeof(Count));
    AddSubRunning(fine, kRaw_, Zeros<Count>(), width_);
    fineRow_[b] = serial;
    fineX_[b] = static_cast<std::uint64_t>(x);
  }

  const Job& job_;
  Scratch& columnsBlock_;
  Scratch& kernelBlock_;
  std::size_t xa_ = 0, xb_ = 0;     // the map columns of the tile's reach
  std::ptrdiff_t firstColumn_ = 0;  // the map column of the first column histogram
  std::size_t nc_ = 0;              // column histograms
  std::size_t keyLow_ = 0;
  unsigned shift_ = kMinShift;
  std::size_t width_ = 0, nb_ = 0, nbPad_ = 0, span_ = 0;
  bool direct_ = false;
  const bool median_;
  std::size_t lastBin_ = 0;  // the coarse bin of the last search in this row
  Count* coarse_ = nullptr;
  Count* fine_ = nullptr;
  std::uint64_t* fineRow_ = nullptr;
  std::uint64_t* fineX_ = nullptr;
  Count* kCumulative_ = nullptr;
  Count* kFine_ = nullptr;  // per coarse bin, cumulative within the bin
  Count* kRaw_ = nullptr;   // room to sum raw counts of either level
};

// One task's rows, tile by tile. Tiles are at least twice the window wide and high so that
// refilling the column histograms at each tile stays a small share of the work.
template <class T, class Count>
zStatus RankRows(const zParallelArgs* args, void* context) {
  const Job& job = *static_cast<const Job*>(context);
  const std::size_t begin = zParallelArgs_Begin(args, 0, job.rows);
  const std::size_t end = zParallelArgs_End(args, 0, job.rows);
  if (begin >= end) return zOK;
  Scratch columnsBlock(job.allocator);
  Scratch kernelBlock(job.allocator);
  TileRank<T, Count> tile(job, columnsBlock, kernelBlock);
  const std::size_t tileRows = Max(kTileRows, 2 * job.halfY);
  const std::size_t tileColumns = Max(kTileColumns, 2 * job.halfX);
  std::uint64_t serial = 0;
  for (std::size_t y0 = begin; y0 < end; y0 += tileRows) {
    const std::size_t y1 = Min(end, y0 + tileRows);
    for (std::size_t x0 = 0; x0 < job.columns; x0 += tileColumns) {
      const zStatus status = tile.Run(y0, y1, x0, Min(job.columns, x0 + tileColumns), serial);
      if (status != zOK) return status;
    }
  }
  return zOK;
}

}  // namespace
}  // namespace RO_PERCENTILE_KERNEL_NAMESPACE
}  // namespace Vision
}  // namespace Ro
