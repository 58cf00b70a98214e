// Private to the platform: printf-style formatting into a std::string.
#ifndef TYAPI_TYFORMAT_H
#define TYAPI_TYFORMAT_H

#include <cstdarg>
#include <string>

namespace Ty {
namespace detail {
std::string FormatV(const char* format, va_list args);
}  // namespace detail
}  // namespace Ty

#endif
