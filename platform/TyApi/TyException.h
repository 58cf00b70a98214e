// Ty::Exception: the one exception type of the library. It carries the source line and file, a
// status, the qualified name of the operation that raised it and an optional message. what()
// reads like "Ro::Vision::ThresholdHeight: invalid argument (status -997) at Filter/Filter:632".
#ifndef TYAPI_TYEXCEPTION_H
#define TYAPI_TYEXCEPTION_H

#include <exception>
#include <string>

#include "../zApi/zDefs.h"

namespace Ty {

class Z_API Exception : public std::exception {
 public:
  // `format` is a printf-style text or null; `file` and `function` may be null.
  Exception(int line, const char* file, zStatus status, const char* function, const char* format,
            ...) __attribute__((format(printf, 6, 7)));
  Exception(zStatus status, const char* message);

  int Line() const noexcept { return line_; }
  const std::string& File() const noexcept { return file_; }
  zStatus Status() const noexcept { return status_; }
  const std::string& Function() const noexcept { return function_; }
  // The formatted message; empty when none was given.
  const std::string& Message() const noexcept { return message_; }
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  void Compose();

  int line_ = 0;
  std::string file_;
  zStatus status_ = 0;
  std::string function_;
  std::string message_;
  std::string what_;
};

// The meaning of a status in a few words: the library's own statuses first, then the
// platform's ("invalid argument", "not supported", "out of memory", ...).
Z_API const char* StatusText(zStatus status);

}  // namespace Ty

#endif
