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

// Windows have odd sides, so their cell counts are odd: worker I sorts 2I + 1 cells.
template <class T, std::size_t... I>
zParallelWorker SmallWindowWorker(std::size_t cells, std::index_sequence<I...>) {
  static constexpr zParallelWorker workers[] = {&SmallWindow<T, int(2 * I + 1)>...};
  return cells % 2 == 1 && cells / 2 < sizeof...(I) ? workers[cells / 2] : nullptr;
}

// Small windows are sorted; larger ones ranked through histograms, in 16-bit counts while a
// window holds at most 65535 cells.
template <class T>
zParallelWorker WorkerOf(std::size_t windowCells, bool histogram) {
  if (!histogram && windowCells <= std::size_t(kMaxSmallWindow)) {
    return SmallWindowWorker<T>(windowCells,
                                std::make_index_sequence<std::size_t(kMaxSmallWindow + 1) / 2>{});
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
