// Uses the installed library as another project would: build a surface, convert a region.
#include <RoVision/RoVision.h>
#include <zApi/zApi.h>

#include <cstdio>

int main() {
  Ro::Vision::Surface surface;
  surface.scale = zPoint3d64f{0.1, 0.1, 0.01};
  surface.offset = zPoint3d64f{0, 0, 0};
  zArray2 heights = nullptr;
  if (zArray2_Construct(&heights, zTypeOf(z16s), 20, 30, nullptr) != zOK) return 1;
  surface.layers.emplace_back(heights);
  Ro::Vision::SurfaceInputData data;
  Ro::Vision::RetrieveSurfaceInputData(surface, &data);
  const Ro::Vision::Region3d<double> region{1.0, 1.0, 0.0, 1.0, 1.0, 1.0, 0, 0, 0};
  Ro::Vision::Rect3d<int> rect;
  Ro::Vision::GetRegionPixel(data, &region, &rect);
  std::printf("columns %d+%d rows %d+%d\n", rect.x, rect.width, rect.y, rect.height);
  return rect.x == 5 && rect.width == 11 && rect.y == 5 && rect.height == 11 ? 0 : 1;
}
