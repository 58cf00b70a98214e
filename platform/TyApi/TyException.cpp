#include "TyException.h"

#include <cstdarg>

#include "TyFormat.h"

namespace Ty {

const char* StatusText(zStatus status) {
  switch (status) {
    case 1:
      return "success";
    case 0:
      return "failure";
    case -997:
      return "invalid argument";
    case -996:
      return "not supported";
    case -984:
      return "incompatible data";
    case -988:
      return "aborted";
    default:
      return zStatus_Name(status);
  }
}

Exception::Exception(int line, const char* file, zStatus status, const char* function,
                     const char* format, ...)
    : line_(line), file_(file ? file : ""), status_(status), function_(function ? function : "") {
  if (format) {
    va_list args;
    va_start(args, format);
    message_ = detail::FormatV(format, args);
    va_end(args);
  }
  Compose();
}

Exception::Exception(zStatus status, const char* message)
    : status_(status), message_(message ? message : "") {
  Compose();
}

void Exception::Compose() {
  what_.clear();
  if (!function_.empty()) what_ += function_ + ": ";
  what_ += message_.empty() ? StatusText(status_) : message_;
  what_ += " (status " + std::to_string(status_) + ")";
  if (!file_.empty()) what_ += " at " + file_ + ":" + std::to_string(line_);
}

}  // namespace Ty
