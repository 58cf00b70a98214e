#include "zRandom.h"

#include <atomic>

namespace {
// SplitMix64: one atomic add per draw makes the generator lock-free and thread-safe, and every
// state yields a well-mixed output.
std::atomic<z64u> g_state{0x853C49E6748FEA9Bull};
}  // namespace

z64u zRandomSize(void) {
  z64u z =
      g_state.fetch_add(0x9E3779B97F4A7C15ull, std::memory_order_relaxed) + 0x9E3779B97F4A7C15ull;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

void zRandom_Seed(z64u seed) {
  g_state.store(seed, std::memory_order_relaxed);
}
