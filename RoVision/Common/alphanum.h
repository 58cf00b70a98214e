// Natural ("alphanumeric") ordering of strings: embedded numbers compare by value, so "file2"
// sorts before "file10". Digits sort before other characters; bytes of 128 and above, compared
// as signed 8-bit values, sort before ASCII. Number runs are read as unsigned 32-bit values and
// wrap beyond that; leading zeros do not count, so "a02" and "a2" are equal.
#ifndef ROVISION_COMMON_ALPHANUM_H
#define ROVISION_COMMON_ALPHANUM_H

#include <string>
#include <vector>

#include "Export.h"

namespace Ro {
namespace Vision {

// Negative, zero or positive as l sorts before, with or after r. Both are zero-terminated.
RO_API int CompareAlphanum(const char* l, const char* r);

// Sorts in place (unstable).
RO_API void SortStringByAlphanum(std::vector<std::string>& strings);

// Sorts in place a zArrayList whose items are pointers to zero-terminated strings (const char*).
// A null list raises -997; a list whose item size is not that of a pointer raises -984.
RO_API void SortStringByAlphanum(void* list);

}  // namespace Vision
}  // namespace Ro

#endif
