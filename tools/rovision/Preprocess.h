// Preprocessing of a tool's part of the scan before it is measured.
#ifndef ROVISION_TOOLS_PREPROCESS_H
#define ROVISION_TOOLS_PREPROCESS_H

#include <RoVision/RoVision.h>

#include <vector>

#include "Recipe.h"

namespace rovision {

// A part of a surface to measure: its own surface record (possibly a filtered copy) and the
// region's box in that record's sample indices.
struct WorkingArea {
  rv::Surface surface;
  rv::Rect2d<int> box;
};

// Without steps, the surface itself (shared, not copied). With steps, a copy of the box widened
// by a margin that the filters read from (their reach, so that the box's samples come out as
// they would on the whole scan), filtered by each step in turn:
//   fill_gaps  fills runs of nulls up to max_gap long along rows and columns; a run across a
//              step steeper than 45 degrees is filled flat at the lower side rather than
//              bridged, so a shadow behind an edge does not become a ramp;
//   average    the null-aware moving average of size x size samples (nulls stay null);
//   median     the 3 x 3 median of the valid samples, `passes` times (nulls stay null).
WorkingArea Preprocessed(const rv::Surface& surface, const rv::Rect2d<int>& box,
                         const std::vector<Preprocess>& steps);

}  // namespace rovision

#endif
