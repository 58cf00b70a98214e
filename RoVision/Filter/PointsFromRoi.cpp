#include "PointsFromRoi.h"

#include <zApi/zArray2.h>
#include <zApi/zArrayList.h>
#include <zApi/zParallel.h>

#include <vector>

#include "../Common/MaskSurfacePrivate.h"
#include "FilterPrivate.h"
#include "RegionCheckPrivate.h"

namespace Ro {
namespace Vision {

namespace {

const Site kSite{filter::kModule, "Ro::Vision::GetPointsFromROI"};

// World point of a cell, and whether it is valid, for each layer 0 type.
struct HeightCell {
  const Surface& s;
  bool operator()(short h, std::size_t row, std::size_t column, zPoint3d64f& p) const {
    if (h == filter::kNullHeight) return false;
    p = {s.offset.x + static_cast<double>(column) * s.scale.x,
         s.offset.y + static_cast<double>(row) * s.scale.y, s.offset.z + h * s.scale.z};
    return true;
  }
};
struct Cloud32Cell {
  const Surface& s;
  bool operator()(const zPoint3d32s& q, std::size_t, std::size_t, zPoint3d64f& p) const {
    if (q.z == GetNull<int>()) return false;
    p = {s.offset.x + q.x * s.scale.x, s.offset.y + q.y * s.scale.y, s.offset.z + q.z * s.scale.z};
    return true;
  }
};
struct Cloud64Cell {
  bool operator()(const zPoint3d64f& q, std::size_t, std::size_t, zPoint3d64f& p) const {
    if (q.z == kNullDouble) return false;
    p = q;
    return true;
  }
};

template <class T, class Cell>
struct Gather {
  void* layer;
  void* mask;  // may be null: the whole rectangle
  Rect2d<int> rect;
  int maskX, maskY;  // the surface cell of mask cell (0, 0)
  Cell cell;
  void** slots;  // one zArrayList per task

  static zStatus Run(const zParallelArgs* args, void* context) {
    const Gather& g = *static_cast<const Gather*>(context);
    const auto height = static_cast<zSize>(g.rect.height);
    const zSize begin = zParallelArgs_Begin(args, 0, height);
    const zSize end = zParallelArgs_End(args, 0, height);
    void* slot = g.slots[zParallelArgs_Index(args)];
    zPoint3d64f point;
    for (zSize r = begin; r < end; ++r) {
      const std::size_t row = g.rect.y + r;
      const T* values = static_cast<const T*>(zArray2_Row(g.layer, row)) + g.rect.x;
      const auto* bits =
          g.mask ? static_cast<const unsigned char*>(zArray2_Row(g.mask, row - g.maskY)) +
                       (g.rect.x - g.maskX)
                 : nullptr;
      for (int c = 0; c < g.rect.width; ++c) {
        if (bits && !bits[c]) continue;
        if (!g.cell(values[c], row, g.rect.x + c, point)) continue;
        const zStatus status = zArrayList_Append(slot, &point);
        if (status != zOK) return status;
      }
    }
    return zOK;
  }
};

template <class T, class Cell>
void GatherPoints(void* layer, void* mask, const Rect2d<int>& rect, int maskX, int maskY,
                  const Cell& cell, Ty::Object<void*>& points, void* allocator, void* pool) {
  const zSize tasks = zThreadPool_Count(pool);
  std::vector<Ty::Object<void*>> owners(tasks);
  std::vector<void*> slots(tasks);
  for (zSize i = 0; i < tasks; ++i) {
    Check(kSite, __LINE__,
          zArrayList_Construct(owners[i].Address(), TypeOf<zPoint3d64f>(), 0, allocator));
    slots[i] = owners[i];
  }
  Gather<T, Cell> job{layer, mask, rect, maskX, maskY, cell, slots.data()};
  Check(kSite, __LINE__, zParallel_Execute(&Gather<T, Cell>::Run, &job, pool));
  zSize total = 0;
  for (void* slot : slots) total += zArrayList_Count(slot);
  Ty::Object<void*> result;
  Check(kSite, __LINE__,
        zArrayList_Construct(result.Address(), TypeOf<zPoint3d64f>(), total, allocator));
  for (void* slot : slots) {
    if (zArrayList_Count(slot) == 0) continue;
    Check(kSite, __LINE__,
          zArrayList_AppendN(result, zArrayList_Data(slot), zArrayList_Count(slot)));
  }
  points = result;
}

// Gathers the cells of `rect` (inside layer 0) whose mask byte, at mask row row - maskY and
// column column - maskX, is non-zero.
void GatherCells(const Surface& surface, const Rect2d<int>& rect, void* mask, int maskX, int maskY,
                 Ty::Object<void*>& points, void* allocator, void* pool) {
  void* layer = surface.layers[0];
  const zType type = zArray2_ItemType(layer);
  if (type == TypeOf<z16s>()) {
    GatherPoints<short>(layer, mask, rect, maskX, maskY, HeightCell{surface}, points, allocator,
                        pool);
  } else if (type == TypeOf<zPoint3d32s>()) {
    GatherPoints<zPoint3d32s>(layer, mask, rect, maskX, maskY, Cloud32Cell{surface}, points,
                              allocator, pool);
  } else if (type == TypeOf<zPoint3d64f>()) {
    GatherPoints<zPoint3d64f>(layer, mask, rect, maskX, maskY, Cloud64Cell{}, points, allocator,
                              pool);
  } else {
    Throw(kSite, __LINE__, kNotSupported, "layer 0 must be z16s, zPoint3d32s or zPoint3d64f");
  }
}

void CheckLayer0(const Surface& surface) {
  if (surface.layers.empty() || !surface.layers[0]) {
    Throw(kSite, __LINE__, kInvalidArgument, "the surface has no layer 0");
  }
}

}  // namespace

void GetPointsFromROI(const Surface& surface, Rect2d<int> rect, const Ty::Object<void*>& mask,
                      Ty::Object<void*>& points, void* allocator, void* pool) {
  CheckLayer0(surface);
  void* layer = surface.layers[0];
  filter::CheckRectAndMask(kSite, rect, mask, zArray2_Rows(layer), zArray2_Columns(layer));
  GatherCells(surface, rect, mask, rect.x, rect.y, points, allocator, pool);
}

void GetPointsFromROI(const Surface& surface, const RectRegionRLE& region,
                      Ty::Object<void*>& points, void* allocator, void* pool) {
  if (region.kind != 2) {
    Throw(kSite, __LINE__, kNotSupported, "the region must be of kind 2 (runs)");
  }
  CheckLayer0(surface);
  Rect2d<int> box;
  Ty::Object<void*> mask;
  mask::RunsToTightMask(kSite, region.runs, allocator, &box, &mask);
  // No runs leave a zero box and a null mask: an empty rectangle, so an empty list.
  GetPointsFromROI(surface, box, mask, points, allocator, pool);
}

void GetPointsFromROI(RoiSurface& roi, Ty::Object<void*>& points, void* allocator, void* pool) {
  const Surface& surface = roi.GetSurface();
  CheckLayer0(surface);
  void* mask = roi.GetMask();
  const Rect2d<int> box = roi.GetBoundingBox();
  // The region's mask has the surface's size: mask cell (r, c) is surface cell (r, c).
  GatherCells(surface, box, mask, 0, 0, points, allocator, pool);
}

}  // namespace Vision
}  // namespace Ro
