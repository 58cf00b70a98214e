// Private to the library: the angular range of a sector, normalised once for every test that
// asks whether a direction lies in it.
#ifndef ROVISION_GEOMETRY_ANGULARRANGEPRIVATE_H
#define ROVISION_GEOMETRY_ANGULARRANGEPRIVATE_H

#include <cmath>

namespace Ro {
namespace Vision {

// The sector from `start` over `span` degrees (a negative span runs the other way) as
// [start, end] with start in [0, 360) and end = start + |span|, which may pass 360.
struct AngularRange {
  double start, end;
};

inline AngularRange NormalizedAngularRange(double start, double span) {
  if (span < 0) {
    start += span;
    span = -span;
  }
  start = std::fmod(start, 360);
  if (start < 0) start += 360;
  return {start, start + span};
}

}  // namespace Vision
}  // namespace Ro

#endif
