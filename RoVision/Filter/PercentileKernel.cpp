// The percentile filter's tile kernel for the baseline instruction set.
#define RO_PERCENTILE_KERNEL_NAMESPACE percentile_portable
#include "PercentileKernelImpl.h"

namespace Ro {
namespace Vision {
namespace percentile_kernel {

zParallelWorker PortableWorker(bool heights, bool narrowCounts) {
  return percentile_portable::WorkerFor(heights, narrowCounts);
}

}  // namespace percentile_kernel
}  // namespace Vision
}  // namespace Ro
