#include "ErrorPrivate.h"

namespace Ro {
namespace Vision {

void Throw(const Site& site, int line, zStatus status, const char* message) {
  if (message) throw Ty::Exception(line, site.file, status, site.function, "%s", message);
  throw Ty::Exception(line, site.file, status, site.function, nullptr);
}

}  // namespace Vision
}  // namespace Ro
