#include "TestSupport.h"

namespace rotest {

CountingAllocator::CountingAllocator() {
  const zStatus status = zCountingAlloc_Construct(&alloc_);
  if (status != zOK) throw std::runtime_error("counting allocator");
}

CountingAllocator::~CountingAllocator() {
  // Destroying it while blocks are alive would lose track of them: leave it then, the leak is
  // reported by the fixture.
  if (zCountingAlloc_LiveBlocks(alloc_) == 0) zCountingAlloc_Destroy(alloc_);
}

std::optional<Ty::Exception> CatchTy(const std::function<void()>& action) {
  try {
    action();
  } catch (const Ty::Exception& e) {
    return e;
  } catch (const std::exception& e) {
    ADD_FAILURE() << "unexpected exception: " << e.what();
  }
  return std::nullopt;
}

zSize ExpectEveryAllocationFailureRaised(CountingAllocator& alloc,
                                         const std::function<void()>& action) {
  for (zSize n = 1; n < 10000; ++n) {
    const zSize before = alloc.Allocations();
    alloc.FailAfter(n);
    std::optional<Ty::Exception> caught = CatchTy(action);
    alloc.FailAfter(0);
    EXPECT_EQ(alloc.LiveBytes(), 0u) << "leak after failing allocation " << n;
    if (!caught) return alloc.Allocations() - before;
    EXPECT_EQ(caught->Status(), zERROR_MEMORY) << caught->what();
  }
  ADD_FAILURE() << "action never succeeded";
  return 0;
}

}  // namespace rotest
