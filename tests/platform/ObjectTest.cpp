#include <gtest/gtest.h>

#include <utility>

#include "support/TestSupport.h"

namespace {

using ObjectTest = rotest::LeakCheckedTest;

zArray1 NewArray(zAlloc alloc) {
  zArray1 array = nullptr;
  EXPECT_EQ(zArray1_Construct(&array, zTypeOf(z8u), 4, alloc), zOK);
  return array;
}

TEST_F(ObjectTest, ShareAndDestroyCountReferencesAndObjectsKnowTheirClass) {
  zArray1 array = NewArray(alloc_);
  EXPECT_EQ(zObject_RefCount(array), 1);
  EXPECT_EQ(zObject_Share(array), zOK);
  EXPECT_EQ(zObject_RefCount(array), 2);
  EXPECT_EQ(zObject_Destroy(array), zOK);
  EXPECT_EQ(zObject_RefCount(array), 1);
  EXPECT_GT(alloc_.LiveBytes(), 0u);
  EXPECT_EQ(zObject_Class(array), zClassOf(zArray1));
  EXPECT_STREQ(zClass_Name(zObject_Class(array)), "zArray1");
  EXPECT_EQ(zObject_Allocator(array), alloc_.get());
  EXPECT_EQ(zObject_Destroy(array), zOK);  // frees it
  EXPECT_EQ(zObject_Share(nullptr), zOK);
  EXPECT_EQ(zObject_Destroy(nullptr), zOK);
  EXPECT_EQ(zObject_RefCount(nullptr), 0);
}

TEST_F(ObjectTest, WrapperCopyShareAssignReleaseAndReset) {
  zArray1 a = NewArray(alloc_);
  zArray1 b = NewArray(alloc_);
  {
    Ty::Object<void*> first(a);  // takes the caller's reference
    EXPECT_EQ(zObject_RefCount(a), 1);
    Ty::Object<void*> copy(first);
    EXPECT_EQ(zObject_RefCount(a), 2);
    Ty::Object<void*> other(b, true);  // shares: the test keeps its own reference to b
    EXPECT_EQ(zObject_RefCount(b), 2);
    other = first;  // releases b, shares a
    EXPECT_EQ(zObject_RefCount(b), 1);
    EXPECT_EQ(zObject_RefCount(a), 3);
    other = other;  // self-assignment keeps the object alive
    EXPECT_EQ(zObject_RefCount(a), 3);
    Ty::Object<void*> moved(std::move(copy));
    EXPECT_TRUE(copy.IsNull());
    EXPECT_EQ(zObject_RefCount(a), 3);
    moved.Reset(b, true);
    EXPECT_EQ(zObject_RefCount(a), 2);
    EXPECT_EQ(zObject_RefCount(b), 2);
    moved.Reset(b, false);  // the test hands its own reference of the held object over
    EXPECT_EQ(zObject_RefCount(b), 1) << "one wrapper holds one reference";
    zObject_Share(b);  // that reference was the test's own; take one back for the end
  }
  EXPECT_EQ(zObject_RefCount(b), 1);
  zObject_Destroy(b);
}

// The holder gives its reference up; the leak check proves that taking it back through the
// address hands ownership over again.
TEST_F(ObjectTest, DetachAndAddressHandOverOwnership) {
  Ty::Object<void*> holder(NewArray(alloc_));
  void* raw = holder.Detach();
  EXPECT_TRUE(holder.IsNull());
  EXPECT_EQ(zObject_RefCount(raw), 1);
  *holder.Address() = raw;  // as an operation returning through void** would
}

}  // namespace
