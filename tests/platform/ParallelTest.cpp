#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/TestSupport.h"

namespace {

struct RowContext {
  zSize rows;
  std::vector<std::atomic<int>>* visits;
};

zStatus CountRows(const zParallelArgs* args, void* context) {
  auto* c = static_cast<RowContext*>(context);
  for (zSize r = zParallelArgs_Begin(args, 0, c->rows); r < zParallelArgs_End(args, 0, c->rows);
       ++r) {
    (*c->visits)[r]++;
  }
  return zOK;
}

Ty::Object<void*> Pool(zSize tasks) {
  zThreadPool pool = nullptr;
  EXPECT_EQ(zThreadPool_Construct(&pool, tasks, nullptr), zOK);
  return Ty::Object<void*>(pool);
}

TEST(Parallel, EveryRowIsHandledExactlyOnceForAnyTaskCount) {
  for (zSize tasks : {1u, 2u, 3u, 8u, 64u}) {
    Ty::Object<void*> pool = Pool(tasks);
    for (zSize rows : {0u, 1u, 5u, 1000u}) {
      std::vector<std::atomic<int>> visits(rows);
      RowContext context{rows, &visits};
      ASSERT_EQ(zParallel_Execute(CountRows, &context, pool), zOK);
      for (zSize r = 0; r < rows; ++r) ASSERT_EQ(visits[r], 1) << tasks << " tasks, row " << r;
    }
  }
  EXPECT_EQ(zThreadPool_Count(nullptr), zThreadPool_Count(zThreadPool_Default()));
  EXPECT_GE(zThreadPool_Count(nullptr), 1u);
}

TEST(Parallel, SharesAreContiguousInTaskOrderAndBalanced) {
  struct Share {
    zSize begin, end;
  };
  std::vector<Share> shares(7);
  auto record = [](const zParallelArgs* args, void* context) -> zStatus {
    auto* out = static_cast<std::vector<Share>*>(context);
    (*out)[zParallelArgs_Index(args)] = {zParallelArgs_Begin(args, 10, 23),
                                         zParallelArgs_End(args, 10, 23)};
    return zParallelArgs_Count(args) == 7 ? zOK : zERROR_STATE;
  };
  Ty::Object<void*> pool = Pool(7);
  ASSERT_EQ(zParallel_Execute(record, &shares, pool), zOK);
  EXPECT_EQ(shares.front().begin, 10u);
  EXPECT_EQ(shares.back().end, 33u);
  for (zSize i = 0; i < shares.size(); ++i) {
    const zSize size = shares[i].end - shares[i].begin;
    EXPECT_TRUE(size == 3 || size == 4) << i;
    if (i > 0) {
      EXPECT_EQ(shares[i].begin, shares[i - 1].end);
    }
  }
}

TEST(Parallel, AFailingStatusComesBackLowestTaskFirst) {
  auto fail = [](const zParallelArgs* args, void*) -> zStatus {
    const zSize index = zParallelArgs_Index(args);
    return index == 2 ? zERROR_FORMAT : index == 3 ? zERROR_MEMORY : zOK;
  };
  Ty::Object<void*> pool = Pool(4);
  EXPECT_EQ(zParallel_Execute(fail, nullptr, pool), zERROR_FORMAT);
  EXPECT_EQ(zParallel_Execute(nullptr, nullptr, pool), zERROR_PARAMETER);
}

TEST(Parallel, AnExceptionIsRethrownOnTheCallersThreadAfterAllTasks) {
  std::atomic<int> finished{0};
  auto work = [](const zParallelArgs* args, void* context) -> zStatus {
    auto* done = static_cast<std::atomic<int>*>(context);
    if (zParallelArgs_Index(args) == 1) {
      throw Ty::Exception(__LINE__, "test", -996, "worker", "task %d", 1);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ++*done;
    return zOK;
  };
  Ty::Object<void*> pool = Pool(4);
  try {
    zParallel_Execute(work, &finished, pool);
    FAIL() << "no exception";
  } catch (const Ty::Exception& e) {
    EXPECT_EQ(e.Status(), -996);
    EXPECT_EQ(e.Message(), "task 1");
  }
  EXPECT_EQ(finished, 3) << "the other tasks ran to the end";
}

zStatus Inner(const zParallelArgs* args, void* context) {
  auto* total = static_cast<std::atomic<zSize>*>(context);
  *total += zParallelArgs_End(args, 0, 10) - zParallelArgs_Begin(args, 0, 10);
  return zOK;
}

zStatus Outer(const zParallelArgs*, void* context) {
  // Each task of the outer call runs a whole parallel call of its own.
  return zParallel_Execute(Inner, context, nullptr);
}

TEST(Parallel, NestedCallsDoNotDeadlock) {
  Ty::Object<void*> pool = Pool(16);
  std::atomic<zSize> total{0};
  ASSERT_EQ(zParallel_Execute(Outer, &total, pool), zOK);
  EXPECT_EQ(total, 16u * 10u);
}

TEST(Parallel, TheCallersThreadTakesPart) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  auto note = [](const zParallelArgs*, void* context) -> zStatus {
    auto* c = static_cast<std::pair<std::mutex*, std::set<std::thread::id>*>*>(context);
    std::lock_guard<std::mutex> lock(*c->first);
    c->second->insert(std::this_thread::get_id());
    return zOK;
  };
  std::pair<std::mutex*, std::set<std::thread::id>*> context{&mutex, &threads};
  Ty::Object<void*> pool = Pool(1);  // one task runs inline
  ASSERT_EQ(zParallel_Execute(note, &context, pool), zOK);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 1u);
}

TEST(Random, SeedingRepeatsTheSequenceAndValuesSpreadOverTheRange) {
  zRandom_Seed(123);
  std::vector<z64u> first;
  for (int i = 0; i < 5; ++i) first.push_back(zRandomSize());
  zRandom_Seed(123);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(zRandomSize(), first[i]);
  int high = 0;
  for (int i = 0; i < 1000; ++i) high += zRandomSize() >> 63;
  EXPECT_GT(high, 400);
  EXPECT_LT(high, 600);
}

TEST(Random, ConcurrentDrawsNeverRepeatAValue) {
  std::vector<std::vector<z64u>> draws(4);
  std::vector<std::thread> threads;
  for (auto& out : draws) {
    threads.emplace_back([&out] {
      for (int i = 0; i < 5000; ++i) out.push_back(zRandomSize());
    });
  }
  for (auto& thread : threads) thread.join();
  std::set<z64u> all;
  for (const auto& out : draws) all.insert(out.begin(), out.end());
  EXPECT_EQ(all.size(), 20000u);
}

}  // namespace
