// The percentile filter's tile kernel for AVX2: this file alone is compiled with -mavx2 (on
// x86-64, where the build defines RO_PERCENTILE_AVX2_KERNEL), and the filter calls it only on a
// processor that has AVX2.
#if RO_PERCENTILE_AVX2_KERNEL
#define RO_PERCENTILE_KERNEL_NAMESPACE percentile_avx2
#include "PercentileWorkersImpl.h"

namespace Ro {
namespace Vision {
namespace percentile_kernel {

zParallelWorker Avx2Worker(bool heights, std::size_t windowCells, bool histogram) {
  return percentile_avx2::WorkerFor(heights, windowCells, histogram);
}

}  // namespace percentile_kernel
}  // namespace Vision
}  // namespace Ro
#endif
