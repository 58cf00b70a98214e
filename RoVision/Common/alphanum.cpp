#include "alphanum.h"

#include <zApi/zArrayList.h>

#include <algorithm>
#include <cstdint>

#include "ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

bool IsDigit(char c) {
  const int8_t v = static_cast<int8_t>(c);
  return v >= 48 && v <= 57;
}

uint32_t ReadNumber(const char*& s) {
  uint32_t value = 0;
  while (*s && IsDigit(*s)) {
    value = value * 10u + static_cast<uint32_t>(*s - '0');
    ++s;
  }
  return value;
}

}  // namespace

int CompareAlphanum(const char* l, const char* r) {
  bool textMode = true;
  while (*l && *r) {
    if (textMode) {
      while (*l && *r) {
        const bool lDigit = IsDigit(*l), rDigit = IsDigit(*r);
        if (lDigit && rDigit) {
          textMode = false;
          break;
        }
        if (lDigit) return -1;
        if (rDigit) return 1;
        const int difference = int(int8_t(*l)) - int(int8_t(*r));
        if (difference != 0) return difference;
        ++l;
        ++r;
      }
    } else {
      const uint32_t lValue = ReadNumber(l);
      const uint32_t rValue = ReadNumber(r);
      if (lValue != rValue) return static_cast<int>(lValue - rValue);
      textMode = true;
    }
  }
  if (*r) return -1;
  return *l ? 1 : 0;
}

void SortStringByAlphanum(std::vector<std::string>& strings) {
  std::sort(strings.begin(), strings.end(), [](const std::string& l, const std::string& r) {
    return CompareAlphanum(l.c_str(), r.c_str()) < 0;
  });
}

void SortStringByAlphanum(void* list) {
  const Site site{"Common/alphanum", "Ro::Vision::SortStringByAlphanum"};
  if (!list) Throw(site, __LINE__, kInvalidArgument);
  if (zType_Size(zArrayList_ItemType(list)) != sizeof(const char*)) {
    Throw(site, __LINE__, kIncompatible);
  }
  auto* items = static_cast<const char**>(zArrayList_Data(list));
  std::sort(items, items + zArrayList_Count(list),
            [](const char* l, const char* r) { return CompareAlphanum(l, r) < 0; });
}

}  // namespace Vision
}  // namespace Ro
