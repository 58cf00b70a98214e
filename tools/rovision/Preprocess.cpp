#include "Preprocess.h"

#include <zApi/zApi.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

namespace rovision {

namespace {

// The steepest step (degrees) that gap filling bridges by interpolation.
constexpr double kFillSlopeLimit = 45.0;

Ty::Object<void*> NewArray(zType type, zSize rows, zSize columns) {
  zArray2 array = nullptr;
  const zStatus status = zArray2_Construct(&array, type, rows, columns, nullptr);
  if (status != zOK) throw Ty::Exception(status, "cannot allocate a work array");
  return Ty::Object<void*>(array);
}

int Reach(const Preprocess& step, const rv::Surface& surface) {
  switch (step.kind) {
    case Preprocess::Kind::FillGaps: {
      const double spacing = std::min(surface.scale.x, surface.scale.y);
      return static_cast<int>(std::ceil(step.maxGap / spacing)) + 1;
    }
    case Preprocess::Kind::Average:
      return step.size / 2 + 1;
    case Preprocess::Kind::Median:
      return step.passes;
  }
  return 0;
}

Ty::Object<void*> FillGaps(const rv::Surface& surface, const Preprocess& step) {
  rv::SurfaceFillGapParams params;
  params.xSpacing = surface.scale.x;
  params.ySpacing = surface.scale.y;
  params.zScale = surface.scale.z;
  params.maxGapX = params.maxGapY = step.maxGap;
  params.maxSlopeAngleX = params.maxSlopeAngleY = kFillSlopeLimit;
  params.fillMode = 0;
  Ty::Object<void*> heights, intensities;
  rv::SurfaceFillGapXY(params, surface.layers[0], Ty::Object<void*>(), heights, intensities,
                       nullptr);
  return heights;
}

Ty::Object<void*> Average(const rv::Surface& surface, const Preprocess& step) {
  const void* input = surface.layers[0];
  Ty::Object<void*> output = NewArray(zTypeOf(z16s), zArray2_Rows(const_cast<void*>(input)),
                                      zArray2_Columns(const_cast<void*>(input)));
  rv::SurfaceFilter filter(surface.layers[0], output, nullptr);
  const auto size = static_cast<unsigned long long>(step.size);
  filter.Average(rv::Point2d<unsigned long long>{size, size}, 1);
  return output;
}

// The library's median skips NaN among float pixels but not the 16-bit null, so the heights go
// through floats with NaN for null and come back with every input null kept.
Ty::Object<void*> Median(const rv::Surface& surface, const Preprocess& step) {
  void* heights = surface.layers[0];
  const zSize rows = zArray2_Rows(heights), columns = zArray2_Columns(heights);
  zImage image = nullptr;
  const zStatus status = zImage_Construct(&image, zTypeOf(z32f), columns, rows, nullptr);
  if (status != zOK) throw Ty::Exception(status, "cannot allocate a work image");
  const Ty::Object<void*> floats(image);
  for (zSize r = 0; r < rows; ++r) {
    const auto* in = static_cast<const z16s*>(zArray2_Row(heights, r));
    auto* out = static_cast<z32f*>(zImage_Row(image, r));
    for (zSize c = 0; c < columns; ++c) {
      out[c] = in[c] == rv::GetNull<z16s>() ? NAN : static_cast<z32f>(in[c]);
    }
  }
  const Ty::Object<void*> filtered = rv::ImageMedianX(floats, step.passes, 1);
  Ty::Object<void*> result = NewArray(zTypeOf(z16s), rows, columns);
  for (zSize r = 0; r < rows; ++r) {
    const auto* in = static_cast<const z16s*>(zArray2_Row(heights, r));
    const auto* median = static_cast<const z32f*>(zImage_Row(filtered, r));
    auto* out = static_cast<z16s*>(zArray2_Row(result, r));
    for (zSize c = 0; c < columns; ++c) {
      const bool valid =
          in[c] != rv::GetNull<z16s>() && std::isfinite(median[c]) && median[c] != -FLT_MAX;
      out[c] = valid ? static_cast<z16s>(std::lround(median[c])) : rv::GetNull<z16s>();
    }
  }
  return result;
}

}  // namespace

WorkingArea Preprocessed(const rv::Surface& surface, const rv::Rect2d<int>& box,
                         const std::vector<Preprocess>& steps) {
  if (steps.empty()) return WorkingArea{surface, box};
  int margin = 0;
  for (const Preprocess& step : steps) margin += Reach(step, surface);

  void* heights = surface.layers[0];
  const int rows = static_cast<int>(zArray2_Rows(heights));
  const int columns = static_cast<int>(zArray2_Columns(heights));
  const int x0 = std::max(0, box.x - margin), y0 = std::max(0, box.y - margin);
  const int x1 = std::min(columns, box.x + box.width + margin);
  const int y1 = std::min(rows, box.y + box.height + margin);

  WorkingArea area;
  area.surface.scale = surface.scale;
  area.surface.offset = zPoint3d64f{surface.offset.x + x0 * surface.scale.x,
                                    surface.offset.y + y0 * surface.scale.y, surface.offset.z};
  area.box = rv::Rect2d<int>{box.x - x0, box.y - y0, box.width, box.height};
  Ty::Object<void*> crop = NewArray(zTypeOf(z16s), zSize(y1 - y0), zSize(x1 - x0));
  for (int r = y0; r < y1; ++r) {
    std::memcpy(zArray2_Row(crop, zSize(r - y0)),
                static_cast<const z16s*>(zArray2_Row(heights, zSize(r))) + x0,
                sizeof(z16s) * zSize(x1 - x0));
  }
  area.surface.layers.push_back(std::move(crop));

  for (const Preprocess& step : steps) {
    switch (step.kind) {
      case Preprocess::Kind::FillGaps:
        area.surface.layers[0] = FillGaps(area.surface, step);
        break;
      case Preprocess::Kind::Average:
        area.surface.layers[0] = Average(area.surface, step);
        break;
      case Preprocess::Kind::Median:
        area.surface.layers[0] = Median(area.surface, step);
        break;
    }
  }
  return area;
}

}  // namespace rovision
