// The percentile filter's tile kernel for the baseline instruction set.
#define RO_PERCENTILE_KERNEL_NAMESPACE percentile_portable
#include "PercentileWorkersImpl.h"

namespace Ro {
namespace Vision {
namespace percentile_kernel {

zParallelWorker PortableWorker(bool heights, std::size_t windowCells, bool histogram) {
  return percentile_portable::WorkerFor(heights, windowCells, histogram);
}

}  // namespace percentile_kernel
}  // namespace Vision
}  // namespace Ro
