#include "ScanRecords.h"

#include <zApi/zArray1.h>

#include "ElementTypes.h"
#include "ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {
constexpr char kModule[] = "Common/Common";
}

Profile::Profile() : scale{kNullDouble, kNullDouble}, offset{kNullDouble, kNullDouble} {}

Profile::Profile(zPoint64f offsetIn, zPoint64f scaleIn) : scale(scaleIn), offset(offsetIn) {}

Profile::Profile(const zPoint3d64f* offsetIn, const zPoint3d64f* scaleIn) : Profile() {
  if (offsetIn) offset = zPoint64f{offsetIn->x, offsetIn->z};
  if (scaleIn) scale = zPoint64f{scaleIn->x, scaleIn->z};
}

std::size_t Profile::AddLayer(void* type, unsigned long long count, void* allocator) {
  const Site site{kModule, "Ro::Vision::Profile::AddLayer"};
  zArray1 array = nullptr;
  Check(site, __LINE__, zArray1_Construct(&array, static_cast<zType>(type), count, allocator));
  Ty::Object<void*> layer(array);  // owned from here, even if the append throws
  layers.push_back(std::move(layer));
  return layers.size() - 1;
}

std::size_t Profile::AddLayer(const Ty::Object<void*>& layer) {
  layers.push_back(layer);
  return layers.size() - 1;
}

Surface::Surface()
    : scale{kNullDouble, kNullDouble, kNullDouble}, offset{kNullDouble, kNullDouble, kNullDouble} {}

}  // namespace Vision
}  // namespace Ro
