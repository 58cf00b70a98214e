#include "SurfaceFilter.h"

#include <zApi/zArray2.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "FilterPrivate.h"
#include "SurfaceAverageKernelPrivate.h"

namespace Ro {
namespace Vision {

class SurfaceFilter::Impl {
 public:
  // Prepares Average; false when there is nothing to filter.
  bool CheckConditions(Point2d<unsigned long long>& size);
  void CloneAndUpdateInSurface(bool fromOutput);

  void* input = nullptr;   // borrowed, or the clone
  void* output = nullptr;  // borrowed
  void* allocator = nullptr;
  std::int32_t applied = 0;
  Ty::Object<void*> clone;
};

bool SurfaceFilter::Impl::CheckConditions(Point2d<unsigned long long>& size) {
  const Site site{filter::kModule, "Ro::Vision::SurfaceFilter::Impl::CheckConditions"};
  // Unlike ProfileFilter, which refuses even windows, the surface filter widens them.
  if (size.x % 2 == 0) size.x += 1;
  if (size.y % 2 == 0) size.y += 1;
  if (size.x < 2 && size.y < 2) {
    if (!applied && input != output) Check(site, __LINE__, zArray2_Copy(output, input));
    return false;
  }
  if (applied) CloneAndUpdateInSurface(true);
  return true;
}

void SurfaceFilter::Impl::CloneAndUpdateInSurface(bool fromOutput) {
  const Site site{filter::kModule, "Ro::Vision::SurfaceFilter::Impl::CloneAndUpdateInSurface"};
  void* source = fromOutput ? output : input;
  const int line = fromOutput ? 473 : 469;
  if (!clone) {
    Check(site, line, zArray2_Clone(source, allocator, clone.Address()));
  } else {
    Check(site, line, zArray2_Copy(clone, source));
  }
  input = clone.Get();
}

namespace {

namespace sa = surface_average;

// Sums of at most this many heights fit a 32-bit integer.
constexpr std::size_t kMaxInt32Count = 65535;

template <class Sum>
struct Prefix {
  using type = Sum;
};
// 32-bit prefixes wrap; window sums taken modulo 2^32 are still exact.
template <>
struct Prefix<std::int32_t> {
  using type = std::uint32_t;
};

// The work rows of one Average call, carved from one array.
template <class Sum>
struct WorkRows {
  typename Prefix<Sum>::type* prefixSum;    // columns + 1
  typename Prefix<Sum>::type* prefixCount;  // columns + 1
  Sum* rowSum;
  Sum* rowCount;
  Sum* columnSum;
  Sum* columnCount;
};

// Fast: sums and counts of at most kMaxFastCount values, so the SSE2 steps give the exact
// result.
template <class Sum, bool Fast>
class SeparableAverage {
 public:
  SeparableAverage(WorkRows<Sum> work, std::size_t columns, std::size_t halfX, bool keepNulls)
      : w_(work), columns_(columns), halfX_(halfX), keepNulls_(keepNulls) {
#if defined(RO_SURFACE_AVERAGE_AVX2)
    avx2_ = sa::HasAvx2();
#endif
  }

