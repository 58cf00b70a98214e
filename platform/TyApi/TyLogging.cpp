#include "TyLogging.h"

#include <cstdarg>
#include <mutex>

#include "TyFormat.h"

namespace Ty {
namespace Logging {
namespace {

std::mutex& SinkMutex() {
  static std::mutex mutex;
  return mutex;
}

DebugSink& Sink() {
  static DebugSink sink;
  return sink;
}

}  // namespace

void Ty_Debug_Log(int line, const char* file, uint64_t options, const char* function,
                  const char* format, ...) {
  DebugRecord record{line, file ? file : "", options, function ? function : "", ""};
  va_list args;
  va_start(args, format);
  record.message = detail::FormatV(format, args);
  va_end(args);
  std::lock_guard<std::mutex> lock(SinkMutex());
  if (Sink()) Sink()(record);
}

DebugSink SetDebugSink(DebugSink sink) {
  std::lock_guard<std::mutex> lock(SinkMutex());
  DebugSink previous = std::move(Sink());
  Sink() = std::move(sink);
  return previous;
}

}  // namespace Logging
}  // namespace Ty
