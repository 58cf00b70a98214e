// The base of the surface regions of interest and the run-length form of a region.
//
// A region over a surface computes, lazily, a bounding box (the smallest rectangle of columns
// and rows holding the shape, clipped to the surface; zero size when the shape misses it) with
// the same box in world units, and a mask: a zArray2 of z8u with the surface's rows and columns,
// 1 where a sample belongs to the region and 0 elsewhere (always 0 outside the bounding box).
// Mask row r, column c stands for surface sample (r, c). A sample belongs to a shape when its
// world position (X = offset.x + column * scale.x, Y = offset.y + row * scale.y) passes the
// shape's containment test and lies within the bounding box (a sample exactly on the shape's
// extent may fall outside the box by the rounding of the index rule's division; it is not in the
// mask then); on a height map a null height does not matter unless a height
// threshold is set. Point clouds (layer 0 a zArray2 of zPoint3d16s) use each point's own x and y
// (converted with offset and scale) and always get the full bounding box; points with a null
// component keep 0. Other layer types raise -996.
//
// Building the mask runs, in order: the shape's mask, the height threshold (HeightThreshold),
// the reversal (ReverseMask). Masks are built in parallel over rows on the region's thread pool
// (SetThreadPool; null is the platform's default pool); the result does not depend on it.
//
// Errors: Ty::Exception from "Common/MaskSurface" with the member's qualified name; a point
// cloud whose box is smaller than the surface raises status 0 with "Bounding Box should be FULL
// for point cloud format"; a failing platform call raises its own status. A surface whose x or
// y resolution is not a positive finite number raises -997 when the bounding box is computed.
//
// A region keeps a copy of the surface record (sharing its layers) and owns its mask. It is not
// safe for concurrent use. Copying a region copies its shape and shares its mask array.
#ifndef ROVISION_COMMON_MASKSURFACEROI_H
#define ROVISION_COMMON_MASKSURFACEROI_H

#include <TyApi/TyObject.h>
#include <zApi/zType.h>

#include <functional>

#include "Common.h"
#include "MaskKinds.h"

namespace Ro {
namespace Vision {

// One run of a run-length region: `count` cells of surface row `row` from column `column`.
struct RunRecord {
  int row = 0;
  int column = 0;
  int count = 0;
};

// The platform descriptor of RunRecord items (12 bytes), for zArrayList run lists.
RO_API zType RunRecordType();

// A region as a rectangle plus row runs. The runs (a zArrayList of RunRecord, in surface
// indices, row by row and left to right, never overlapping) list exactly the cells whose mask
// byte is 1; `rect` is their bounding box (zero size when there are none). kind is 2 for a
// region given by its runs, the only kind the regions produce.
struct RO_API RectRegionRLE {
  RectRegionRLE();
  int kind;
  Rect2d<int> rect;
  Ty::Object<void*> runs;
};

class RO_API RoiSurface {
 public:
  RoiSurface(const Surface& surface, void* allocator);
  virtual ~RoiSurface();
  RoiSurface(const RoiSurface&) = default;
  RoiSurface& operator=(const RoiSurface&) = default;

  virtual MaskType GetShapeType() const = 0;
  // The bounding box in world units: lowest corner x, y, width, length, and 0. Computes the box
  // when it is not valid.
  virtual const Region2d<double>& GetBoundingRegion();
  // The mask, built first when it is not valid.
  virtual const Ty::Object<void*>& GetMask();
  // The run-length form of the mask; null for regions without one (only rectangles and
  // composed regions have it). Builds the mask first.
  virtual RectRegionRLE* GetRectRegionRLE();

  // First column, first row, columns, rows; computed when not valid.
  Rect2d<int> GetBoundingBox();
  int IsBoundingBoxValid() const { return boundingBoxValid_; }
  int IsMaskValid() const { return maskValid_; }
  // Keeps only samples whose height (world units) lies within [minimum, maximum] when the mask
  // is built; null heights are dropped too. Either limit at the double null applies no range
  // (only nulls are dropped). Invalidates a built mask.
  void HeightThreshold(double minimum, double maximum);
  // Reverses the mask when it is built: valid samples (height, or point z, not -32768) take
  // 1 - their byte over the whole surface, null samples 0; the box becomes the whole surface.
  // Invalidates a built mask.
  void ReverseMask();
  // The pool the masks are built on (borrowed; null = the platform's default pool).
  void SetThreadPool(void* pool) { pool_ = pool; }
  void* GetThreadPool() const { return pool_; }
  void* GetAllocator() const { return allocator_; }
  const Surface& GetSurface() const { return surface_; }

 protected:
  virtual void _CalculateBoundingBox() = 0;
  // Creates a zero z8u mask of the surface's size, replacing the held one (a held mask of that
  // size that is not shared is zeroed and kept instead).
  virtual void _ConstructMask();
  virtual void _AssignMask() = 0;

  void _ThresholdHeight();
  void _ReverseMask();
  void _ResetBoundingBox();
  // Sizes the mask to layer 0 and sets 1 for valid samples, 0 for null ones; nothing without a
  // mask object.
  void _ResetMask();
  void _ResetPreviousStatus();
  // Sets the whole surface as the box when the full-box flag is set or layer 0 is not a height
  // map; returns whether it did.
  bool _SetFullBoundingBox();
  // The height limits in 16-bit counts, rounded half away from zero and clamped to
  // -32768..32767; -32768 and 32767 when no threshold applies.
  void _GetZRange(int* low, int* high) const;
  // Sets the box from an axis-aligned world extent with the region-to-index rule, clipped to the
  // surface; the bounding region is the extent itself.
  void _SetBoundingBoxFromExtent(double xMin, double xMax, double yMin, double yMax);
  // Fills the run-length region from the mask (inside the bounding box).
  RectRegionRLE* _BuildRectRegionRLE();
  // The mask of a shape. Height map: rowFill(row, x0, x1, cells) writes columns [x0, x1) of
  // each box row (cells[0] is column x0), rows in parallel. Point cloud (the box must
  // be the whole surface): pointTest(x, y) decides each point with no null component, the
  // others keep their byte. `function` names the caller in errors.
  using RowFill = std::function<void(int row, int x0, int x1, unsigned char* cells)>;
  using PointTest = std::function<bool(double x, double y)>;
  void _AssignShapeMask(const char* function, const RowFill& rowFill, const PointTest& pointTest);
  // Raises -997 unless the x and y resolutions are positive and finite.
  void _CheckResolution(const char* function) const;

  void* allocator_;
  Surface surface_;
  Ty::Object<void*> mask_;
  Region2d<double> boundingRegion_;
  Rect2d<int> boundingBox_;
  RectRegionRLE rectRegionRLE_;
  int boundingBoxValid_;
  int maskValid_;
  int fullBoundingBox_;
  int heightThresholdOn_;
  double minimumHeight_;
  double maximumHeight_;
  int reverse_;
  void* pool_ = nullptr;

 private:
  void _CalculateBoundingBoxInternal();
};

}  // namespace Vision
}  // namespace Ro

#endif