  // The row pass: the window means of one row. A half window of 0 is the identity.
  void RowMeans(const short* in, short* out) {
    if (halfX_ == 0) {
      std::memcpy(out, in, columns_ * sizeof(short));
      return;
    }
    using P = typename Prefix<Sum>::type;
    P* ps = w_.prefixSum;
    P* pc = w_.prefixCount;
    if constexpr (Fast) {
      sa::PrefixFast(in, ps, pc, columns_);
    } else {
      sa::PrefixPlain(in, ps, pc, columns_);
    }
    // Window of column k: [k - halfX, k + halfX] cut to the row. Columns whose window is cut
    // are done one by one, the others (begin <= k < end) in one stretch.
    const std::size_t begin = std::min(halfX_, columns_);
    const std::size_t end = std::max(begin, columns_ > halfX_ ? columns_ - halfX_ : 0);
    for (std::size_t k = 0; k < columns_; ++k) {
      if (k == begin) k = end;
      if (k >= columns_) break;
      const std::size_t lo = k >= halfX_ ? k - halfX_ : 0;
      const std::size_t hi = std::min(columns_, k + halfX_ + 1);
      w_.rowSum[k] = static_cast<Sum>(ps[hi] - ps[lo]);
      w_.rowCount[k] = static_cast<Sum>(pc[hi] - pc[lo]);
    }
    const std::size_t n = end - begin;
    if (n == 0) {
      // Every window is cut.
    } else if constexpr (Fast) {
      Difference(ps + begin + halfX_ + 1, ps + begin - halfX_, w_.rowSum + begin, n);
      Difference(pc + begin + halfX_ + 1, pc + begin - halfX_, w_.rowCount + begin, n);
    } else {
      for (std::size_t k = begin; k < end; ++k) {
        w_.rowSum[k] = static_cast<Sum>(ps[k + halfX_ + 1] - ps[k - halfX_]);
        w_.rowCount[k] = static_cast<Sum>(pc[k + halfX_ + 1] - pc[k - halfX_]);
      }
    }
    WriteMeans(w_.rowSum, w_.rowCount, in, out);
  }

  void AddColumn(const short* row, bool add) {
    if constexpr (Fast) {
#if defined(RO_SURFACE_AVERAGE_AVX2)
      if (avx2_) return sa::AccumulateAvx2(w_.columnSum, w_.columnCount, row, columns_, add);
#endif
      sa::AccumulateFast(w_.columnSum, w_.columnCount, row, columns_, add);
    } else {
      sa::AccumulatePlain(w_.columnSum, w_.columnCount, row, columns_, add);
    }
  }

  void ColumnMeans(const short* own, short* out) {
    WriteMeans(w_.columnSum, w_.columnCount, own, out);
  }

 private:
  void WriteMeans(const Sum* sum, const Sum* count, const short* own, short* out) {
    if constexpr (Fast) {
#if defined(RO_SURFACE_AVERAGE_AVX2)
      if (avx2_) return sa::WriteMeansAvx2(sum, count, own, out, columns_, keepNulls_);
#endif
      sa::WriteMeansFast(sum, count, own, out, columns_, keepNulls_);
    } else {
      sa::WriteMeansPlain(sum, count, own, out, columns_, keepNulls_);
    }
  }

  void Difference(const std::uint32_t* hi, const std::uint32_t* lo, std::int32_t* out,
                  std::size_t n) {
#if defined(RO_SURFACE_AVERAGE_AVX2)
    if (avx2_) return sa::DifferenceAvx2(hi, lo, out, n);
#endif
    sa::DifferenceFast(hi, lo, out, n);
  }

