// Ty::Logging::Ty_Debug_Log: the debug log. Messages go to a sink that the host can replace
// (tests capture it); the default sink writes nothing.
#ifndef TYAPI_TYLOGGING_H
#define TYAPI_TYLOGGING_H

#include <cstdint>
#include <functional>
#include <string>

#include "../zApi/zDefs.h"

namespace Ty {
namespace Logging {

struct DebugRecord {
  int line;
  std::string file;
  uint64_t options;
  std::string function;
  std::string message;
};

using DebugSink = std::function<void(const DebugRecord&)>;

// Formats the message printf-style and hands the record to the current sink.
Z_API void Ty_Debug_Log(int line, const char* file, uint64_t options, const char* function,
                        const char* format, ...) __attribute__((format(printf, 5, 6)));

// Replaces the sink and returns the previous one; an empty sink discards messages. The sink is
// called under a lock, one record at a time.
Z_API DebugSink SetDebugSink(DebugSink sink);

}  // namespace Logging
}  // namespace Ty

#endif
