// Builds a surface over a small generated height map (a tilted plane with a round bump and a
// patch of missing data), converts world regions to sample indices and prints what they cover.
#include <RoVision/RoVision.h>
#include <zApi/zApi.h>

#include <cmath>
#include <cstdio>

namespace rv = Ro::Vision;

namespace {

Ty::Object<void*> MakeHeights(zSize rows, zSize columns) {
  zArray2 heights = nullptr;
  if (zArray2_Construct(&heights, zTypeOf(z16s), rows, columns, nullptr) != zOK) {
    throw Ty::Exception(zERROR_MEMORY, "cannot allocate the height map");
  }
  for (zSize r = 0; r < rows; ++r) {
    auto* row = static_cast<z16s*>(zArray2_Row(heights, r));
    for (zSize c = 0; c < columns; ++c) {
      const double dx = double(c) - 40.0, dy = double(r) - 30.0;
      const double bump = std::hypot(dx, dy) < 10 ? 500.0 : 0.0;
      const bool occluded = c >= 60 && c < 66 && r >= 5 && r < 12;
      row[c] = occluded ? rv::GetNull<short>() : static_cast<z16s>(100 + 3 * c + 2 * r + bump);
    }
  }
  return Ty::Object<void*>(heights);
}

void Report(const char* name, const rv::SurfaceInputData& data,
            const rv::Region3d<double>& region) {
  rv::Rect3d<int> rect;
  rv::GetRegionPixel(data, &region, &rect);
  zSize valid = 0;
  double sum = 0;
  for (int r = rect.y; r < rect.y + rect.height; ++r) {
    const auto* row = static_cast<const z16s*>(zArray2_Row(data.heights, zSize(r)));
    for (int c = rect.x; c < rect.x + rect.width; ++c) {
      if (row[c] == rv::GetNull<short>()) continue;
      ++valid;
      sum += data.offset.z + row[c] * data.scale.z;
    }
  }
  std::printf(
      "%-10s centre (%6.2f, %6.2f) size %5.2f x %5.2f -> columns %3d..%3d, rows %3d..%3d, "
      "heights %3d..%3d: %4zu valid samples, mean height %7.3f\n",
      name, region.x, region.y, region.width, region.length, rect.x, rect.x + rect.width - 1,
      rect.y, rect.y + rect.height - 1, rect.z, rect.z + rect.depth - 1, static_cast<size_t>(valid),
      valid ? sum / valid : 0.0);
}

}  // namespace

int main() {
  rv::Surface surface;
  surface.scale = zPoint3d64f{0.05, 0.05, 0.001};  // mm per column, per row, per height count
  surface.offset = zPoint3d64f{10.0, 20.0, -1.0};
  surface.layers.push_back(MakeHeights(60, 80));

  rv::SurfaceInputData data;
  rv::RetrieveSurfaceInputData(surface, &data);
  std::printf("surface: %llu columns x %llu rows, resolution %.3f x %.3f x %.4f mm\n", data.width,
              data.length, data.scale.x, data.scale.y, data.scale.z);

  Report("bump", data, rv::Region3d<double>{12.0, 21.5, 0.0, 1.0, 1.0, 10.0, 0, 0, 0});
  Report("plate", data, rv::Region3d<double>{11.0, 20.5, 0.0, 1.0, 0.6, 10.0, 0, 0, 0});
  Report("occluded", data, rv::Region3d<double>{13.15, 20.4, 0.0, 0.3, 0.4, 10.0, 0, 0, 0});
  Report("clipped", data, rv::Region3d<double>{14.0, 23.0, 0.0, 2.0, 2.0, 10.0, 0, 0, 0});
  return 0;
}
