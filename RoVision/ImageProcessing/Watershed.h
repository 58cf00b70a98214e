// Watershed segmentation of a height map into basins (or peaks) by flooding the 16-bit heights.
#ifndef ROVISION_IMAGEPROCESSING_WATERSHED_H
#define ROVISION_IMAGEPROCESSING_WATERSHED_H

#include <TyApi/TyObject.h>

#include "../Common/Export.h"

namespace Ro {
namespace Vision {

struct WatershedOptions {
  // Size (odd, at least 1) of the null-aware box mean taken before the regional minima are
  // sought as markers; 1 takes the heights as they are. Unused when markers are given.
  int smoothSize = 3;
  // Segments peaks instead of basins (the heights are flooded upside down).
  bool peaks = false;
  // Marks the cells where two basins meet with -1 (see ImageWatershedSegmentation); otherwise
  // every flooded cell keeps its basin's label.
  bool lines = true;
  // Thread pool of the smoothing (null: the platform's default); the result does not depend on
  // it.
  void* pool = nullptr;
};

// Labels the basins of a z16s height map (a zImage). Markers: a z32s zImage of the same size
// whose cells > 0 are seeds of that label (seeds on null cells are ignored), or null for the
// regional minima of the smoothed heights (plateaus of equal height, 8-connected, with no lower
// neighbour), labelled 1, 2, ... in row order of their first cell.
//
// Flooding (Meyer): from the seeds, cells are taken in the order of their heights through a
// bucket queue over the 65536 levels, first in first out within a level; a cell taken joins the
// basin of its lowest labelled 4-neighbour (the first of up, left, right, down on ties) and
// queues its unqueued 4-neighbours, at their height or at the current level when lower. Null
// cells are never flooded. With lines, where two basins touch, the higher cell of each pair of
// 4-neighbours with different labels (the later in row order on equal heights) becomes -1: lines
// are one cell thick, lie on the ridge and separate the basins. The flooding is sequential.
//
// Output: a new z32s zImage made with `alloc`: the basin's label, 0 for null cells and for valid
// cells that no seed reaches (walled off by nulls), -1 on lines when asked for.
//
// Failures (file "ImageProcessing/ImageUtils", function
// "Ro::Vision::ImageWatershedSegmentation"): -997 for a null image or an even or non-positive
// smoothing size, -996 for heights other than z16s, -984 for markers that are not z32s of the
// image's size; a failing allocation raises the platform's status.
RO_API Ty::Object<void*> ImageWatershedSegmentation(void* heights, void* markers,
                                                    const WatershedOptions& options,
                                                    void* alloc = nullptr);

}  // namespace Vision
}  // namespace Ro

#endif