  WorkRows<Sum> w_;
  bool avx2_ = false;
  std::size_t columns_;
  std::size_t halfX_;
  bool keepNulls_;
};

// Runs the row pass into a ring of row means that holds just the rows the column window still
// needs, and the column pass from it. Row k of the output is written after input rows up to
// k + halfY have been read, so the output may be the input itself.
template <class Sum, bool Fast>
void AverageMap(const Site& site, void* input, void* output, std::size_t halfX, std::size_t halfY,
                bool keepNulls, void* allocator) {
  const std::size_t rows = zArray2_Rows(input);
  const std::size_t columns = zArray2_Columns(input);
  const std::size_t ringRows = std::min(rows, 2 * halfY + 1);
  Ty::Object<void*> ring;
  Check(site, 2020, zArray2_Construct(ring.Address(), zTypeOf(z16s), ringRows, columns, allocator));
  Ty::Object<void*> work;
  const zType sumType = sizeof(Sum) == 4 ? zTypeOf(z32s) : zTypeOf(z64s);
  Check(site, 2020, zArray2_Construct(work.Address(), sumType, 6, columns + 1, allocator));
  auto workRow = [&](std::size_t r) { return zArray2_Row(work, r); };
  using P = typename Prefix<Sum>::type;
  const WorkRows<Sum> rowsOfWork{static_cast<P*>(workRow(0)),   static_cast<P*>(workRow(1)),
                                 static_cast<Sum*>(workRow(2)), static_cast<Sum*>(workRow(3)),
                                 static_cast<Sum*>(workRow(4)), static_cast<Sum*>(workRow(5))};
  SeparableAverage<Sum, Fast> average(rowsOfWork, columns, halfX, keepNulls);

  auto inRow = [&](std::size_t r) { return static_cast<const short*>(zArray2_Row(input, r)); };
  auto outRow = [&](std::size_t r) { return static_cast<short*>(zArray2_Row(output, r)); };
  auto ringRow = [&](std::size_t r) {
    return static_cast<short*>(zArray2_Row(ring, r % ringRows));
  };

  if (halfY == 0) {
    // The column window holds the cell alone: the row means are the result.
    for (std::size_t r = 0; r < rows; ++r) average.RowMeans(inRow(r), outRow(r));
    return;
  }
  for (std::size_t r = 0; r < halfY && r < rows; ++r) {
    average.RowMeans(inRow(r), ringRow(r));
    average.AddColumn(ringRow(r), true);
  }
  for (std::size_t k = 0; k < rows; ++k) {
    // Remove before producing: the leaving row's ring slot is the one the new row takes.
    if (k >= halfY + 1) average.AddColumn(ringRow(k - halfY - 1), false);
    if (k + halfY < rows) {
      average.RowMeans(inRow(k + halfY), ringRow(k + halfY));
      average.AddColumn(ringRow(k + halfY), true);
    }
    average.ColumnMeans(ringRow(k), outRow(k));
  }
}

}  // namespace

SurfaceFilter::SurfaceFilter(const Ty::Object<void*>& input, const Ty::Object<void*>& output,
                             void* allocator) {
  const Site site{filter::kModule, "Ro::Vision::SurfaceFilter::SurfaceFilter"};
  if (!input || !output || zArray2_ItemType(input) != zTypeOf(z16s) ||
      zArray2_ItemType(output) != zTypeOf(z16s) || zArray2_Rows(input) != zArray2_Rows(output) ||
      zArray2_Columns(input) != zArray2_Columns(output)) {
    Throw(site, 2004, kInvalidArgument);
  }
  impl_ = new Impl;
  impl_->input = input.Get();
  impl_->output = output.Get();
  impl_->allocator = allocator;
}

SurfaceFilter::~SurfaceFilter() {
  delete impl_;
}

SurfaceFilter& SurfaceFilter::Average(Point2d<unsigned long long> size, int keepNulls) {
  const Site site{filter::kModule, "Ro::Vision::SurfaceFilter::Average"};
  Impl& s = *impl_;
  if (!s.CheckConditions(size)) return *this;
  const std::size_t rows = zArray2_Rows(s.input);
  const std::size_t columns = zArray2_Columns(s.input);
  if (rows == 0 || columns == 0) {
    s.applied = 1;
    return *this;
  }
  // A half window reaching past the map behaves as one that just covers it.
  const std::size_t halfX =
      static_cast<std::size_t>(std::min<unsigned long long>(size.x / 2, columns));
  const std::size_t halfY =
      static_cast<std::size_t>(std::min<unsigned long long>(size.y / 2, rows));
  const std::size_t mostValues =
      std::max(std::min(2 * halfX + 1, columns), std::min(2 * halfY + 1, rows));
  const bool keep = keepNulls != 0;
  if (mostValues <= sa::kMaxFastCount) {
    AverageMap<std::int32_t, true>(site, s.input, s.output, halfX, halfY, keep, s.allocator);
  } else if (mostValues <= kMaxInt32Count) {
    AverageMap<std::int32_t, false>(site, s.input, s.output, halfX, halfY, keep, s.allocator);
  } else {
    AverageMap<std::int64_t, false>(site, s.input, s.output, halfX, halfY, keep, s.allocator);
  }
  s.applied = 1;
  return *this;
}

}  // namespace Vision
}  // namespace Ro
