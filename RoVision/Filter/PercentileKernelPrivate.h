// Private to the Filter module: the tile kernel of the percentile filter. It is compiled twice
// from PercentileKernelImpl.h, once for the baseline instruction set and once for AVX2, and the
// filter picks one at run time; the two give the same bits (tests run both).
#ifndef ROVISION_FILTER_PERCENTILEKERNELPRIVATE_H
#define ROVISION_FILTER_PERCENTILEKERNELPRIVATE_H

#include <TyApi/TyObject.h>
#include <zApi/zParallel.h>

#include <cstddef>
#include <cstdint>

#include "../Common/Export.h"
#include "../Common/Records.h"

namespace Ro {
namespace Vision {
namespace percentile_kernel {

// Where the p-th percentile lies among n sorted values: rank `index` and the fraction of the way
// to rank index + 1.
struct Rank {
  std::size_t index;
  double fraction;
};

// The rank rule for any n (PercentilePrivate.h), out of line so that both kernel builds share
// one compiled copy.
Rank RankOf(std::size_t n, double percentile);

// One call of the filter, shared read-only by its tasks.
struct Job {
  const void* input;
  void* output;
  std::size_t rows, columns;
  std::size_t halfX, halfY;  // window radii, cut to the map
  double percentile;
  bool keepNull;
  void* allocator;
  // ranks[n] for n = 0 .. rankCount - 1 when the window holds fewer cells than that; otherwise
  // the kernel asks RankOf.
  const Rank* ranks;
  std::size_t rankCount;
};

// A worker for zParallel_Execute over a Job, by element type (z16s heights or z8u intensities)
// and window size: small windows are sorted unless `histogram` asks for the histogram path.
zParallelWorker PortableWorker(bool heights, std::size_t windowCells, bool histogram);
#if RO_PERCENTILE_AVX2_KERNEL
zParallelWorker Avx2Worker(bool heights, std::size_t windowCells, bool histogram);
#endif

// Which build of the kernel runs.
enum class KernelBuild { kPortable, kAvx2 };

// Which path ranks the windows: the fastest for the window size, or the histograms always (tests
// compare the paths; the benchmark times the histograms at every size).
enum class KernelPath { kFastest, kHistogram };

// Whether this library holds the build and the processor can run it.
RO_API bool KernelBuildAvailable(KernelBuild build);

// FilterPercentile with the kernel build and path chosen instead of the fastest ones available.
// Raises -996 when the build is not available.
RO_API void FilterPercentileWithKernel(KernelBuild build, KernelPath path,
                                       const Ty::Object<void*>& input,
                                       Point2d<unsigned long long> size, double percentile,
                                       int keepNull, Ty::Object<void*>& output, void* allocator,
                                       void* pool);

}  // namespace percentile_kernel
}  // namespace Vision
}  // namespace Ro

#endif
