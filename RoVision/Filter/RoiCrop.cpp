#include "RoiCrop.h"

#include <zApi/zArray2.h>
#include <zApi/zMem.h>
#include <zApi/zObject.h>

#include "FilterPrivate.h"

namespace Ro {
namespace Vision {
namespace {

bool IsArray2Of(void* a, zType type) {
  return a && zObject_Class(a) == zClassOf(zArray2) && zArray2_ItemType(a) == type;
}

// The rectangle holds cells, lies inside `layer` and matches the mask's size.
bool FitsInside(const Rect2d<int>& rect, void* layer, void* mask) {
  return rect.width >= 1 && rect.height >= 1 && rect.x >= 0 && rect.y >= 0 &&
         (long long)rect.x + rect.width <= (long long)zArray2_Columns(layer) &&
         (long long)rect.y + rect.height <= (long long)zArray2_Rows(layer) &&
         IsArray2Of(mask, zTypeOf(z8u)) && (long long)zArray2_Rows(mask) == rect.height &&
         (long long)zArray2_Columns(mask) == rect.width;
}

// Sum and count of f(row, column) over the cells under the mask.
template <class Item, class Value>
void SumUnderMask(void* layer, const Rect2d<int>& rect, void* mask, long long* sum,
                  long long* count, Value value) {
  for (int r = 0; r < rect.height; ++r) {
    const Item* items = static_cast<const Item*>(zArray2_Row(layer, zSize(rect.y + r))) + rect.x;
    const unsigned char* m = static_cast<const unsigned char*>(zArray2_Row(mask, zSize(r)));
    for (int c = 0; c < rect.width; ++c) {
      if (!m[c]) continue;
      *sum += value(items[c]);
      *count += 1;
    }
  }
}

}  // namespace

void CropSurfaceFromROI(const Surface& input, const Rect2d<int>& rect,
                        const Ty::Object<void*>& mask, Surface* output, void* allocator) {
  const Site site{filter::kModule, "Ro::Vision::CropSurfaceFromROI"};
  if (!output || !mask || !IsArray2Of(mask, zTypeOf(z8u)) ||
      (long long)zArray2_Rows(mask) != rect.height ||
      (long long)zArray2_Columns(mask) != rect.width || input.layers.empty() || !input.layers[0]) {
    Throw(site, 1278, kInvalidArgument);
  }
  output->scale = input.scale;
  output->offset = input.offset;
  output->offset.x = rect.x * input.scale.x + input.offset.x;
  output->offset.y = rect.y * input.scale.y + input.offset.y;
  output->layers.clear();
  if (rect.width < 1 || rect.height < 1) Throw(site, 1329, 1, "the rectangle is empty");
  void* heights = input.layers[0];
  if (!IsArray2Of(heights, zTypeOf(z16s))) Throw(site, 1289, kNotSupported);
  if (!FitsInside(rect, heights, mask)) {
    Throw(site, __LINE__, kInvalidArgument, "the rectangle reaches outside the surface");
  }
  const zSize rows = zSize(rect.height), columns = zSize(rect.width);
  Ty::Object<void*> cut;
  Check(site, 1292, zArray2_Construct(cut.Address(), zTypeOf(z16s), rows, columns, allocator));
  for (zSize r = 0; r < rows; ++r) {
    const short* h = static_cast<const short*>(zArray2_Row(heights, rect.y + r)) + rect.x;
    const unsigned char* m = static_cast<const unsigned char*>(zArray2_Row(mask, r));
    short* o = static_cast<short*>(zArray2_Row(cut, r));
    for (zSize c = 0; c < columns; ++c) o[c] = m[c] ? h[c] : filter::kNullHeight;
  }
  output->layers.push_back(std::move(cut));

  void* intensity = input.layers.size() >= 2 ? input.layers[1].Get() : nullptr;
  if (!IsArray2Of(intensity, zTypeOf(z8u))) return;  // another intensity type is not copied
  if (zArray2_Rows(intensity) != zArray2_Rows(heights) ||
      zArray2_Columns(intensity) != zArray2_Columns(heights)) {
    Throw(site, __LINE__, kInvalidArgument, "the intensity layer differs in size from layer 0");
  }
  Ty::Object<void*> cutIntensity;
  Check(site, 1314,
        zArray2_Construct(cutIntensity.Address(), zTypeOf(z8u), rows, columns, allocator));
  for (zSize r = 0; r < rows; ++r) {
    Check(site, 1321,
          zMemCopy(zArray2_Row(cutIntensity, r),
                   static_cast<const unsigned char*>(zArray2_Row(intensity, rect.y + r)) + rect.x,
                   columns));
  }
  output->layers.push_back(std::move(cutIntensity));
}

double GetAverageHeightOfROI(const Surface& surface, const Rect2d<int>& rect, void* mask) {
  void* layer0 = surface.layers.empty() ? nullptr : surface.layers[0].Get();
  if (!layer0 || zObject_Class(layer0) != zClassOf(zArray2) || !FitsInside(rect, layer0, mask)) {
    return 0.0;
  }
  long long sum = 0, count = 0;
  if (zArray2_ItemType(layer0) == zTypeOf(z16s)) {
    SumUnderMask<short>(layer0, rect, mask, &sum, &count, [](short h) { return h; });
  } else if (zArray2_ItemType(layer0) == zTypeOf(zPoint3d16s)) {
    SumUnderMask<zPoint3d16s>(layer0, rect, mask, &sum, &count,
                              [](const zPoint3d16s& p) { return p.z; });
  } else {
    return 0.0;
  }
  if (count == 0) return 0.0;
  return (double(sum) / double(count)) * surface.scale.z + surface.offset.z;
}

unsigned char GetAverageIntensityOfROI(const Surface& surface, const Rect2d<int>& rect,
                                       void* mask) {
  void* intensity = surface.layers.size() >= 2 ? surface.layers[1].Get() : nullptr;
  if (!IsArray2Of(intensity, zTypeOf(z8u)) || !FitsInside(rect, intensity, mask)) return 0;
  long long sum = 0, count = 0;
  SumUnderMask<unsigned char>(intensity, rect, mask, &sum, &count,
                              [](unsigned char v) { return v; });
  if (count == 0) return 0;
  return (unsigned char)(double(sum) / double(count));
}

}  // namespace Vision
}  // namespace Ro
