#include "TyFormat.h"

#include <cstdio>
#include <vector>

namespace Ty {
namespace detail {

std::string FormatV(const char* format, va_list args) {
  if (!format) return std::string();
  va_list copy;
  va_copy(copy, args);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (length <= 0) return std::string();
  std::vector<char> text(static_cast<size_t>(length) + 1);
  std::vsnprintf(text.data(), text.size(), format, args);
  return std::string(text.data(), static_cast<size_t>(length));
}

}  // namespace detail
}  // namespace Ty
