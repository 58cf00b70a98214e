#include "MaskSurfaceFromSurface.h"

#include <TyApi/TyLogging.h>
#include <zApi/zArray2.h>
#include <zApi/zObject.h>

#include "MaskSurfacePrivate.h"

namespace Ro {
namespace Vision {
namespace {

constexpr uint64_t kLogOptions = 0x8000000000000000ull;

// Layer `index` of the second surface when it is a zArray2 of `type` with the given size.
void* MatchingLayer(const Surface& surface, std::size_t index, zType type, zSize rows,
                    zSize columns) {
  void* layer = surface.layers.size() > index ? surface.layers[index].Get() : nullptr;
  if (!layer || zObject_Class(layer) != zClassOf(zArray2) || zArray2_ItemType(layer) != type ||
      zArray2_Rows(layer) != rows || zArray2_Columns(layer) != columns) {
    return nullptr;
  }
  return layer;
}

}  // namespace

SurfaceROI::SurfaceROI(const Surface& surface, const Surface& maskSurface, void* allocator)
    : RoiSurface(surface, allocator), maskSurface_(maskSurface) {}

void SurfaceROI::UpdateInputParams(const Surface& surface, const Surface& maskSurface,
                                   void* allocator) {
  surface_ = surface;
  maskSurface_ = maskSurface;
  allocator_ = allocator;
  _ResetPreviousStatus();
}

void SurfaceROI::_CalculateBoundingBox() {
  // The second surface covers the region's surface sample for sample.
  fullBoundingBox_ = 1;
  _SetFullBoundingBox();
}

void SurfaceROI::_CheckHeightMap(const char* function, const char* kindName) const {
  const mask::LayerKind kind = mask::KindOfLayer0(surface_);
  if (kind == mask::LayerKind::HeightMap) return;
  if (kind == mask::LayerKind::Cloud16s) {
    Ty::Logging::Ty_Debug_Log(__LINE__, mask::kModule, kLogOptions, function,
                              "Not support \"%s\" mask for point cloud.", kindName);
  }
  Throw(Site{mask::kModule, function}, __LINE__, kIncompatible);
}

void SurfaceROI::_AssignMask() {
  const char* function = "Ro::Vision::SurfaceROI::_AssignMask";
  if (!mask_) return;
  _CheckHeightMap(function, "Surface");
  const Site site{mask::kModule, function};
  void* m = mask_;
  void* heights =
      MatchingLayer(maskSurface_, 0, zTypeOf(z16s), zArray2_Rows(m), zArray2_Columns(m));
  if (!heights) {
    Throw(site, __LINE__, kIncompatible,
          "the mask surface's layer 0 must be a z16s array of the surface's size");
  }
  const int columns = int(zArray2_Columns(m));
  mask::ForRowsParallel(site, __LINE__, 0, int(zArray2_Rows(m)), pool_, [&](int r) {
    const short* h = static_cast<const short*>(zArray2_Row(heights, zSize(r)));
    unsigned char* out = static_cast<unsigned char*>(zArray2_Row(m, zSize(r)));
    for (int c = 0; c < columns; ++c) out[c] = h[c] != mask::kNullHeight;
  });
}

IntensityROI::IntensityROI(const Surface& surface, const Surface& maskSurface, unsigned char low,
                           unsigned char high, void* allocator)
    : SurfaceROI(surface, maskSurface, allocator), low_(low), high_(high) {}

void IntensityROI::GetRange(unsigned char* low, unsigned char* high) const {
  if (low) *low = low_;
  if (high) *high = high_;
}

void IntensityROI::UpdateInputParams(const Surface& surface, const Surface& maskSurface,
                                     unsigned char low, unsigned char high, void* allocator) {
  SurfaceROI::UpdateInputParams(surface, maskSurface, allocator);
  low_ = low;
  high_ = high;
}

void IntensityROI::_AssignMask() {
  const char* function = "Ro::Vision::IntensityROI::_AssignMask";
  if (!mask_) return;
  _CheckHeightMap(function, "Intensity");
  const Site site{mask::kModule, function};
  void* m = mask_;
  void* intensity =
      MatchingLayer(maskSurface_, 1, zTypeOf(z8u), zArray2_Rows(m), zArray2_Columns(m));
  if (!intensity) {
    Throw(site, __LINE__, kIncompatible,
          "the mask surface's layer 1 must be a z8u array of the surface's size");
  }
  const int columns = int(zArray2_Columns(m));
  const unsigned char low = low_, high = high_;
  mask::ForRowsParallel(site, __LINE__, 0, int(zArray2_Rows(m)), pool_, [&](int r) {
    const unsigned char* v = static_cast<const unsigned char*>(zArray2_Row(intensity, zSize(r)));
    unsigned char* out = static_cast<unsigned char*>(zArray2_Row(m, zSize(r)));
    for (int c = 0; c < columns; ++c) out[c] = v[c] >= low && v[c] <= high;
  });
}

}  // namespace Vision
}  // namespace Ro
