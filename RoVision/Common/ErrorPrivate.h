// Private to the library: raising Ty::Exception with the source line, the module's file name
// and the operation's qualified name.
//
//   const Site site{"Filter/Filter", "Ro::Vision::ThresholdHeight"};
//   if (!mask) Throw(site, __LINE__, kInvalidArgument);
//   Check(site, __LINE__, zArray2_Construct(...));  // a platform failure passes on unchanged
#ifndef ROVISION_COMMON_ERRORPRIVATE_H
#define ROVISION_COMMON_ERRORPRIVATE_H

#include <TyApi/TyException.h>
#include <zApi/zDefs.h>

namespace Ro {
namespace Vision {

// Statuses the library raises by itself.
constexpr zStatus kFailure = 0;             // a rule explained by a message text
constexpr zStatus kInvalidArgument = -997;  // null or out-of-range argument, empty input
constexpr zStatus kNotSupported = -996;     // unsupported element type, degenerate system
constexpr zStatus kIncompatible = -984;     // wrong item type, mismatched lengths
constexpr zStatus kAborted = -988;          // iterative construction ran out of material

// Where a throw comes from: the module's file (such as "Filter/Filter") and the operation's
// qualified name (such as "Ro::Vision::ThresholdHeight").
struct Site {
  const char* file;
  const char* function;
};

[[noreturn]] void Throw(const Site& site, int line, zStatus status, const char* message = nullptr);

// Raises the status unless it is success (1).
inline void Check(const Site& site, int line, zStatus status) {
  if (status != 1) Throw(site, line, status);
}

}  // namespace Vision
}  // namespace Ro

#endif
