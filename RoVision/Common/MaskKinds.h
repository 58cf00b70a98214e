// How MaskOperation combines two masks; the region kinds and modes are in MaskTypes.h.
#ifndef ROVISION_COMMON_MASKKINDS_H
#define ROVISION_COMMON_MASKKINDS_H

#include "MaskTypes.h"

namespace Ro {
namespace Vision {

// Byte by byte: And = logical AND, Or = logical OR; any other value writes nothing.
enum class MaskOperationType : int {
  And = 0,
  Or = 1,
};

}  // namespace Vision
}  // namespace Ro

#endif
