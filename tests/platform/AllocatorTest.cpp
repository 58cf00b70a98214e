#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

#include "support/TestSupport.h"

namespace {

TEST(Allocator, BlocksAreAlignedAndZeroFilledAndNullArgumentsChecked) {
  for (zSize size : {zSize(1), zSize(100), zSize(4096), zSize(3) << 20}) {
    void* block = nullptr;
    ASSERT_EQ(zMemAlloc(nullptr, size, &block), zOK);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u) << size;
    const auto* bytes = static_cast<const unsigned char*>(block);
    bool zero = bytes[size - 1] == 0;
    for (zSize i = 0; i < size; i += 97) zero = zero && bytes[i] == 0;
    EXPECT_TRUE(zero) << size;
    EXPECT_EQ(zMemFree(nullptr, block), zOK);
  }
  EXPECT_EQ(zMemFree(nullptr, nullptr), zOK);
  EXPECT_EQ(zMemAlloc(nullptr, 8, nullptr), zERROR_PARAMETER);
  char src[4] = {1, 2, 3, 4}, dst[4] = {};
  EXPECT_EQ(zMemCopy(dst, src, 4), zOK);
  EXPECT_EQ(dst[3], 4);
  EXPECT_EQ(zMemCopy(nullptr, src, 4), zERROR_PARAMETER);
  EXPECT_EQ(zMemCopy(nullptr, nullptr, 0), zOK);
}

TEST(Allocator, CountingAllocatorTracksLiveBytesAndFailsOnRequest) {
  rotest::CountingAllocator alloc;
  void *a = nullptr, *b = nullptr, *c = nullptr, *e = nullptr;
  ASSERT_EQ(zMemAlloc(alloc, 100, &a), zOK);
  ASSERT_EQ(zMemAlloc(alloc, 5 << 20, &b), zOK);
  EXPECT_EQ(alloc.LiveBytes(), 100u + (5u << 20));
  EXPECT_EQ(alloc.LiveBlocks(), 2u);
  alloc.FailAfter(2);
  void* d = reinterpret_cast<void*>(1);
  EXPECT_EQ(zMemAlloc(alloc, 10, &c), zOK);
  EXPECT_EQ(zMemAlloc(alloc, 10, &d), zERROR_MEMORY);
  EXPECT_EQ(d, nullptr);
  EXPECT_EQ(zMemAlloc(alloc, 10, &e), zOK) << "only the armed allocation fails";
  for (void* block : {a, b, c, e}) zMemFree(alloc, block);
  EXPECT_EQ(alloc.LiveBytes(), 0u);
  EXPECT_EQ(alloc.Allocations(), 5u);
}

TEST(Allocator, CountingAllocatorIsThreadSafe) {
  rotest::CountingAllocator alloc;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        void* block = nullptr;
        if (zMemAlloc(alloc, 32, &block) == zOK) zMemFree(alloc, block);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(alloc.LiveBytes(), 0u);
  EXPECT_EQ(alloc.Allocations(), 8000u);
}

}  // namespace
