#include <RoVision/Filter/PercentileHistogramPrivate.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

namespace ph = Ro::Vision::percentile_histogram;

#if RO_PERCENTILE_AVX2

// Random counts with the extremes the filter meets: empty bins, counts that wrap in between
// (sub larger than dst + add) and bins near 65535.
TEST(PercentileHistogramTest, Avx2StepEqualsPlain) {
  if (!ph::HasAvx2()) GTEST_SKIP() << "no AVX2 on this machine";
  std::mt19937 random(3);
  std::uniform_int_distribution<int> count(0, 65535);
  for (std::size_t n : {std::size_t(16), std::size_t(256)}) {
    std::vector<std::uint16_t> dst(n), add(n), sub(n);
    for (std::size_t i = 0; i < n; ++i) {
      dst[i] = static_cast<std::uint16_t>(i % 3 == 0 ? 0 : count(random));
      add[i] = static_cast<std::uint16_t>(count(random));
      sub[i] = static_cast<std::uint16_t>(i % 5 == 0 ? 65535 : count(random));
    }
    auto plain = dst;
    ph::AddSubPlain(plain.data(), add.data(), sub.data(), n);
    ph::AddSubAvx2(dst.data(), add.data(), sub.data(), n);
    EXPECT_EQ(dst, plain) << n << " counts";
  }
}

// Every rank below the total of a block of 16 counts, over sparse, dense and one-bin blocks
// (one holding the 16-bit maximum).
TEST(PercentileHistogramTest, Avx2FindEqualsPlain) {
  if (!ph::HasAvx2()) GTEST_SKIP() << "no AVX2 on this machine";
  std::mt19937 random(4);
  std::vector<std::vector<std::uint16_t>> blocks = {
      {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1},
      {1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0},
      {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 65535},
      {3, 0, 2, 0, 0, 7, 1, 0, 4, 0, 0, 0, 9, 0, 0, 2}};
  std::uniform_int_distribution<int> count(0, 4000);
  for (int b = 0; b < 3; ++b) {
    std::vector<std::uint16_t> block(16);
    for (auto& c : block) c = static_cast<std::uint16_t>(count(random));
    blocks.push_back(block);
  }
  for (const auto& block : blocks) {
    std::size_t total = 0;
    for (auto c : block) total += c;
    for (std::size_t rest = 0; rest < total; rest += (total > 2000 ? 7 : 1)) {
      const ph::Found plain = ph::FindPlain(block.data(), rest);
      const ph::Found fast = ph::FindAvx2(block.data(), rest);
      ASSERT_EQ(fast.index, plain.index) << "rest " << rest;
      ASSERT_EQ(fast.below, plain.below) << "rest " << rest;
    }
    const ph::Found last = ph::FindAvx2(block.data(), total - 1);
    EXPECT_EQ(last.index, ph::FindPlain(block.data(), total - 1).index);
  }
}

#endif

}  // namespace
