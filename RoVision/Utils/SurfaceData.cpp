#include "SurfaceData.h"

#include <TyVision/TyVision.h>
#include <zApi/zArray2.h>

#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {
constexpr char kModule[] = "Utils/Utils";

void SetIfGiven(double* out, double value) {
  if (out) *out = value;
}
}  // namespace

void RetrieveSurfaceInputData(const Surface& surface, SurfaceInputData* out) {
  if (!out) Throw({kModule, "Ro::Vision::RetrieveSurfaceInputData"}, __LINE__, kInvalidArgument);
  out->offset = surface.offset;
  out->scale = surface.scale;
  out->width = 0;
  out->length = 0;
  out->heights = nullptr;
  out->intensity = nullptr;
  if (!surface.layers.empty() && surface.layers[0]) {
    void* heights = surface.layers[0].Get();
    out->length = zArray2_Length(heights, 0);
    out->width = zArray2_Length(heights, 1);
    out->heights = heights;
  }
  if (surface.layers.size() > 1) out->intensity = surface.layers[1].Get();
}

zPoint3d64f GetSurfaceItemOffset(void* message, int index) {
  const Site site{kModule, "Ro::Vision::GetSurfaceItemOffset"};
  if (!message) Throw(site, __LINE__, kInvalidArgument);
  zPoint3d64f result{kNullDouble, kNullDouble, kNullDouble};
  Check(site, __LINE__, TvSurfaceMsg_OffsetForRef(message, index, &result));
  return result;
}

bool IsValidRegion3d(const zRect3d64f& region) {
  if (IsNull(region.x) || IsNull(region.y) || IsNull(region.z)) return false;
  // Written as "not greater than" so that NaN sizes fail too.
  if (!(region.width > 0) || !(region.height > 0) || !(region.length > 0)) return false;
  return true;
}

void GetRegionRanges(const zRect3d64f& region, bool centered, double* xMin, double* xMax,
                     double* yMin, double* yMax, double* zMin, double* zMax) {
  for (double* out : {xMin, xMax, yMin, yMax, zMin, zMax}) SetIfGiven(out, kNullDouble);
  if (!IsValidRegion3d(region)) return;
  if (centered) {
    SetIfGiven(xMin, region.x - region.width / 2);
    SetIfGiven(xMax, region.x + region.width / 2);
    SetIfGiven(yMin, region.y - region.length / 2);
    SetIfGiven(yMax, region.y + region.length / 2);
    SetIfGiven(zMin, region.z - region.height / 2);
    SetIfGiven(zMax, region.z + region.height / 2);
  } else {
    SetIfGiven(xMin, region.x);
    SetIfGiven(xMax, region.x + region.width);
    SetIfGiven(yMin, region.y);
    SetIfGiven(yMax, region.y + region.length);
    SetIfGiven(zMin, region.z);
    SetIfGiven(zMax, region.z + region.height);
  }
}

}  // namespace Vision
}  // namespace Ro
