#include "MaskSurfaceOperations.h"

#include <zApi/zArray2.h>
#include <zApi/zArrayList.h>
#include <zApi/zObject.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "../Geometry/ShapeConversion.h"
#include "MaskSurfacePrivate.h"

namespace Ro {
namespace Vision {
namespace {

bool IsMaskArray(void* a) {
  return a && zObject_Class(a) == zClassOf(zArray2) && zArray2_ItemType(a) == zTypeOf(z8u);
}

// Smallest first column, largest run end, smallest and largest row of a checked run list.
struct RunExtent {
  long long minX = std::numeric_limits<int>::max();
  long long maxEnd = std::numeric_limits<int>::min();
  long long minY = std::numeric_limits<int>::max();
  long long maxY = std::numeric_limits<int>::min();
};

const RunRecord* CheckedRuns(const Site& site, void* runs, zSize* count, RunExtent* extent) {
  if (zObject_Class(runs) != zClassOf(zArrayList) || zArrayList_ItemType(runs) != RunRecordType()) {
    Throw(site, __LINE__, kIncompatible, "the runs must be a zArrayList of RunRecord");
  }
  *count = zArrayList_Count(runs);
  const RunRecord* r = static_cast<const RunRecord*>(zArrayList_Data(runs));
  for (zSize i = 0; i < *count; ++i) {
    if (r[i].count < 0) Throw(site, __LINE__, kInvalidArgument, "a run has a negative count");
    extent->minX = std::min<long long>(extent->minX, r[i].column);
    extent->maxEnd = std::max<long long>(extent->maxEnd, (long long)r[i].column + r[i].count);
    extent->minY = std::min<long long>(extent->minY, r[i].row);
    extent->maxY = std::max<long long>(extent->maxY, r[i].row);
  }
  return r;
}

// A zero z8u array of the given size held by `out`.
void MakeMask(const Site& site, int line, long long rows, long long columns, void* allocator,
              Ty::Object<void*>* out) {
  if (rows < 0 || columns < 0 || rows > std::numeric_limits<int>::max() ||
      columns > std::numeric_limits<int>::max()) {
    Throw(site, line, kInvalidArgument, "the mask would be larger than the index range");
  }
  Ty::Object<void*> created;
  Check(site, line,
        zArray2_Construct(created.Address(), zTypeOf(z8u), zSize(rows), zSize(columns), allocator));
  *out = std::move(created);
}

void SetRuns(const RunRecord* runs, zSize count, long long x0, long long y0, void* mask) {
  for (zSize i = 0; i < count; ++i) {
    if (runs[i].count == 0) continue;
    unsigned char* row = static_cast<unsigned char*>(zArray2_Row(mask, zSize(runs[i].row - y0)));
    std::memset(row + (runs[i].column - x0), 1, std::size_t(runs[i].count));
  }
}

}  // namespace

void MaskOperation(Ty::Object<void*> first, Ty::Object<void*> second, MaskOperationType type,
                   void** output, void* allocator) {
  const Site site{mask::kModule, "Ro::Vision::MaskOperation"};
  if (!output) return;
  if (!first || !second) Throw(site, __LINE__, kInvalidArgument);
  if (!IsMaskArray(first) || !IsMaskArray(second) || zArray2_Rows(first) != zArray2_Rows(second) ||
      zArray2_Columns(first) != zArray2_Columns(second)) {
    Throw(site, __LINE__, kIncompatible, "the masks must be z8u arrays of one size");
  }
  const zSize rows = zArray2_Rows(first), columns = zArray2_Columns(first);
  void* out = *output;
  if (!IsMaskArray(out) || zArray2_Rows(out) != rows || zArray2_Columns(out) != columns) {
    *output = nullptr;
    Check(site, __LINE__, zObject_Destroy(out));
    Check(site, __LINE__, zArray2_Construct(output, zTypeOf(z8u), rows, columns, allocator));
    out = *output;
  }
  if (type != MaskOperationType::And && type != MaskOperationType::Or) return;
  const unsigned char* a = static_cast<const unsigned char*>(zArray2_Data(first));
  const unsigned char* b = static_cast<const unsigned char*>(zArray2_Data(second));
  unsigned char* o = static_cast<unsigned char*>(zArray2_Data(out));
  const zSize n = rows * columns;
  if (type == MaskOperationType::And) {
    for (zSize i = 0; i < n; ++i) o[i] = a[i] & b[i];
  } else {
    for (zSize i = 0; i < n; ++i) o[i] = a[i] | b[i];
  }
}

void RLEToMask(void* runs, void** mask, Rect2d<int>* box, void* allocator) {
  const Site site{mask::kModule, "Ro::Vision::RLEToMask"};
  if (!runs || (!mask && !box)) return;
  zSize count = 0;
  RunExtent e;
  const RunRecord* r = CheckedRuns(site, runs, &count, &e);
  if (count == 0) return;
  const long long width = e.maxEnd - e.minX + 1, height = e.maxY - e.minY + 1;
  if (box) *box = Rect2d<int>{int(e.minX), int(e.minY), int(width), int(height)};
  if (!mask) return;
  void* old = *mask;
  *mask = nullptr;
  Check(site, __LINE__, zObject_Destroy(old));
  Ty::Object<void*> created;
  MakeMask(site, __LINE__, height, width, allocator, &created);
  SetRuns(r, count, e.minX, e.minY, created);
  *mask = created.Detach();
}

void MergeMasks(const std::vector<Ty::Object<void*>>& masks, const std::vector<Rect2d<int>>& boxes,
                void** mask, Rect2d<int>* box, void* allocator, void* pool) {
  const Site site{mask::kModule, "Ro::Vision::MergeMasks"};
  if (masks.size() != boxes.size()) {
    Throw(site, __LINE__, kInvalidArgument, "the numbers of masks and boxes differ");
  }
  long long x0 = std::numeric_limits<int>::max(), y0 = x0;
  long long x1 = std::numeric_limits<int>::min(), y1 = x1;
  for (std::size_t i = 0; i < masks.size(); ++i) {
    const Rect2d<int>& b = boxes[i];
    if (!IsMaskArray(masks[i])) Throw(site, __LINE__, kInvalidArgument, "a mask is empty");
    if (zArray2_Rows(masks[i]) != zSize(std::max(b.height, 0))) {
      Throw(site, __LINE__, kInvalidArgument, "a mask's rows differ from its box's height");
    }
    if (zArray2_Columns(masks[i]) != zSize(std::max(b.width, 0))) {
      Throw(site, __LINE__, kInvalidArgument, "a mask's columns differ from its box's width");
    }
    if (b.width <= 0 || b.height <= 0) continue;
    x0 = std::min<long long>(x0, b.x);
    y0 = std::min<long long>(y0, b.y);
    x1 = std::max<long long>(x1, (long long)b.x + b.width);
    y1 = std::max<long long>(y1, (long long)b.y + b.height);
  }
  Ty::Object<void*> merged;
  Rect2d<int> mergedBox{0, 0, 0, 0};
  if (x1 > x0 && y1 > y0) {
    mergedBox = Rect2d<int>{int(x0), int(y0), int(x1 - x0), int(y1 - y0)};
    if (mask) {
      MakeMask(site, __LINE__, y1 - y0, x1 - x0, allocator, &merged);
      void* out = merged;
      mask::ForRowsParallel(site, __LINE__, 0, mergedBox.height, pool, [&](int r) {
        const int row = mergedBox.y + r;
        unsigned char* dst = static_cast<unsigned char*>(zArray2_Row(out, zSize(r)));
        for (std::size_t i = 0; i < masks.size(); ++i) {
          const Rect2d<int>& b = boxes[i];
          if (row < b.y || row >= b.y + b.height || b.width <= 0) continue;
          const unsigned char* src =
              static_cast<const unsigned char*>(zArray2_Row(masks[i], zSize(row - b.y)));
          unsigned char* d = dst + (b.x - mergedBox.x);
          for (int c = 0; c < b.width; ++c) d[c] |= src[c] ? 1 : 0;
        }
      });
    }
  }
  if (box) *box = mergedBox;
  if (mask) {
    void* old = *mask;
    *mask = nullptr;
    Check(site, __LINE__, zObject_Destroy(old));
    *mask = merged.Detach();
  }
}

void ApplyMask(const Surface& surface, const std::shared_ptr<RoiSurface>& roi, Surface* output) {
  const Site site{mask::kModule, "Ro::Vision::ApplyMask"};
  if (surface.layers.size() == 1 && !surface.layers[0]) return;
  if (!output) Throw(site, __LINE__, kInvalidArgument, "the output surface is null");
  if (!roi) Throw(site, __LINE__, kInvalidArgument, "the region is null");
  if (mask::KindOfLayer0(surface) != mask::LayerKind::HeightMap) {
    Throw(site, __LINE__, kNotSupported, "layer 0 must be a z16s height map");
  }
  void* heights = surface.layers[0];
  void* m = roi->GetMask();
  const Rect2d<int> b = roi->GetBoundingBox();
  if (!IsMaskArray(m) || zArray2_Rows(m) != zArray2_Rows(heights) ||
      zArray2_Columns(m) != zArray2_Columns(heights)) {
    Throw(site, __LINE__, kIncompatible, "the region must belong to a surface of this size");
  }
  void* intensity = surface.layers.size() > 1 ? surface.layers[1].Get() : nullptr;
  if (intensity && (zObject_Class(intensity) != zClassOf(zArray2) ||
                    zArray2_ItemType(intensity) != zTypeOf(z8u) ||
                    zArray2_Rows(intensity) != zArray2_Rows(heights) ||
                    zArray2_Columns(intensity) != zArray2_Columns(heights))) {
    intensity = nullptr;  // another kind of layer 1 is not carried over
  }
  void* allocator = roi->GetAllocator();
  const zSize rows = zSize(std::max(b.height, 0)), columns = zSize(std::max(b.width, 0));
  Ty::Object<void*> cutHeights, cutIntensity;
  Check(site, __LINE__,
        zArray2_Construct(cutHeights.Address(), zTypeOf(z16s), rows, columns, allocator));
  if (intensity) {
    Check(site, __LINE__,
          zArray2_Construct(cutIntensity.Address(), zTypeOf(z8u), rows, columns, allocator));
  }
  for (zSize r = 0; r < rows; ++r) {
    const zSize row = zSize(b.y) + r;
    const unsigned char* inside = static_cast<const unsigned char*>(zArray2_Row(m, row)) + b.x;
    const short* h = static_cast<const short*>(zArray2_Row(heights, row)) + b.x;
    short* oh = static_cast<short*>(zArray2_Row(cutHeights, r));
    for (zSize c = 0; c < columns; ++c) oh[c] = inside[c] ? h[c] : mask::kNullHeight;
    if (!intensity) continue;
    const unsigned char* v = static_cast<const unsigned char*>(zArray2_Row(intensity, row)) + b.x;
    unsigned char* ov = static_cast<unsigned char*>(zArray2_Row(cutIntensity, r));
    for (zSize c = 0; c < columns; ++c) ov[c] = inside[c] ? v[c] : 0;
  }
  Surface result;
  result.scale = surface.scale;
  result.offset = surface.offset;
  result.offset.x = surface.offset.x + b.x * surface.scale.x;
  result.offset.y = surface.offset.y + b.y * surface.scale.y;
  result.layers.push_back(std::move(cutHeights));
  if (intensity) result.layers.push_back(std::move(cutIntensity));
  *output = std::move(result);
}

void GetBBoxAndMask(const Surface& surface, const Region3d<double>& region, Rect2d<int>* box,
                    void** mask, void* allocator, int checkHeight, void* pool) {
  const Site site{mask::kModule, "Ro::Vision::GetBBoxAndMask"};
  if (!box || !mask) Throw(site, __LINE__, kInvalidArgument, "the outputs must not be null");
  if (mask::KindOfLayer0(surface) != mask::LayerKind::HeightMap) {
    Throw(site, __LINE__, kNotSupported, "layer 0 must be a z16s height map");
  }
  const mask::GridAxes axes = mask::AxesOf(surface);
  if (!(axes.sx > 0) || !(axes.sy > 0) || !std::isfinite(axes.sx) || !std::isfinite(axes.sy)) {
    Throw(site, __LINE__, kNotSupported, "the x and y resolutions must be positive and finite");
  }
  // The footprint is the turned rectangle's corner polygon; samples are judged by the same
  // even-odd test with edges inside that the rectangle regions use.
  Region2d<double> footprint;
  Rect3dTo2d(region, &footprint);
  std::vector<Point2d<double>> corners;
  ExtractPolygonFromRect(footprint, &corners);
  double xMin = corners[0].x, xMax = xMin, yMin = corners[0].y, yMax = yMin;
  for (const Point2d<double>& p : corners) {
    xMin = std::min(xMin, p.x);
    xMax = std::max(xMax, p.x);
    yMin = std::min(yMin, p.y);
    yMax = std::max(yMax, p.y);
  }
  const Rect2d<int> b = mask::IndexBoxOfExtent(surface, xMin, xMax, yMin, yMax);
  Ty::Object<void*> result;
  if (b.width > 0 && b.height > 0) {
    MakeMask(site, __LINE__, b.height, b.width, allocator, &result);
    const mask::PolygonSpans spans(corners);
    void* heights = surface.layers[0];
    void* out = result;
    const double zLo = region.z - region.height / 2, zHi = region.z + region.height / 2;
    const zPoint3d64f offset = surface.offset, scale = surface.scale;
    mask::ForRowsParallel(site, __LINE__, 0, b.height, pool, [&](int r) {
      unsigned char* dst = static_cast<unsigned char*>(zArray2_Row(out, zSize(r)));
      spans.FillRow(axes, b.y + r, b.x, b.x + b.width, dst);
      if (!checkHeight) return;
      const short* h = static_cast<const short*>(zArray2_Row(heights, zSize(b.y + r))) + b.x;
      for (int c = 0; c < b.width; ++c) {
        if (!dst[c]) continue;
        const double z = offset.z + h[c] * scale.z;
        if (h[c] == mask::kNullHeight || z < zLo || z > zHi) dst[c] = 0;
      }
    });
  }
  *box = b;
  void* old = *mask;
  *mask = nullptr;
  Check(site, __LINE__, zObject_Destroy(old));
  *mask = result.Detach();
}

namespace mask {

void RunsToTightMask(const Site& site, void* runs, void* allocator, Rect2d<int>* box,
                     Ty::Object<void*>* out) {
  *box = Rect2d<int>{0, 0, 0, 0};
  out->Reset();
  if (!runs) return;
  zSize count = 0;
  RunExtent e;
  const RunRecord* r = CheckedRuns(site, runs, &count, &e);
  if (count == 0 || e.maxEnd <= e.minX) return;
  const long long width = e.maxEnd - e.minX, height = e.maxY - e.minY + 1;
  MakeMask(site, __LINE__, height, width, allocator, out);
  SetRuns(r, count, e.minX, e.minY, *out);
  *box = Rect2d<int>{int(e.minX), int(e.minY), int(width), int(height)};
}

}  // namespace mask
}  // namespace Vision
}  // namespace Ro
