// Private to the Filter module: the percentile filter's path for small windows (at most
// kMaxSmallWindow cells), included by each kernel build inside its own namespace after
// PercentileKernelImpl.h. A histogram pays a fixed cost per cell whatever the window; for a few
// cells, sorting them outright is several times cheaper. The cells of a window are sorted by a
// sorting network, one output cell per vector lane, with the values in their own signed order so
// that nulls (the smallest value of their type) sort first: the k-th valid value of a lane is then
// at k plus its number of nulls. Outside the map every cell counts as null, which cuts the window
// at the edges exactly as the histogram path does.
#ifndef RO_PERCENTILE_KERNEL_NAMESPACE
#error "define RO_PERCENTILE_KERNEL_NAMESPACE before including PercentileSmallWindowImpl.h"
#endif

#include <utility>

namespace Ro {
namespace Vision {
namespace RO_PERCENTILE_KERNEL_NAMESPACE {
namespace {

constexpr int kMaxSmallWindow = 49;

// One vector of 16-bit lanes, signed.
#if defined(__AVX2__)
constexpr int kLanes = 16;
struct Lanes {
  __m256i v;
};
inline Lanes Load(const short* p) {
  return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
}
inline void Store(short* p, Lanes a) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a.v);
}
// count - (a == value): adds one to the lanes of a that hold value.
inline Lanes CountEqual(Lanes count, Lanes a, short value) {
  return {_mm256_sub_epi16(count.v, _mm256_cmpeq_epi16(a.v, _mm256_set1_epi16(value)))};
}
inline Lanes ZeroLanes() {
  return {_mm256_setzero_si256()};
}
inline void CompareExchange(Lanes& a, Lanes& b) {
  const __m256i low = _mm256_min_epi16(a.v, b.v);
  b.v = _mm256_max_epi16(a.v, b.v);
  a.v = low;
}
#elif defined(__SSE2__)
constexpr int kLanes = 8;
struct Lanes {
  __m128i v;
};
inline Lanes Load(const short* p) {
  return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))};
}
inline void Store(short* p, Lanes a) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a.v);
}
inline Lanes CountEqual(Lanes count, Lanes a, short value) {
  return {_mm_sub_epi16(count.v, _mm_cmpeq_epi16(a.v, _mm_set1_epi16(value)))};
}
inline Lanes ZeroLanes() {
  return {_mm_setzero_si128()};
}
inline void CompareExchange(Lanes& a, Lanes& b) {
  const __m128i low = _mm_min_epi16(a.v, b.v);
  b.v = _mm_max_epi16(a.v, b.v);
  a.v = low;
}
#else
constexpr int kLanes = 8;
struct Lanes {
  short v[kLanes];
};
inline Lanes Load(const short* p) {
  Lanes a;
  std::memcpy(a.v, p, sizeof a.v);
  return a;
}
inline void Store(short* p, Lanes a) {
  std::memcpy(p, a.v, sizeof a.v);
}
inline Lanes CountEqual(Lanes count, Lanes a, short value) {
  for (int l = 0; l < kLanes; ++l) count.v[l] = static_cast<short>(count.v[l] + (a.v[l] == value));
  return count;
}
inline Lanes ZeroLanes() {
  return Lanes{};
}
inline void CompareExchange(Lanes& a, Lanes& b) {
  for (int l = 0; l < kLanes; ++l) {
    const short low = a.v[l] < b.v[l] ? a.v[l] : b.v[l];
    b.v[l] = a.v[l] < b.v[l] ? b.v[l] : a.v[l];
    a.v[l] = low;
  }
}
#endif

// Batcher's odd-even merge sort for the next power of two at or above `size` inputs, without
// the comparators that reach beyond `size`: those would only meet padding larger than every
// input, which never moves.
struct Network {
  int count = 0;
  unsigned char low[544] = {};  // Batcher's network for 64 inputs has 543 comparators
  unsigned char high[544] = {};
};

constexpr Network MakeNetwork(int size) {
  Network net;
  int n = 1;
  while (n < size) n <<= 1;
  for (int p = 1; p < n; p <<= 1) {
    for (int k = p; k >= 1; k >>= 1) {
      for (int j = k % p; j + k < n; j += 2 * k) {
        for (int i = 0; i < k && i + j + k < n; ++i) {
          if ((i + j) / (2 * p) != (i + j + k) / (2 * p) || i + j + k >= size) continue;
          net.low[net.count] = static_cast<unsigned char>(i + j);
          net.high[net.count] = static_cast<unsigned char>(i + j + k);
          ++net.count;
        }
      }
    }
  }
  return net;
}

