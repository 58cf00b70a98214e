// Private to the surface masks: the module's file name, row-parallel execution, the layer kinds
// a region accepts, and the row spans of the shapes.
//
// Span fillers write the cells [x0, x1) of one mask row with exactly the bytes that the shape's
// containment test gives for the samples' world positions, without testing every cell: the
// polygon from the crossings of its edges with the row (the very expressions of the even-odd
// test) and the exact on-edge cells; the sectors from analytic crossings of their ellipses and
// rays with the row, testing exactly the cells within two columns of each crossing and one cell
// of each stretch between them.
#ifndef ROVISION_COMMON_MASKSURFACEPRIVATE_H
#define ROVISION_COMMON_MASKSURFACEPRIVATE_H

#include <zApi/zArray2.h>
#include <zApi/zParallel.h>

#include <vector>

#include "ErrorPrivate.h"
#include "MaskSurfaceRoi.h"

namespace Ro {
namespace Vision {
namespace mask {

constexpr char kModule[] = "Common/MaskSurface";
constexpr short kNullHeight = -32768;

// World positions of the samples: X of column j and Y of row r, the one expression used by every
// mask and by the tests' references.
struct GridAxes {
  double ox, sx, oy, sy;
  double X(int column) const { return ox + double(column) * sx; }
  double Y(int row) const { return oy + double(row) * sy; }
};

inline GridAxes AxesOf(const Surface& surface) {
  return GridAxes{surface.offset.x, surface.scale.x, surface.offset.y, surface.scale.y};
}

enum class LayerKind { None, HeightMap, Cloud16s, Other };

// The kind of layer 0 (None when absent or not a zArray2).
LayerKind KindOfLayer0(const Surface& surface);

// The columns and rows of an axis-aligned world extent by the region-to-index rule (first =
// ceil((min - offset) / scale), last = floor((max - offset) / scale)), clipped to layer 0; zero
// size when the extent misses the surface.
Rect2d<int> IndexBoxOfExtent(const Surface& surface, double xMin, double xMax, double yMin,
                             double yMax);

// Runs rowTask(row) for every row of [first, first + count) in parallel on `pool` and raises a
// failing execution with its own status at `site`.
template <class RowTask>
void ForRowsParallel(const Site& site, int line, int first, int count, void* pool,
                     const RowTask& rowTask) {
  if (count <= 0) return;
  struct Context {
    const RowTask* task;
    int first;
    int count;
  } context{&rowTask, first, count};
  auto worker = [](const zParallelArgs* args, void* raw) -> zStatus {
    const Context& c = *static_cast<const Context*>(raw);
    const zSize begin = zParallelArgs_Begin(args, 0, zSize(c.count));
    const zSize end = zParallelArgs_End(args, 0, zSize(c.count));
    for (zSize i = begin; i < end; ++i) (*c.task)(c.first + int(i));
    return 1;
  };
  Check(site, line, zParallel_Execute(worker, &context, pool));
}

// The row fill of a polygon by the even-odd rule with edges inside (IsPointInPolygon).
class PolygonSpans {
 public:
  explicit PolygonSpans(const std::vector<Point2d<double>>& corners);
  // Writes the bytes of columns [x0, x1) of row `row`; cells[0] is column x0.
  void FillRow(const GridAxes& axes, int row, int x0, int x1, unsigned char* cells) const;

 private:
  struct Corner {
    double u, w;
  };
  std::vector<Corner> corners_;
  bool finite_ = true;
  std::vector<Point2d<double>> original_;
};

// Row fills of the sector tests (IsPointInEllipticalSector, IsPointInAnnularSector); cells[0]
// is column x0.
void FillEllipticalRow(const EllipticalSector2d<double>& sector, const GridAxes& axes, int row,
                       int x0, int x1, unsigned char* cells);
void FillAnnularRow(const AnnularSector2d<double>& sector, const GridAxes& axes, int row, int x0,
                    int x1, unsigned char* cells);

// The cells of a run list as the tight box they cover (width = covered columns) and a mask of
// that box; the box is zero and the mask null for no runs. Raises -984 for a list of other
// items, -997 for a negative run length.
void RunsToTightMask(const Site& site, void* runs, void* allocator, Rect2d<int>* box,
                     Ty::Object<void*>* mask);

}  // namespace mask
}  // namespace Vision
}  // namespace Ro

#endif
