// Private to the Filter module: the choice of the percentile filter's path for one call, included
// by each kernel build inside its own namespace.
#ifndef RO_PERCENTILE_KERNEL_NAMESPACE
#error "define RO_PERCENTILE_KERNEL_NAMESPACE before including PercentileWorkersImpl.h"
#endif

#include "PercentileKernelImpl.h"
#include "PercentileSmallWindowImpl.h"

namespace Ro {
namespace Vision {
namespace RO_PERCENTILE_KERNEL_NAMESPACE {
namespace {

// Windows have odd sides, so their cell counts are odd.
template <class T>
zParallelWorker SmallWindowWorker(std::size_t cells) {
  switch (cells) {
    case 1:
      return &SmallWindow<T, 1>;
    case 3:
      return &SmallWindow<T, 3>;
    case 5:
      return &SmallWindow<T, 5>;
    case 7:
      return &SmallWindow<T, 7>;
    case 9:
      return &SmallWindow<T, 9>;
    case 11:
      return &SmallWindow<T, 11>;
    case 13:
      return &SmallWindow<T, 13>;
    case 15:
      return &SmallWindow<T, 15>;
    case 17:
      return &SmallWindow<T, 17>;
    case 19:
      return &SmallWindow<T, 19>;
    case 21:
      return &SmallWindow<T, 21>;
    case 23:
      return &SmallWindow<T, 23>;
    case 25:
      return &SmallWindow<T, 25>;
    default:
      return nullptr;
  }
}

// Small windows are sorted; larger ones ranked through histograms, in 16-bit counts while a
// window holds at most 65535 cells.
template <class T>
zParallelWorker WorkerOf(std::size_t windowCells, bool histogram) {
  if (!histogram && windowCells <= std::size_t(kMaxSmallWindow)) {
    return SmallWindowWorker<T>(windowCells);
  }
  return windowCells <= 65535 ? &RankRows<T, std::uint16_t> : &RankRows<T, std::uint32_t>;
}

zParallelWorker WorkerFor(bool heights, std::size_t windowCells, bool histogram) {
  return heights ? WorkerOf<short>(windowCells, histogram)
                 : WorkerOf<unsigned char>(windowCells, histogram);
}

}  // namespace
}  // namespace RO_PERCENTILE_KERNEL_NAMESPACE
}  // namespace Vision
}  // namespace Ro