template <int K>
struct NetworkOf {
  static constexpr Network net = MakeNetwork(K);
};

// Unrolled, so that every index is a constant and the vectors can live in registers. The
// sanitizers are kept out: every index is a constant below K, and instrumenting hundreds of
// compare-exchanges per network made the sanitizer build of this file take minutes.
template <int K, std::size_t... I>
__attribute__((no_sanitize("address", "undefined"))) inline void ApplyNetwork(
    Lanes* v, std::index_sequence<I...>) {
  (void)v;  // a window of one cell needs no comparator
  (CompareExchange(v[NetworkOf<K>::net.low[I]], v[NetworkOf<K>::net.high[I]]), ...);
}

template <int K>
inline void SortLanes(Lanes* v) {
  ApplyNetwork<K>(v, std::make_index_sequence<std::size_t(NetworkOf<K>::net.count)>{});
}

// The rows of one task: a ring of the window's input rows, each widened to 16-bit values with
// halfX nulls on either side (and a vector's worth more on the right, so that the last vector
// of a row may read past its end).
template <class T>
class PaddedRows {
 public:
  PaddedRows(const Job& job, short null) : job_(job), null_(null) {}

  zStatus Lay(Scratch& block) {
    ringSize_ = 2 * job_.halfY + 1;
    stride_ = job_.columns + 2 * job_.halfX + kLanes;
    void* memory = nullptr;
    const zStatus status = block.Reserve((ringSize_ + 1) * stride_ * sizeof(short), &memory);
    if (status != zOK) return status;
    rows_ = static_cast<short*>(memory);
    nullRow_ = rows_ + ringSize_ * stride_;
    for (std::size_t i = 0; i < stride_; ++i) nullRow_[i] = null_;
    return zOK;
  }

  // Widens input row y into its slot of the ring.
  void Load(std::size_t y) {
    short* slot = rows_ + (y % ringSize_) * stride_;
    const T* in = static_cast<const T*>(job_.input) + y * job_.columns;
    for (std::size_t x = 0; x < job_.halfX; ++x) slot[x] = null_;
    short* body = slot + job_.halfX;
    for (std::size_t x = 0; x < job_.columns; ++x) body[x] = static_cast<short>(in[x]);
    for (std::size_t x = job_.halfX + job_.columns; x < stride_; ++x) slot[x] = null_;
  }

  // The padded row of map row y (which may lie outside the map), loaded before.
  const short* Row(std::ptrdiff_t y) const {
    if (y < 0 || y >= static_cast<std::ptrdiff_t>(job_.rows)) return nullRow_;
    return rows_ + (static_cast<std::size_t>(y) % ringSize_) * stride_;
  }

 private:
  const Job& job_;
  short null_;
  std::size_t ringSize_ = 0, stride_ = 0;
  short* rows_ = nullptr;
  short* nullRow_ = nullptr;
};

template <class T, int K>
class SmallWindowRows {
 public:
  explicit SmallWindowRows(const Job& job)
      : job_(job),
        width_(static_cast<int>(2 * job.halfX + 1)),
        null_(NullOf(T())),
        median_(job.percentile == 50) {}

  zStatus Run(std::size_t begin, std::size_t end, Scratch& block) {
    PaddedRows<T> rows(job_, null_);
    const zStatus status = rows.Lay(block);
    if (status != zOK) return status;
    const std::size_t hy = job_.halfY;
    std::size_t loaded = begin > hy ? begin - hy : 0;
    for (std::size_t y = begin; y < end; ++y) {
      for (; loaded < job_.rows && loaded <= y + hy; ++loaded) rows.Load(loaded);
      // The window's cells, row by row: cell k of output x is at cells[k] + x.
      const short* cells[K];
      for (int k = 0; k < K; ++k) {
        const auto dy = static_cast<std::ptrdiff_t>(k / width_);
        cells[k] = rows.Row(static_cast<std::ptrdiff_t>(y - hy) + dy) + k % width_;
      }
      RunRow(cells, static_cast<T*>(job_.output) + y * job_.columns,
             rows.Row(static_cast<std::ptrdiff_t>(y)) + job_.halfX);
    }
    return zOK;
  }

