#include <RoVision/Common/alphanum.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace rv = Ro::Vision;

namespace {

int Sign(int v) {
  return (v > 0) - (v < 0);
}

TEST(Alphanum, ComparisonRules) {
  struct Case {
    const char* l;
    const char* r;
    int sign;
  };
  const std::vector<Case> cases = {
      {"a2", "a10", -1},  // numbers compare by value
      {"a02", "a2", 0},   // leading zeros do not count
      {"1a", "a1", -1},   // a digit sorts before a non-digit
      {"a", "1", 1},
      {"abc", "abcd", -1},  // a prefix sorts first
      {"", "a", -1},
      {"", "", 0},
      {"x10y2", "x10y10", -1},  // text and numbers alternate
      {"b", "a", 1},
      {"\xC3\xA9", "e", -1},    // bytes from 128 up are negative as signed 8-bit values
      {"file", "File", 1},      // plain byte difference, no case folding
      {"4294967297", "2", -1},  // wraps modulo 2^32: 4294967297 reads as 1
  };
  for (const Case& c : cases) {
    EXPECT_EQ(Sign(rv::CompareAlphanum(c.l, c.r)), c.sign) << c.l << " vs " << c.r;
    EXPECT_EQ(Sign(rv::CompareAlphanum(c.r, c.l)), -c.sign) << c.r << " vs " << c.l;
  }
  EXPECT_EQ(rv::CompareAlphanum("b", "a"), 1) << "the byte difference itself";
}

TEST(Alphanum, SortsVectorsAndLists) {
  std::vector<std::string> names = {"scan10.png", "scan2.png", "scan1.png", "Scan3.png", "scan"};
  rv::SortStringByAlphanum(names);
  EXPECT_EQ(names, (std::vector<std::string>{"Scan3.png", "scan", "scan1.png", "scan2.png",
                                             "scan10.png"}));
  const char* items[] = {"z9", "z100", "z10"};
  Ty::Object<void*> list;
  ASSERT_EQ(zArrayList_Construct(list.Address(), zTypeOf(zPtr), 3, nullptr), zOK);
  ASSERT_EQ(zArrayList_Import(list, items, 3), zOK);
  rv::SortStringByAlphanum(list);
  const auto* sorted = static_cast<const char**>(zArrayList_Data(list));
  EXPECT_EQ(std::vector<std::string>(sorted, sorted + 3),
            (std::vector<std::string>{"z9", "z10", "z100"}));
}

TEST(Alphanum, ListOverloadRefusesBadLists) {
  EXPECT_TY_THROW(rv::SortStringByAlphanum(static_cast<void*>(nullptr)), -997,
                  "Ro::Vision::SortStringByAlphanum");
  Ty::Object<void*> list;
  ASSERT_EQ(zArrayList_Construct(list.Address(), zTypeOf(z16s), 3, nullptr), zOK);
  EXPECT_TY_STATUS(rv::SortStringByAlphanum(list), -984);
}

}  // namespace
