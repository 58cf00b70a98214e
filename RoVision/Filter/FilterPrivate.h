// Private to the Filter module: its file name for exceptions and small helpers shared by the
// profile and surface filters.
#ifndef ROVISION_FILTER_FILTERPRIVATE_H
#define ROVISION_FILTER_FILTERPRIVATE_H

#include <zApi/zMem.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "../Common/ElementTypes.h"
#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace filter {

constexpr char kModule[] = "Filter/Filter";
constexpr short kNullHeight = GetNull<short>();
constexpr unsigned char kNullIntensity = GetNull<unsigned char>();

// Half away from zero: add 0.5 when positive, else subtract 0.5, then truncate toward zero.
inline double RoundHalfAway(double value) {
  return std::trunc(value >= 0 ? value + 0.5 : value - 0.5);
}

// True when the byte ranges [a, a + bytes) and [b, b + bytes) share a byte.
inline bool RangesOverlap(const void* a, const void* b, std::size_t bytes) {
  const auto x = reinterpret_cast<std::uintptr_t>(a);
  const auto y = reinterpret_cast<std::uintptr_t>(b);
  return x < y + bytes && y < x + bytes;
}

// Copies `bytes` from src to dst; overlapping ranges are moved, others go through the platform
// copy, whose failure is raised with its own status.
inline void CopyBytes(const Site& site, int line, void* dst, const void* src, std::size_t bytes) {
  if (dst == src || bytes == 0) return;
  if (RangesOverlap(dst, src, bytes)) {
    std::memmove(dst, src, bytes);
    return;
  }
  Check(site, line, zMemCopy(dst, src, bytes));
}

}  // namespace filter
}  // namespace Vision
}  // namespace Ro

#endif
