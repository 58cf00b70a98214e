#include "FilterPercentile.h"

#include <zApi/zArray2.h>
#include <zApi/zMem.h>
#include <zApi/zParallel.h>

#include <algorithm>
#include <vector>

#include "FilterPrivate.h"
#include "PercentileKernelPrivate.h"
#include "PercentilePrivate.h"

namespace Ro {
namespace Vision {

namespace percentile_kernel {

Rank RankOf(std::size_t n, double percentile) {
  const percentile::RankPosition at = percentile::PositionOf(n, percentile);
  return {at.index, at.fraction};
}

bool KernelBuildAvailable(KernelBuild build) {
  if (build == KernelBuild::kPortable) return true;
#if RO_PERCENTILE_AVX2_KERNEL
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

}  // namespace percentile_kernel

namespace {

namespace pk = percentile_kernel;

const Site kSite{filter::kModule, "Ro::Vision::FilterPercentile"};

// The rank of every window count n the 16-bit kernel can meet, worked out once per call rather
// than once per cell.
std::vector<pk::Rank> RankTable(std::size_t windowCells, double percentile) {
  std::vector<pk::Rank> ranks(windowCells + 1);
  ranks[0] = {0, 0};
  for (std::size_t n = 1; n <= windowCells; ++n) ranks[n] = pk::RankOf(n, percentile);
  return ranks;
}

void Run(pk::KernelBuild build, pk::KernelPath path, const Ty::Object<void*>& input,
         Point2d<unsigned long long> size, double percentile, int keepNull,
         Ty::Object<void*>& output, void* allocator, void* pool) {
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
  if (!pk::KernelBuildAvailable(build)) {
    Throw(kSite, __LINE__, kNotSupported, "this kernel build cannot run here");
  }
  // Even sizes widen to the next odd size, as the surface filter does.
  const unsigned long long halfX = size.x / 2;
  const unsigned long long halfY = size.y / 2;
  const std::size_t rows = zArray2_Rows(input);
  const std::size_t columns = zArray2_Columns(input);

  Ty::Object<void*> result;
  Check(kSite, __LINE__, zArray2_Construct(result.Address(), type, rows, columns, allocator));
  if (rows > 0 && columns > 0) {
    pk::Job job{zArray2_Data(input),
                zArray2_Data(result),
                rows,
                columns,
                static_cast<std::size_t>(std::min<unsigned long long>(halfX, columns - 1)),
                static_cast<std::size_t>(std::min<unsigned long long>(halfY, rows - 1)),
                percentile,
                keepNull != 0,
                allocator,
                nullptr,
                0};
    // Below this many cells per window the ranks are looked up, not worked out per cell.
    const std::size_t windowCells = (2 * job.halfX + 1) * (2 * job.halfY + 1);
    std::vector<pk::Rank> ranks;
    if (windowCells <= 65535) {
      ranks = RankTable(windowCells, percentile);
      job.ranks = ranks.data();
      job.rankCount = ranks.size();
    }
    const bool heights = type == TypeOf<z16s>();
    const bool histogram = path == pk::KernelPath::kHistogram;
#if RO_PERCENTILE_AVX2_KERNEL
    const zParallelWorker worker = build == pk::KernelBuild::kAvx2
                                       ? pk::Avx2Worker(heights, windowCells, histogram)
                                       : pk::PortableWorker(heights, windowCells, histogram);
#else
    const zParallelWorker worker = pk::PortableWorker(heights, windowCells, histogram);
#endif
    Check(kSite, __LINE__, zParallel_Execute(worker, &job, pool));
  }
  output = result;
}

}  // namespace

namespace percentile_kernel {

void FilterPercentileWithKernel(KernelBuild build, KernelPath path, const Ty::Object<void*>& input,
                                Point2d<unsigned long long> size, double percentile, int keepNull,
                                Ty::Object<void*>& output, void* allocator, void* pool) {
  Run(build, path, input, size, percentile, keepNull, output, allocator, pool);
}

}  // namespace percentile_kernel

void FilterPercentile(const Ty::Object<void*>& input, Point2d<unsigned long long> size,
                      double percentile, int keepNull, Ty::Object<void*>& output, void* allocator,
                      void* pool) {
  const pk::KernelBuild build = pk::KernelBuildAvailable(pk::KernelBuild::kAvx2)
                                    ? pk::KernelBuild::kAvx2
                                    : pk::KernelBuild::kPortable;
  Run(build, pk::KernelPath::kFastest, input, size, percentile, keepNull, output, allocator, pool);
}

}  // namespace Vision
}  // namespace Ro
