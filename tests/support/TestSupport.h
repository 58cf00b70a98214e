// Helpers shared by the tests: a counting allocator that fails on request and checks for leaks,
// builders for arrays from literals, and a check of the status an operation raises.
#ifndef ROVISION_TESTS_TESTSUPPORT_H
#define ROVISION_TESTS_TESTSUPPORT_H

#include <TyApi/TyApi.h>
#include <gtest/gtest.h>
#include <zApi/zApi.h>

#include <RoVision/Common/ScanRecords.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace rotest {

// Owns a counting allocator for one test.
class CountingAllocator {
 public:
  CountingAllocator();
  ~CountingAllocator();
  CountingAllocator(const CountingAllocator&) = delete;
  CountingAllocator& operator=(const CountingAllocator&) = delete;

  zAlloc get() const { return alloc_; }
  operator zAlloc() const { return alloc_; }
  zSize LiveBytes() const { return zCountingAlloc_LiveBytes(alloc_); }
  zSize LiveBlocks() const { return zCountingAlloc_LiveBlocks(alloc_); }
  zSize Allocations() const { return zCountingAlloc_Allocations(alloc_); }
  // The n-th allocation from now fails (1 = the next one).
  void FailAfter(zSize n) { zCountingAlloc_FailAfter(alloc_, n); }

 private:
  zAlloc alloc_ = nullptr;
};

// A fixture whose allocator must have nothing left alive when the test ends.
class LeakCheckedTest : public ::testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(alloc_.LiveBytes(), 0u) << "bytes leaked";
    EXPECT_EQ(alloc_.LiveBlocks(), 0u) << "blocks leaked";
  }
  CountingAllocator alloc_;
};

// The Ty::Exception that `action` raised, or nothing when it returned normally. Any other
// exception fails the test.
std::optional<Ty::Exception> CatchTy(const std::function<void()>& action);

// Runs `action` with the n-th allocation failing, for n = 1, 2, ... until the action succeeds;
// every failing run must raise Ty::Exception with the allocator's memory status and leave no
// byte alive. Returns the number of allocations the successful run made.
zSize ExpectEveryAllocationFailureRaised(CountingAllocator& alloc,
                                         const std::function<void()>& action);

// Builds a zArray2 from rows of values (owned by the returned wrapper).
template <class T>
Ty::Object<void*> MakeArray2(zType type, const std::vector<std::vector<T>>& rows,
                             zAlloc alloc = nullptr) {
  const zSize columns = rows.empty() ? 0 : rows[0].size();
  zArray2 array = nullptr;
  EXPECT_EQ(zArray2_Construct(&array, type, rows.size(), columns, alloc), zOK);
  for (zSize r = 0; r < rows.size(); ++r) {
    for (zSize c = 0; c < columns; ++c) static_cast<T*>(zArray2_Row(array, r))[c] = rows[r][c];
  }
  return Ty::Object<void*>(array);
}

template <class T>
std::vector<std::vector<T>> ReadArray2(void* array) {
  std::vector<std::vector<T>> rows(zArray2_Rows(array));
  for (zSize r = 0; r < rows.size(); ++r) {
    const T* row = static_cast<const T*>(zArray2_Row(array, r));
    rows[r].assign(row, row + zArray2_Columns(array));
  }
  return rows;
}

// One expected failure of a table: the action, the status it raises and, where given, the line,
// the function and the message. ExpectFailures checks every case (and the module file, where
// given) and names the case in each failure.
struct Failure {
  const char* name;
  std::function<void()> action;
  zStatus status;
  int line = 0;                    // 0: not checked
  const char* function = nullptr;  // null: not checked
  const char* message = nullptr;   // null: not checked
};
void ExpectFailures(const std::vector<Failure>& cases, const char* file = nullptr);

// The x, y and z of a point against expected values, within `tolerance`.
template <class P>
void ExpectNear3(const P& p, double x, double y, double z, double tolerance,
                 const std::string& what = "") {
  EXPECT_NEAR(p.x, x, tolerance) << what << " x";
  EXPECT_NEAR(p.y, y, tolerance) << what << " y";
  EXPECT_NEAR(p.z, z, tolerance) << what << " z";
}

// A height map (z16s) with an optional intensity layer (z8u) built from rows.
Ro::Vision::Surface MakeSurface(const std::vector<std::vector<short>>& heights, zPoint3d64f offset,
                                zPoint3d64f scale, zAlloc alloc = nullptr,
                                const std::vector<std::vector<unsigned char>>& intensity = {});

}  // namespace rotest

// Expects `statement` to raise Ty::Exception with `status` (and the function name, when given).
#define EXPECT_TY_STATUS(statement, status)                          \
  do {                                                               \
    auto caught_ = ::rotest::CatchTy([&] { statement; });            \
    ASSERT_TRUE(caught_.has_value()) << #statement " did not throw"; \
    EXPECT_EQ(caught_->Status(), (status)) << caught_->what();       \
  } while (0)

#define EXPECT_TY_THROW(statement, status, function)                          \
  do {                                                                        \
    auto caught_ = ::rotest::CatchTy([&] { statement; });                     \
    ASSERT_TRUE(caught_.has_value()) << #statement " did not throw";          \
    EXPECT_EQ(caught_->Status(), (status)) << caught_->what();                \
    EXPECT_EQ(caught_->Function(), std::string(function)) << caught_->what(); \
  } while (0)

#endif
