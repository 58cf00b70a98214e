#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "support/TestSupport.h"

namespace {

// Runs `task` as the worker of a parallel call, so that the tests can capture what they need.
using Task = std::function<zStatus(const zParallelArgs*)>;
zStatus RunTask(const zParallelArgs* args, void* task) {
  return (*static_cast<Task*>(task))(args);
}
zStatus Execute(zThreadPool pool, Task task) {
  return zParallel_Execute(RunTask, &task, pool);
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
      auto visit = [&](const zParallelArgs* args) {
        const zSize end = zParallelArgs_End(args, 0, rows);
        for (zSize r = zParallelArgs_Begin(args, 0, rows); r < end; ++r) visits[r]++;
        return zOK;
      };
      ASSERT_EQ(Execute(pool, visit), zOK);
      for (zSize r = 0; r < rows; ++r) ASSERT_EQ(visits[r], 1) << tasks << " tasks, row " << r;
    }
  }
  EXPECT_EQ(zThreadPool_Count(nullptr), zThreadPool_Count(zThreadPool_Default()));
  EXPECT_GE(zThreadPool_Count(nullptr), 1u);
}

TEST(Parallel, SharesAreContiguousInTaskOrderAndBalanced) {
  std::vector<std::pair<zSize, zSize>> shares(7);
  auto record = [&](const zParallelArgs* args) {
    shares[zParallelArgs_Index(args)] = {zParallelArgs_Begin(args, 10, 23),
                                         zParallelArgs_End(args, 10, 23)};
    return zParallelArgs_Count(args) == 7 ? zOK : zERROR_STATE;
  };
  ASSERT_EQ(Execute(Pool(7), record), zOK);
  EXPECT_EQ(shares.front().first, 10u);
  EXPECT_EQ(shares.back().second, 33u);
  for (zSize i = 0; i < shares.size(); ++i) {
    const zSize size = shares[i].second - shares[i].first;
    EXPECT_TRUE(size == 3 || size == 4) << i;
    if (i > 0) {
      EXPECT_EQ(shares[i].first, shares[i - 1].second) << i;
    }
  }
}

TEST(Parallel, AFailingStatusComesBackLowestTaskFirst) {
  auto fail = [](const zParallelArgs* args) {
    const zSize index = zParallelArgs_Index(args);
    return index == 2 ? zERROR_FORMAT : index == 3 ? zERROR_MEMORY : zOK;
  };
  EXPECT_EQ(Execute(Pool(4), fail), zERROR_FORMAT);
  EXPECT_EQ(zParallel_Execute(nullptr, nullptr, Pool(4)), zERROR_PARAMETER);
}

TEST(Parallel, AnExceptionIsRethrownOnTheCallersThreadAfterAllTasks) {
  std::atomic<int> finished{0};
  auto work = [&](const zParallelArgs* args) -> zStatus {
    if (zParallelArgs_Index(args) == 1) {
      throw Ty::Exception(__LINE__, "test", -996, "worker", "task %d", 1);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ++finished;
    return zOK;
  };
  try {
    Execute(Pool(4), work);
    FAIL() << "no exception";
  } catch (const Ty::Exception& e) {
    EXPECT_EQ(e.Status(), -996);
    EXPECT_EQ(e.Message(), "task 1");
  }
  EXPECT_EQ(finished, 3) << "the other tasks ran to the end";
}

TEST(Parallel, NestedCallsDoNotDeadlock) {
  std::atomic<zSize> total{0};
  auto inner = [&](const zParallelArgs* args) {
    total += zParallelArgs_End(args, 0, 10) - zParallelArgs_Begin(args, 0, 10);
    return zOK;
  };
  // Each task of the outer call runs a whole parallel call of its own on the default pool.
  ASSERT_EQ(Execute(Pool(16), [&](const zParallelArgs*) { return Execute(nullptr, inner); }), zOK);
  EXPECT_EQ(total, 16u * 10u);
}

TEST(Parallel, TheCallersThreadTakesPart) {
  std::mutex mutex;
  std::set<std::thread::id> threads;
  auto note = [&](const zParallelArgs*) {
    std::lock_guard<std::mutex> lock(mutex);
    threads.insert(std::this_thread::get_id());
    return zOK;
  };
  ASSERT_EQ(Execute(Pool(1), note), zOK);  // one task runs inline
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
