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

void ExpectFailures(const std::vector<Failure>& cases, const char* file) {
  for (const Failure& c : cases) {
    std::optional<Ty::Exception> caught = CatchTy(c.action);
    if (!caught) {
      ADD_FAILURE() << c.name << ": did not throw";
      continue;
    }
    EXPECT_EQ(caught->Status(), c.status) << c.name << ": " << caught->what();
    if (c.line) {
      EXPECT_EQ(caught->Line(), c.line) << c.name << ": " << caught->what();
    }
    if (c.function) {
      EXPECT_EQ(caught->Function(), std::string(c.function)) << c.name;
    }
    if (c.message) {
      EXPECT_EQ(caught->Message(), std::string(c.message)) << c.name;
    }
    if (file) {
      EXPECT_EQ(caught->File(), std::string(file)) << c.name;
    }
  }
}

Ro::Vision::Surface MakeSurface(const std::vector<std::vector<short>>& heights, zPoint3d64f offset,
                                zPoint3d64f scale, zAlloc alloc,
                                const std::vector<std::vector<unsigned char>>& intensity) {
  Ro::Vision::Surface s;
  s.offset = offset;
  s.scale = scale;
  s.layers.push_back(MakeArray2<short>(zTypeOf(z16s), heights, alloc));
  if (!intensity.empty())
    s.layers.push_back(MakeArray2<unsigned char>(zTypeOf(z8u), intensity, alloc));
  return s;
}

}  // namespace rotest
