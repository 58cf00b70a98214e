#include "FilterPercentile.h"

#include <zApi/zArray2.h>
#include <zApi/zParallel.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "FilterPrivate.h"
#include "PercentileHistogramPrivate.h"
#include "PercentilePrivate.h"

namespace Ro {
namespace Vision {

namespace {

const Site kSite{filter::kModule, "Ro::Vision::FilterPercentile"};

constexpr std::size_t kFine = 256;  // fine bins: the low byte of a key
constexpr std::size_t kGroup = 16;  // bins summed into one group, to search in two short steps
constexpr std::size_t kTileColumns = 64;
constexpr std::size_t kTileRows = 128;
// Above this the per-column histograms of a tile give way to the direct path (RunDirect). With
// every coarse bin in play a column takes about 140 KiB in 16-bit counts, so this allows
// windows about 480 columns wide over the full 16-bit range; narrower value ranges allow more.
constexpr std::size_t kMaxColumnBytes = std::size_t(64) << 20;

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

// A growable work block from the caller's allocator; zero-filled when (re)made.
class Scratch {
 public:
  explicit Scratch(void* allocator) : allocator_(allocator) {}
  ~Scratch() { zMemFree(allocator_, block_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  void* Reserve(std::size_t bytes) {
    if (bytes <= size_) return block_;
    zMemFree(allocator_, block_);
    block_ = nullptr;
    size_ = 0;
    Check(kSite, __LINE__, zMemAlloc(allocator_, bytes, &block_));
    size_ = bytes;
    return block_;
  }

 private:
  void* allocator_;
  void* block_ = nullptr;
  std::size_t size_ = 0;
};

template <class Count>
const Count* Zeros() {
  alignas(64) static const Count zeros[kFine] = {};
  return zeros;
}

bool UseAvx2() {
#if RO_PERCENTILE_AVX2
  return percentile_histogram::HasAvx2();
#else
  return false;
#endif
}

struct Job {
  const void* input;
  void* output;
  std::size_t rows, columns;
  std::size_t halfX, halfY;  // window radii, cut to the map
  double percentile;
  bool keepNull;
  void* allocator;
  bool avx2;  // 16-bit counts take the AVX2 histogram steps
};

// The histograms of one tile of outputs: per input column of the tile's reach a coarse
// histogram (with group sums) and a fine histogram per coarse bin (with group sums), and the
// window's kernel histograms built from them. The coarse bins are cut to the keys present in the
// tile's reach [keyLow >> 8, keyHigh >> 8], which keeps the work small on real height maps.
template <class T, class Count>
class TileRank {
 public:
  TileRank(const Job& job, Scratch& columnsBlock, Scratch& kernelBlock)
      : job_(job), columnsBlock_(columnsBlock), kernelBlock_(kernelBlock) {}

  void Run(std::size_t y0, std::size_t y1, std::size_t x0, std::size_t x1, std::uint64_t& serial) {
    const std::size_t ya = y0 > job_.halfY ? y0 - job_.halfY : 0;
    const std::size_t yb = std::min(job_.rows, y1 + job_.halfY);
    xa_ = x0 > job_.halfX ? x0 - job_.halfX : 0;
    xb_ = std::min(job_.columns, x1 + job_.halfX);
    if (!KeyRange(ya, yb)) {
      for (std::size_t y = y0; y < y1; ++y) std::fill(OutRow(y) + x0, OutRow(y) + x1, Null());
      return;
    }
    LayKernel();
    const std::size_t columnBytes = (xb_ - xa_) * PerColumn() * sizeof(Count);
    if (columnBytes > kMaxColumnBytes) {
      RunDirect(y0, y1, x0, x1);
      return;
    }
    LayColumns();
    // Column histograms hold the window rows of the current output row.
    std::size_t loaded = ya;   // next input row to add
    std::size_t dropped = ya;  // next input row to remove
    for (std::size_t y = y0; y < y1; ++y) {
      const std::size_t lo = y > job_.halfY ? y - job_.halfY : 0;
      const std::size_t hi = std::min(job_.rows, y + job_.halfY + 1);
      for (; dropped < lo; ++dropped) UpdateColumns(dropped, false);
      for (; loaded < hi; ++loaded) UpdateColumns(loaded, true);
      SweepRow(y, x0, x1, ++serial);
    }
    // Leave the column block all zero for the next tile.
    for (; dropped < loaded; ++dropped) UpdateColumns(dropped, false);
  }

 private:
  static constexpr T Null() { return GetNull<T>(); }

  // dst += add - sub over n counts.
  void Step(Count* dst, const Count* add, const Count* sub, std::size_t n) const {
#if RO_PERCENTILE_AVX2
    if constexpr (std::is_same_v<Count, std::uint16_t>) {
      if (job_.avx2) return percentile_histogram::AddSubAvx2(dst, add, sub, n);
    }
#endif
    percentile_histogram::AddSubPlain(dst, add, sub, n);
  }

  // The first of 16 bins where the running count passes rest, and the count before it.
  percentile_histogram::Found Find(const Count* counts, std::size_t rest) const {
#if RO_PERCENTILE_AVX2
    if constexpr (std::is_same_v<Count, std::uint16_t>) {
      if (job_.avx2) return percentile_histogram::FindAvx2(counts, rest);
    }
#endif
    return percentile_histogram::FindPlain(counts, rest);
  }

  const T* InRow(std::size_t y) const {
    return static_cast<const T*>(job_.input) + y * job_.columns;
  }
  T* OutRow(std::size_t y) const {
    return static_cast<T*>(job_.output) + y * job_.columns;
  }

  // The smallest and largest valid key of the tile's reach; false when there is none.
  bool KeyRange(std::size_t ya, std::size_t yb) {
    std::uint16_t lowMinusOne = 0xFFFF;  // key - 1 wraps null to 0xFFFF
    std::uint16_t high = 0;
    for (std::size_t y = ya; y < yb; ++y) {
      const T* row = InRow(y);
      for (std::size_t x = xa_; x < xb_; ++x) {
        const std::uint16_t key = KeyOf(row[x]);
        lowMinusOne = std::min<std::uint16_t>(lowMinusOne, static_cast<std::uint16_t>(key - 1));
        high = std::max(high, key);
      }
    }
    if (high == 0) return false;
    blo_ = (lowMinusOne + 1u) >> 8;
    nb_ = (high >> 8) - blo_ + 1;
    nbPad_ = (nb_ + kGroup - 1) / kGroup * kGroup;
    return true;
  }

  std::size_t PerColumn() const {
    return 1 + nbPad_ + kGroup + nb_ * (kFine + kGroup);
  }

  // Carves the tile's column histograms from their work block.
  void LayColumns() {
    nc_ = xb_ - xa_;
    auto* columns = static_cast<Count*>(columnsBlock_.Reserve(nc_ * PerColumn() * sizeof(Count)));
    total_ = columns;
    coarse_ = total_ + nc_;
    coarseGroup_ = coarse_ + nc_ * nbPad_;
    fine_ = coarseGroup_ + nc_ * kGroup;
    fineGroup_ = fine_ + nc_ * nb_ * kFine;
  }

  // Carves the window's histograms from their work block, all zero.
  void LayKernel() {
    const std::size_t stamps = 2 * nb_ * sizeof(std::uint64_t);
    const std::size_t counts = (nbPad_ + kGroup + nb_ * (kFine + kGroup)) * sizeof(Count);
    auto* kernel = static_cast<unsigned char*>(kernelBlock_.Reserve(stamps + counts));
    std::memset(kernel, 0, stamps + counts);
    fineRow_ = reinterpret_cast<std::uint64_t*>(kernel);
    fineX_ = fineRow_ + nb_;
    kCoarse_ = reinterpret_cast<Count*>(kernel + stamps);
    kCoarseGroup_ = kCoarse_ + nbPad_;
    kFine_ = kCoarseGroup_ + kGroup;
    kFineGroup_ = kFine_ + nb_ * kFine;
  }

  // The fallback for very wide windows over a wide value range, where the per-column fine
  // histograms would take more than kMaxColumnBytes: the window's histograms are kept directly,
  // a step adding and removing the cells of one column each (cost per cell grows with the window
  // height here).
  void RunDirect(std::size_t y0, std::size_t y1, std::size_t x0, std::size_t x1) {
    direct_ = true;
    const auto hx = static_cast<std::ptrdiff_t>(job_.halfX);
    const auto last = static_cast<std::ptrdiff_t>(job_.columns) - 1;
    for (std::size_t y = y0; y < y1; ++y) {
      const std::size_t lo = y > job_.halfY ? y - job_.halfY : 0;
      const std::size_t hi = std::min(job_.rows, y + job_.halfY + 1);
      std::size_t n = 0;
      auto column = [&](std::ptrdiff_t c, bool add) {
        if (c < 0 || c > last) return;
        for (std::size_t r = lo; r < hi; ++r) {
          const std::uint16_t key = KeyOf(InRow(r)[c]);
          if (key == 0) continue;
          AddToWindow(key, add);
          n = add ? n + 1 : n - 1;
        }
      };
      const auto sx0 = static_cast<std::ptrdiff_t>(x0);
      for (std::ptrdiff_t c = sx0 - hx; c <= sx0 + hx; ++c) column(c, true);
      const T* own = InRow(y);
      T* out = OutRow(y);
      for (std::size_t x = x0; x < x1; ++x) {
        const auto sx = static_cast<std::ptrdiff_t>(x);
        if (x > x0) {
          column(sx + hx, true);
          column(sx - hx - 1, false);
        }
        const bool empty = n == 0 || (job_.keepNull && KeyOf(own[x]) == 0);
        out[x] = empty ? Null() : Percentile(n, sx, 0);
      }
      const auto sx1 = static_cast<std::ptrdiff_t>(x1) - 1;
      for (std::ptrdiff_t c = sx1 - hx; c <= sx1 + hx; ++c) column(c, false);
    }
    direct_ = false;
  }

  void AddToWindow(std::uint16_t key, bool add) {
    const std::size_t b = (key >> 8) - blo_;
    const std::size_t f = key & 0xFFu;
    Count* cells[4] = {&kCoarse_[b], &kCoarseGroup_[b / kGroup], &kFine_[b * kFine + f],
                       &kFineGroup_[b * kGroup + f / kGroup]};
    for (Count* cell : cells) *cell = static_cast<Count>(add ? *cell + 1 : *cell - 1);
  }

  void UpdateColumns(std::size_t y, bool add) {
    const T* row = InRow(y);
    for (std::size_t x = xa_; x < xb_; ++x) {
      const std::uint16_t key = KeyOf(row[x]);
      if (key == 0) continue;
      const std::size_t c = x - xa_;
      const std::size_t b = (key >> 8) - blo_;
      const std::size_t f = key & 0xFFu;
      const std::size_t slice = c * nb_ + b;
      Count* cells[5] = {&total_[c], &coarse_[c * nbPad_ + b],
                         &coarseGroup_[c * kGroup + b / kGroup], &fine_[slice * kFine + f],
                         &fineGroup_[slice * kGroup + f / kGroup]};
      for (Count* cell : cells) *cell = static_cast<Count>(add ? *cell + 1 : *cell - 1);
    }
  }

  // Local index of map column x, or -1 when x is outside the map.
  std::ptrdiff_t Local(std::ptrdiff_t x) const {
    return x < 0 || x >= static_cast<std::ptrdiff_t>(job_.columns)
               ? -1
               : x - static_cast<std::ptrdiff_t>(xa_);
  }

  const Count* CoarseOf(std::ptrdiff_t c) const {
    return c < 0 ? Zeros<Count>() : coarse_ + c * nbPad_;
  }
  const Count* CoarseGroupOf(std::ptrdiff_t c) const {
    return c < 0 ? Zeros<Count>() : coarseGroup_ + c * kGroup;
  }
  const Count* FineOf(std::ptrdiff_t c, std::size_t b) const {
    return c < 0 ? Zeros<Count>() : fine_ + (c * nb_ + b) * kFine;
  }
  const Count* FineGroupOf(std::ptrdiff_t c, std::size_t b) const {
    return c < 0 ? Zeros<Count>() : fineGroup_ + (c * nb_ + b) * kGroup;
  }

  void SweepRow(std::size_t y, std::size_t x0, std::size_t x1, std::uint64_t serial) {
    const auto hx = static_cast<std::ptrdiff_t>(job_.halfX);
    const auto sx0 = static_cast<std::ptrdiff_t>(x0);
    std::memset(kCoarse_, 0, (nbPad_ + kGroup) * sizeof(Count));
    std::size_t n = 0;
    for (std::ptrdiff_t x = sx0 - hx; x <= sx0 + hx; ++x) {
      const std::ptrdiff_t c = Local(x);
      if (c < 0) continue;
      Step(kCoarse_, CoarseOf(c), Zeros<Count>(), nbPad_);
      Step(kCoarseGroup_, CoarseGroupOf(c), Zeros<Count>(), kGroup);
      n += total_[c];
    }
    const T* own = InRow(y);
    T* out = OutRow(y);
    for (std::size_t x = x0; x < x1; ++x) {
      const auto sx = static_cast<std::ptrdiff_t>(x);
      if (x > x0) {
        const std::ptrdiff_t in = Local(sx + hx);
        const std::ptrdiff_t gone = Local(sx - hx - 1);
        Step(kCoarse_, CoarseOf(in), CoarseOf(gone), nbPad_);
        Step(kCoarseGroup_, CoarseGroupOf(in), CoarseGroupOf(gone), kGroup);
        n += (in < 0 ? 0 : total_[in]);
        n -= (gone < 0 ? 0 : total_[gone]);
      }
      if (n == 0 || (job_.keepNull && KeyOf(own[x]) == 0)) {
        out[x] = Null();
        continue;
      }
      out[x] = Percentile(n, sx, serial);
    }
  }

  T Percentile(std::size_t n, std::ptrdiff_t x, std::uint64_t serial) {
    const percentile::RankPosition at = percentile::PositionOf(n, job_.percentile);
    std::uint16_t next = 0;
    const std::uint16_t key = Select(at.index, x, serial, at.fraction != 0 ? &next : nullptr);
    const int low = ValueOfKey(key, T());
    if (at.fraction == 0) return static_cast<T>(low);
    return static_cast<T>(percentile::Interpolate(low, ValueOfKey(next, T()), at.fraction));
  }

  // The key of rank t (0-based) among the window's valid values; t < n. With `next`, also the
  // key of rank t + 1 (t + 1 < n), found from where rank t was found when it lies in the same
  // coarse bin, which is the common case.
  std::uint16_t Select(std::size_t t, std::ptrdiff_t x, std::uint64_t serial, std::uint16_t* next) {
    const auto group = Find(kCoarseGroup_, t);
    const auto bin = Find(kCoarse_ + group.index * kGroup, t - group.below);
    const std::size_t b = group.index * kGroup + bin.index;
    UpdateFine(b, x, serial);
    const std::size_t rest = t - group.below - bin.below;
    const auto fineGroup = Find(kFineGroup_ + b * kGroup, rest);
    const Count* fine = kFine_ + b * kFine;
    const auto fineBin = Find(fine + fineGroup.index * kGroup, rest - fineGroup.below);
    const std::size_t f = fineGroup.index * kGroup + fineBin.index;
    const std::size_t cum = fineGroup.below + fineBin.below;
    const auto key = static_cast<std::uint16_t>(((blo_ + b) << 8) | f);
    if (next) {
      if (rest + 1 < cum + fine[f]) {
        *next = key;  // rank t + 1 holds the same value
      } else if (rest + 1 < kCoarse_[b]) {
        std::size_t f2 = f + 1;
        while (fine[f2] == 0) ++f2;
        *next = static_cast<std::uint16_t>(((blo_ + b) << 8) | f2);
      } else {
        *next = Select(t + 1, x, serial, nullptr);
      }
    }
    return key;
  }

  // Brings the window's fine histogram of coarse bin b to column x: slides it from where it was
  // last used in this row when that is cheaper than building it anew from the window's columns.
  void UpdateFine(std::size_t b, std::ptrdiff_t x, std::uint64_t serial) {
    if (direct_) return;  // the direct path keeps every fine histogram current
    Count* fine = kFine_ + b * kFine;
    Count* groups = kFineGroup_ + b * kGroup;
    const auto hx = static_cast<std::ptrdiff_t>(job_.halfX);
    if (fineRow_[b] == serial) {
      const auto last = static_cast<std::ptrdiff_t>(fineX_[b]);
      if (2 * (x - last) <= 2 * hx + 1) {
        for (std::ptrdiff_t s = last + 1; s <= x; ++s) {
          const std::ptrdiff_t in = Local(s + hx);
          const std::ptrdiff_t gone = Local(s - hx - 1);
          Step(fine, FineOf(in, b), FineOf(gone, b), kFine);
          Step(groups, FineGroupOf(in, b), FineGroupOf(gone, b), kGroup);
        }
        fineX_[b] = static_cast<std::uint64_t>(x);
        return;
      }
    }
    std::memset(fine, 0, kFine * sizeof(Count));
    std::memset(groups, 0, kGroup * sizeof(Count));
    for (std::ptrdiff_t s = x - hx; s <= x + hx; ++s) {
      const std::ptrdiff_t c = Local(s);
      if (c < 0) continue;
      Step(fine, FineOf(c, b), Zeros<Count>(), kFine);
      Step(groups, FineGroupOf(c, b), Zeros<Count>(), kGroup);
    }
    fineRow_[b] = serial;
    fineX_[b] = static_cast<std::uint64_t>(x);
  }

  const Job& job_;
  Scratch& columnsBlock_;
  Scratch& kernelBlock_;
  std::size_t xa_ = 0, xb_ = 0, nc_ = 0;
  std::size_t blo_ = 0, nb_ = 0, nbPad_ = 0;
  bool direct_ = false;
  Count* total_ = nullptr;
  Count* coarse_ = nullptr;
  Count* coarseGroup_ = nullptr;
  Count* fine_ = nullptr;
  Count* fineGroup_ = nullptr;
  std::uint64_t* fineRow_ = nullptr;
  std::uint64_t* fineX_ = nullptr;
  Count* kCoarse_ = nullptr;
  Count* kCoarseGroup_ = nullptr;
  Count* kFine_ = nullptr;
  Count* kFineGroup_ = nullptr;
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
  const std::size_t tileRows = std::max(kTileRows, 2 * job.halfY);
  const std::size_t tileColumns = std::max(kTileColumns, 2 * job.halfX);
  std::uint64_t serial = 0;
  for (std::size_t y0 = begin; y0 < end; y0 += tileRows) {
    const std::size_t y1 = std::min(end, y0 + tileRows);
    for (std::size_t x0 = 0; x0 < job.columns; x0 += tileColumns) {
      tile.Run(y0, y1, x0, std::min(job.columns, x0 + tileColumns), serial);
    }
  }
  return zOK;
}

}  // namespace

void FilterPercentile(const Ty::Object<void*>& input, Point2d<unsigned long long> size,
                      double percentile, int keepNull, Ty::Object<void*>& output, void* allocator,
                      void* pool) {
  if (!input) Throw(kSite, __LINE__, kInvalidArgument, "the input array is null");
  const zType type = zArray2_ItemType(input);
  if (type != TypeOf<z16s>() && type != TypeOf<z8u>()) {
    Throw(kSite, __LINE__, kInvalidArgument, "the input must hold z16s or z8u items");
  }
  if (size.x == 0 || size.y == 0) {
    Throw(kSite, __LINE__, kInvalidArgument, "the window size must be at least 1 x 1");
  }
  if (!(percentile >= 0 && percentile <= 100)) {
    Throw(kSite, __LINE__, kInvalidArgument, "the percentile must lie in [0, 100]");
  }
  // Even sizes widen to the next odd size, as the surface filter does.
  const unsigned long long halfX = size.x / 2;
  const unsigned long long halfY = size.y / 2;
  const std::size_t rows = zArray2_Rows(input);
  const std::size_t columns = zArray2_Columns(input);

  Ty::Object<void*> result;
  Check(kSite, __LINE__, zArray2_Construct(result.Address(), type, rows, columns, allocator));
  if (rows > 0 && columns > 0) {
    Job job{zArray2_Data(input),
            zArray2_Data(result),
            rows,
            columns,
            static_cast<std::size_t>(std::min<unsigned long long>(halfX, columns - 1)),
            static_cast<std::size_t>(std::min<unsigned long long>(halfY, rows - 1)),
            percentile,
            keepNull != 0,
            allocator,
            UseAvx2()};
    // 16-bit counts halve the histogram traffic; they hold any window of at most 65535 cells.
    const bool narrow = (2 * job.halfX + 1) * (2 * job.halfY + 1) <= 65535;
    zParallelWorker worker = nullptr;
    DispatchByType<z8u, z16s>(type, [&](auto tag) {
      using T = std::conditional_t<std::is_same_v<decltype(tag), z8u>, unsigned char, short>;
      worker = narrow ? &RankRows<T, std::uint16_t> : &RankRows<T, std::uint32_t>;
    });
    Check(kSite, __LINE__, zParallel_Execute(worker, &job, pool));
  }
  output = result;
}

}  // namespace Vision
}  // namespace Ro