 private:
  void RunRow(const short* const* cells, T* out, const short* own) const {
    alignas(32) short sorted[K][kLanes];
    alignas(32) short nulls[kLanes];
    for (std::size_t x = 0; x < job_.columns; x += kLanes) {
      Lanes v[K];
      for (int k = 0; k < K; ++k) v[k] = Load(cells[k] + x);
      SortLanes<K>(v);
      Lanes nullCount = ZeroLanes();
      for (int k = 0; k < K; ++k) nullCount = CountEqual(nullCount, v[k], null_);
      const std::size_t lanes = job_.columns - x < std::size_t(kLanes) ? job_.columns - x : kLanes;
#if defined(__AVX2__)
      if (median_) {
        alignas(32) short medians[kLanes];
        Store(medians, MedianLanes(v, nullCount, own + x));
        for (std::size_t l = 0; l < lanes; ++l) out[x + l] = static_cast<T>(medians[l]);
        continue;
      }
#endif
      for (int k = 0; k < K; ++k) Store(sorted[k], v[k]);
      Store(nulls, nullCount);
      for (std::size_t l = 0; l < lanes; ++l) {
        out[x + l] = Pick(sorted, l, nulls[l], own[x + l]);
      }
    }
  }

#if defined(__AVX2__)
  // The median of every lane at once: ranks (n - 1) / 2 and n / 2 after the lane's nulls (the
  // same rank for odd n), halved with truncation toward zero, which is the rank rule at p = 50.
  Lanes MedianLanes(const Lanes* v, Lanes nullCount, const short* own) const {
    const __m256i zero = _mm256_setzero_si256(), one = _mm256_set1_epi16(1);
    const __m256i nulls = nullCount.v;
    const __m256i n = _mm256_sub_epi16(_mm256_set1_epi16(K), nulls);
    const __m256i atLow = _mm256_add_epi16(nulls, _mm256_srai_epi16(_mm256_sub_epi16(n, one), 1));
    const __m256i atHigh = _mm256_add_epi16(nulls, _mm256_srai_epi16(n, 1));
    __m256i low = zero, high = zero;
    for (int k = 0; k < K; ++k) {
      const __m256i rank = _mm256_set1_epi16(static_cast<short>(k));
      low = _mm256_blendv_epi8(low, v[k].v, _mm256_cmpeq_epi16(atLow, rank));
      high = _mm256_blendv_epi8(high, v[k].v, _mm256_cmpeq_epi16(atHigh, rank));
    }
    // floor((low + high) / 2) without overflow, plus one where an odd sum is negative.
    const __m256i differ = _mm256_xor_si256(low, high);
    const __m256i floorHalf =
        _mm256_add_epi16(_mm256_and_si256(low, high), _mm256_srai_epi16(differ, 1));
    const __m256i oddNegative =
        _mm256_and_si256(_mm256_and_si256(differ, one), _mm256_cmpgt_epi16(zero, floorHalf));
    const __m256i median = _mm256_add_epi16(floorHalf, oddNegative);
    const __m256i null = _mm256_set1_epi16(null_);
    __m256i empty = _mm256_cmpeq_epi16(n, zero);
    if (job_.keepNull) {
      const __m256i self = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(own));
      empty = _mm256_or_si256(empty, _mm256_cmpeq_epi16(self, null));
    }
    return {_mm256_blendv_epi8(median, null, empty)};
  }
#endif

  // The rank rule on lane l: no branch on the fraction, since low + (high - low) * 0 is low.
  T Pick(const short (*sorted)[kLanes], std::size_t l, int nulls, short own) const {
    const int n = K - nulls;
    if (n == 0 || (job_.keepNull && own == null_)) return NullOf(T());
    const Rank at = job_.ranks[n];
    const int i = nulls + static_cast<int>(at.index);
    const int low = sorted[i][l];
    const int high = sorted[i + 1 < K ? i + 1 : i][l];
    return static_cast<T>(static_cast<int>(low + (double(high) - low) * at.fraction));
  }

  const Job& job_;
  int width_;
  short null_;
  bool median_;  // p = 50, which the AVX2 build ranks in vector lanes
};

template <class T, int K>
zStatus SmallWindow(const zParallelArgs* args, void* context) {
  const Job& job = *static_cast<const Job*>(context);
  const std::size_t begin = zParallelArgs_Begin(args, 0, job.rows);
  const std::size_t end = zParallelArgs_End(args, 0, job.rows);
  if (begin >= end) return zOK;
  Scratch block(job.allocator);
  return SmallWindowRows<T, K>(job).Run(begin, end, block);
}

}  // namespace
}  // namespace RO_PERCENTILE_KERNEL_NAMESPACE
}  // namespace Vision
}  // namespace Ro
