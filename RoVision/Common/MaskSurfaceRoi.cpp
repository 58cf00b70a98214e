#include "MaskSurfaceRoi.h"

#include <zApi/zArray2.h>
#include <zApi/zArrayList.h>
#include <zApi/zObject.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "../Filter/ThresholdPrivate.h"
#include "MaskSurfaceComposed.h"
#include "MaskSurfacePrivate.h"

namespace Ro {
namespace Vision {
namespace {

const zTypeInfo kRunRecordType{"Ro::Vision::RunRecord", sizeof(RunRecord)};
static_assert(sizeof(RunRecord) == 12, "a run record is three signed 32-bit values");

zSize Rows(void* array) {
  return array ? zArray2_Rows(array) : 0;
}
zSize Columns(void* array) {
  return array ? zArray2_Columns(array) : 0;
}

// ceil or floor of (value - offset) / scale as an index, saturated to the 32-bit range.
long long ToIndex(double v) {
  if (!(v > -2147483648.0)) return -2147483648LL;
  if (v > 2147483647.0) return 2147483647LL;
  return (long long)v;
}

// The one-axis clipping of the region-to-index rule.
void Clip(long long* first, long long* count, long long n) {
  if (*first > n - 1) {
    *count = 0;
    return;
  }
  if (*first < 0) {
    *count = std::max(*count + *first, 0LL);
    *first = 0;
  }
  if (*first + *count > n) *count = n - *first >= 1 ? n - *first : 0;
}

}  // namespace

zType RunRecordType() {
  return &kRunRecordType;
}

RectRegionRLE::RectRegionRLE() : kind(2), rect{0, 0, 0, 0} {}

RoiSurface::RoiSurface(const Surface& surface, void* allocator)
    : allocator_(allocator),
      surface_(surface),
      boundingRegion_{0, 0, 0, 0, 0},
      boundingBox_{0, 0, 0, 0},
      boundingBoxValid_(0),
      maskValid_(0),
      fullBoundingBox_(0),
      heightThresholdOn_(0),
      minimumHeight_(kNullDouble),
      maximumHeight_(kNullDouble),
      reverse_(0) {}

RoiSurface::~RoiSurface() = default;

const Region2d<double>& RoiSurface::GetBoundingRegion() {
  _CalculateBoundingBoxInternal();
  return boundingRegion_;
}

Rect2d<int> RoiSurface::GetBoundingBox() {
  _CalculateBoundingBoxInternal();
  return boundingBox_;
}

const Ty::Object<void*>& RoiSurface::GetMask() {
  _CalculateBoundingBoxInternal();
  if (maskValid_) return mask_;
  _ConstructMask();
  _AssignMask();
  _ThresholdHeight();
  _ReverseMask();
  maskValid_ = 1;
  return mask_;
}

RectRegionRLE* RoiSurface::GetRectRegionRLE() {
  return nullptr;
}

void RoiSurface::HeightThreshold(double minimum, double maximum) {
  heightThresholdOn_ = 1;
  minimumHeight_ = minimum;
  maximumHeight_ = maximum;
  // A mask built before would not show the new limits; it is built again on request.
  maskValid_ = 0;
}

void RoiSurface::ReverseMask() {
  reverse_ = 1;
  maskValid_ = 0;
}

void RoiSurface::_CalculateBoundingBoxInternal() {
  if (boundingBoxValid_ && GetShapeType() == MaskType::Composed) {
    // A member changed since the composition was computed: compute it again.
    const auto* composed = dynamic_cast<const ComposedRoiSurface*>(this);
    if (composed) {
      for (auto it = composed->Begin(); it != composed->End(); ++it) {
        if (*it && (!(*it)->IsBoundingBoxValid() || !(*it)->IsMaskValid())) {
          boundingBoxValid_ = 0;
          maskValid_ = 0;
          break;
        }
      }
    }
  }
  if (!boundingBoxValid_) {
    _CalculateBoundingBox();
    boundingBoxValid_ = 1;
  }
}

void RoiSurface::_ConstructMask() {
  const Site site{mask::kModule, "Ro::Vision::RoiSurface::_ConstructMask"};
  void* layer0 = surface_.layers.empty() ? nullptr : surface_.layers[0].Get();
  const bool isArray = layer0 && zObject_Class(layer0) == zClassOf(zArray2);
  const zSize rows = isArray ? Rows(layer0) : 0, columns = isArray ? Columns(layer0) : 0;
  // A held mask of the right size that nobody else holds is cleared and used again: a region
  // rebuilt for every scan then costs no fresh allocation (the page faults of a new 16 MB mask
  // cost more than building it).
  if (mask_ && zObject_RefCount(mask_) == 1 && zArray2_ItemType(mask_) == zTypeOf(z8u) &&
      Rows(mask_) == rows && Columns(mask_) == columns) {
    Check(site, __LINE__, zArray2_Zero(mask_));
    return;
  }
  Ty::Object<void*> created;
  Check(site, __LINE__,
        zArray2_Construct(created.Address(), zTypeOf(z8u), rows, columns, allocator_));
  mask_ = std::move(created);
}

void RoiSurface::_ThresholdHeight() {
  if (!heightThresholdOn_ || !mask_) return;
  int low = 0, high = 0;
  _GetZRange(&low, &high);
  const bool bounded = minimumHeight_ != kNullDouble && maximumHeight_ != kNullDouble;
  filter::ClearHeightsOutside({mask::kModule, "Ro::Vision::RoiSurface::_ThresholdHeight"}, surface_,
                              bounded, low, high, boundingBox_, mask_, 0, 0);
}

void RoiSurface::_ReverseMask() {
  if (!reverse_) return;
  const Site site{mask::kModule, "Ro::Vision::RoiSurface::_ReverseMask"};
  if (!mask_) {
    Ty::Object<void*> created;
    Check(site, __LINE__, zArray2_Construct(created.Address(), zTypeOf(z8u), 0, 0, allocator_));
    mask_ = std::move(created);
    _ResetMask();
  }
  void* layer0 = surface_.layers.empty() ? nullptr : surface_.layers[0].Get();
  const mask::LayerKind kind = mask::KindOfLayer0(surface_);
  if (kind != mask::LayerKind::HeightMap && kind != mask::LayerKind::Cloud16s) {
    if (kind == mask::LayerKind::Other) Throw(site, __LINE__, kNotSupported);
    return;
  }
  const int rows = int(Rows(layer0)), columns = int(Columns(layer0));
  if (Rows(mask_) != zSize(rows) || Columns(mask_) != zSize(columns)) {
    Throw(site, __LINE__, kIncompatible, "the mask must have the surface's size");
  }
  // The mask has the surface's size, so reversing it over the whole surface also covers the
  // cells outside a smaller box (they become 1 where the sample is valid).
  void* m = mask_;
  mask::ForRowsParallel(site, __LINE__, 0, rows, pool_, [&](int r) {
    unsigned char* out = static_cast<unsigned char*>(zArray2_Row(m, zSize(r)));
    if (kind == mask::LayerKind::HeightMap) {
      const short* h = static_cast<const short*>(zArray2_Row(layer0, zSize(r)));
      for (int c = 0; c < columns; ++c) {
        out[c] = h[c] != mask::kNullHeight ? (unsigned char)(1 - out[c]) : 0;
      }
    } else {
      const zPoint3d16s* p = static_cast<const zPoint3d16s*>(zArray2_Row(layer0, zSize(r)));
      for (int c = 0; c < columns; ++c) {
        out[c] = p[c].z != mask::kNullHeight ? (unsigned char)(1 - out[c]) : 0;
      }
    }
  });
  boundingBox_ = Rect2d<int>{0, 0, columns, rows};
  boundingRegion_ = Region2d<double>{surface_.offset.x, surface_.offset.y,
                                     columns * surface_.scale.x, rows * surface_.scale.y, 0};
}

void RoiSurface::_ResetBoundingBox() {
  boundingBox_ = Rect2d<int>{0, 0, 0, 0};
  boundingRegion_ = Region2d<double>{0, 0, 0, 0, 0};
  boundingBoxValid_ = 0;
}

void RoiSurface::_ResetMask() {
  if (!mask_) return;
  const Site site{mask::kModule, "Ro::Vision::RoiSurface::_ResetMask"};
  const mask::LayerKind kind = mask::KindOfLayer0(surface_);
  if (kind == mask::LayerKind::Other) Throw(site, __LINE__, kNotSupported);
  void* layer0 = kind == mask::LayerKind::None ? nullptr : surface_.layers[0].Get();
  const zSize rows = Rows(layer0), columns = Columns(layer0);
  Check(site, __LINE__, zArray2_Allocate(mask_, zTypeOf(z8u), rows, columns));
  void* m = mask_;
  mask::ForRowsParallel(site, __LINE__, 0, int(rows), pool_, [&](int r) {
    unsigned char* out = static_cast<unsigned char*>(zArray2_Row(m, zSize(r)));
    if (kind == mask::LayerKind::HeightMap) {
      const short* h = static_cast<const short*>(zArray2_Row(layer0, zSize(r)));
      for (zSize c = 0; c < columns; ++c) out[c] = h[c] != mask::kNullHeight;
    } else {
      const zPoint3d16s* p = static_cast<const zPoint3d16s*>(zArray2_Row(layer0, zSize(r)));
      for (zSize c = 0; c < columns; ++c) out[c] = p[c].z != mask::kNullHeight;
    }
  });
}

void RoiSurface::_ResetPreviousStatus() {
  _ResetBoundingBox();
  maskValid_ = 0;
  fullBoundingBox_ = 0;
  reverse_ = 0;
  heightThresholdOn_ = 0;
  minimumHeight_ = kNullDouble;
  maximumHeight_ = kNullDouble;
}

bool RoiSurface::_SetFullBoundingBox() {
  const mask::LayerKind kind = mask::KindOfLayer0(surface_);
  if (!fullBoundingBox_ && kind == mask::LayerKind::HeightMap) return false;
  void* layer0 = kind == mask::LayerKind::None ? nullptr : surface_.layers[0].Get();
  const int rows = int(Rows(layer0)), columns = int(Columns(layer0));
  boundingBox_ = Rect2d<int>{0, 0, columns, rows};
  boundingRegion_ = Region2d<double>{surface_.offset.x, surface_.offset.y,
                                     columns * surface_.scale.x, rows * surface_.scale.y, 0};
  return true;
}

void RoiSurface::_GetZRange(int* low, int* high) const {
  if (!low || !high) return;
  *low = -32768;
  *high = 32767;
  if (!heightThresholdOn_ || minimumHeight_ == kNullDouble || maximumHeight_ == kNullDouble) {
    return;
  }
  auto toCount = [&](double v) {
    const long long q = filter::RoundHalfAwayToInteger((v - surface_.offset.z) / surface_.scale.z);
    return int(std::min(std::max(q, -32768LL), 32767LL));
  };
  *low = toCount(minimumHeight_);
  *high = toCount(maximumHeight_);
}

void RoiSurface::_SetBoundingBoxFromExtent(double xMin, double xMax, double yMin, double yMax) {
  boundingRegion_ = Region2d<double>{xMin, yMin, xMax - xMin, yMax - yMin, 0};
  boundingBox_ = mask::IndexBoxOfExtent(surface_, xMin, xMax, yMin, yMax);
}

RectRegionRLE* RoiSurface::_BuildRectRegionRLE() {
  const Site site{mask::kModule, "Ro::Vision::RoiSurface::GetRectRegionRLE"};
  void* m = GetMask();
  Ty::Object<void*> runs;
  Check(site, __LINE__, zArrayList_Construct(runs.Address(), RunRecordType(), 0, allocator_));
  int minX = std::numeric_limits<int>::max(), maxEnd = std::numeric_limits<int>::min();
  int minY = std::numeric_limits<int>::max(), maxY = std::numeric_limits<int>::min();
  const Rect2d<int> box = boundingBox_;
  for (int r = box.y; r < box.y + box.height; ++r) {
    const unsigned char* row = static_cast<const unsigned char*>(zArray2_Row(m, zSize(r)));
    for (int c = box.x; c < box.x + box.width;) {
      if (!row[c]) {
        ++c;
        continue;
      }
      const int start = c;
      while (c < box.x + box.width && row[c]) ++c;
      const RunRecord run{r, start, c - start};
      Check(site, __LINE__, zArrayList_Append(runs, &run));
      minX = std::min(minX, start);
      maxEnd = std::max(maxEnd, c);
      minY = std::min(minY, r);
      maxY = std::max(maxY, r);
    }
  }
  rectRegionRLE_.kind = 2;
  rectRegionRLE_.rect = zArrayList_Count(runs) == 0
                            ? Rect2d<int>{0, 0, 0, 0}
                            : Rect2d<int>{minX, minY, maxEnd - minX, maxY - minY + 1};
  rectRegionRLE_.runs = std::move(runs);
  return &rectRegionRLE_;
}

void RoiSurface::_CheckResolution(const char* function) const {
  const double sx = surface_.scale.x, sy = surface_.scale.y;
  if (!(sx > 0) || !(sy > 0) || !std::isfinite(sx) || !std::isfinite(sy)) {
    Throw(Site{mask::kModule, function}, __LINE__, kInvalidArgument,
          "the surface's x and y resolutions must be positive and finite");
  }
}

void RoiSurface::_AssignShapeMask(const char* function, const RowFill& rowFill,
                                  const PointTest& pointTest) {
  if (!mask_) return;
  const Site site{mask::kModule, function};
  const mask::LayerKind kind = mask::KindOfLayer0(surface_);
  if (kind == mask::LayerKind::None) return;
  if (kind == mask::LayerKind::Other) {
    Throw(site, __LINE__, kNotSupported, "layer 0 must be a zArray2 of z16s or zPoint3d16s");
  }
  void* layer0 = surface_.layers[0].Get();
  void* m = mask_;
  const Rect2d<int> box = boundingBox_;
  if (kind == mask::LayerKind::HeightMap) {
    mask::ForRowsParallel(site, __LINE__, box.y, box.height, pool_, [&](int r) {
      rowFill(r, box.x, box.x + box.width,
              static_cast<unsigned char*>(zArray2_Row(m, zSize(r))) + box.x);
    });
    return;
  }
  const int rows = int(Rows(layer0)), columns = int(Columns(layer0));
  if (box.x != 0 || box.y != 0 || box.width != columns || box.height != rows) {
    Throw(site, __LINE__, kFailure, "Bounding Box should be FULL for point cloud format");
  }
  const zPoint3d64f offset = surface_.offset, scale = surface_.scale;
  mask::ForRowsParallel(site, __LINE__, 0, rows, pool_, [&](int r) {
    const zPoint3d16s* p = static_cast<const zPoint3d16s*>(zArray2_Row(layer0, zSize(r)));
    unsigned char* out = static_cast<unsigned char*>(zArray2_Row(m, zSize(r)));
    for (int c = 0; c < columns; ++c) {
      if (p[c].x == mask::kNullHeight || p[c].y == mask::kNullHeight ||
          p[c].z == mask::kNullHeight) {
        continue;
      }
      out[c] = pointTest(offset.x + p[c].x * scale.x, offset.y + p[c].y * scale.y) ? 1 : 0;
    }
  });
}

namespace mask {

Rect2d<int> IndexBoxOfExtent(const Surface& surface, double xMin, double xMax, double yMin,
                             double yMax) {
  void* layer0 = surface.layers.empty() ? nullptr : surface.layers[0].Get();
  if (!layer0 || zObject_Class(layer0) != zClassOf(zArray2)) return Rect2d<int>{0, 0, 0, 0};
  const GridAxes axes = AxesOf(surface);
  long long x = ToIndex(std::ceil((xMin - axes.ox) / axes.sx));
  long long w = ToIndex(std::floor((xMax - axes.ox) / axes.sx)) - x + 1;
  long long y = ToIndex(std::ceil((yMin - axes.oy) / axes.sy));
  long long h = ToIndex(std::floor((yMax - axes.oy) / axes.sy)) - y + 1;
  Clip(&x, &w, (long long)Columns(layer0));
  Clip(&y, &h, (long long)Rows(layer0));
  if (w <= 0 || h <= 0) return Rect2d<int>{0, 0, 0, 0};  // the shape misses the surface
  return Rect2d<int>{int(x), int(y), int(w), int(h)};
}

LayerKind KindOfLayer0(const Surface& surface) {
  void* layer0 = surface.layers.empty() ? nullptr : surface.layers[0].Get();
  if (!layer0 || zObject_Class(layer0) != zClassOf(zArray2)) return LayerKind::None;
  const zType type = zArray2_ItemType(layer0);
  if (type == zTypeOf(z16s)) return LayerKind::HeightMap;
  if (type == zTypeOf(zPoint3d16s)) return LayerKind::Cloud16s;
  return LayerKind::Other;
}

}  // namespace mask
}  // namespace Vision
}  // namespace Ro
