// Profile and Surface: a scan's coordinate system (a resolution and an offset per axis) and its
// data layers, held as platform arrays.
//
// World coordinates of a height-map sample at row r and column j holding value h:
//   X = offset.x + j * scale.x,  Y = offset.y + r * scale.y,  Z = offset.z + h * scale.z.
// A sample whose value is the 16-bit null (-32768) has no Z. A profile maps its sample index and
// range the same way along X and Z (its zPoint64f fields hold x and z in x and y).
//
// Copying a record shares its layers: writing into a layer through one record is visible through
// every copy, and a layer lives as long as any record or wrapper holds it.
#ifndef ROVISION_COMMON_SCANRECORDS_H
#define ROVISION_COMMON_SCANRECORDS_H

#include <TyApi/TyObject.h>
#include <zApi/zDefs.h>

#include <cstddef>
#include <vector>

#include "Export.h"

namespace Ro {
namespace Vision {

struct RO_API Profile {
  zPoint64f scale;   // world units per step along X (x) and per count of Z (y)
  zPoint64f offset;  // world position of index 0 along X (x) and of value 0 along Z (y)
  // Layer 0: the ranges (zArray1 of z16s) or points; further layers: intensities or other
  // per-point data.
  std::vector<Ty::Object<void*>> layers;

  // Offset and scale are the double null; no layers.
  Profile();
  // Note the order: the offset comes first, then the resolution.
  Profile(zPoint64f offset, zPoint64f scale);
  // Takes x and z of each point and drops y.
  Profile(const zPoint3d64f* offset, const zPoint3d64f* scale);

  // Appends a new zero-filled zArray1 of `count` items of `type` (a zType) made with
  // `allocator`, and returns its index. A failing construction raises the platform's status.
  std::size_t AddLayer(void* type, unsigned long long count, void* allocator);
  // Appends `layer` (sharing it) and returns its index.
  std::size_t AddLayer(const Ty::Object<void*>& layer);
};

struct RO_API Surface {
  zPoint3d64f scale;   // world units per column (x), row (y) and height count (z)
  zPoint3d64f offset;  // world position of column 0, row 0 and height value 0
  // Layer 0: the heights, a zArray2 of z16s (rows by columns), or a point cloud (zArray2 of
  // zPoint3d32s or zPoint3d64f). Layer 1, when present: the intensity, a zArray2 of z8u of the
  // same size. Callers fill the list directly.
  std::vector<Ty::Object<void*>> layers;

  // Scale and offset are the double null; no layers.
  Surface();
};

// The flat view of a surface that the region conversions work on. The handles are borrowed:
// the view is valid only while the surface lives.
struct SurfaceInputData {
  unsigned long long width = 0;   // columns of layer 0
  unsigned long long length = 0;  // rows of layer 0
  zPoint3d64f offset{};
  zPoint3d64f scale{};
  void* heights = nullptr;    // layer 0
  void* intensity = nullptr;  // layer 1, or null when the surface has fewer than two layers
};

}  // namespace Vision
}  // namespace Ro

#endif
