#include "TyVision.h"

#include <vector>

#include "../zApi/zObjectImpl.h"

namespace {

struct SurfaceMsg : zObjectHeader {
  zArray2 ranges = nullptr;
  zArray2 intensities = nullptr;
  zPoint3d64f offset{0, 0, 0};
  zPoint3d64f scale{1, 1, 1};
  std::vector<zPoint3d64f> itemOffsets;
  ~SurfaceMsg() {
    zObject_Destroy(ranges);
    zObject_Destroy(intensities);
  }
};

struct DataMsg : zObjectHeader {
  zArray1 ranges = nullptr;
  zPoint64f offset{0, 0};
  zPoint64f scale{1, 1};
  ~DataMsg() { zObject_Destroy(ranges); }
};

struct ImageMsg : zObjectHeader {
  zImage image = nullptr;
  TvPixelFormat format = TvPixelFormat_Mono8;
  ~ImageMsg() { zObject_Destroy(image); }
};

struct LineFeatureMsg : zObjectHeader {
  zPoint3d64f position{0, 0, 0};
  zPoint3d64f direction{1, 0, 0};
};

const zClassInfo kSurfaceMsg = {"TvSurfaceMsg", &zapi::DeleteObject<SurfaceMsg>};
const zClassInfo kDataMsg = {"TvDataMsg", &zapi::DeleteObject<DataMsg>};
const zClassInfo kImageMsg = {"TvImageMsg", &zapi::DeleteObject<ImageMsg>};
const zClassInfo kLineFeatureMsg = {"TvLineFeatureMsg", &zapi::DeleteObject<LineFeatureMsg>};

SurfaceMsg* Surface(TvMsg msg) {
  return zapi::Cast<SurfaceMsg>(msg, &kSurfaceMsg);
}
DataMsg* Data(TvMsg msg) {
  return zapi::Cast<DataMsg>(msg, &kDataMsg);
}
ImageMsg* Image(TvMsg msg) {
  return zapi::Cast<ImageMsg>(msg, &kImageMsg);
}
LineFeatureMsg* LineFeature(TvMsg msg) {
  return zapi::Cast<LineFeatureMsg>(msg, &kLineFeatureMsg);
}

// Builds a message object and hands it out only when all its parts were made.
template <class T, class Fill>
zStatus Build(TvMsg* msg, zAlloc alloc, const zClassInfo* cls, Fill fill) {
  if (!msg) return zERROR_PARAMETER;
  *msg = nullptr;
  T* object = nullptr;
  zStatus status = zapi::NewObject(alloc, cls, &object);
  if (status != zOK) return status;
  status = fill(object);
  if (status != zOK) {
    zObject_Destroy(object);
    return status;
  }
  *msg = object;
  return zOK;
}

}  // namespace

zStatus TvSurfaceMsg_Construct(TvMsg* msg, zSize width, zSize length, zSize itemCount,
                               zBool withIntensity, zAlloc alloc) {
  return Build<SurfaceMsg>(msg, alloc, &kSurfaceMsg, [&](SurfaceMsg* m) {
    m->itemOffsets.assign(itemCount > 0 ? itemCount : 1, m->offset);
    zStatus status = zArray2_Construct(&m->ranges, zTypeOf(z16s), length, width, alloc);
    if (status == zOK && withIntensity) {
      status = zArray2_Construct(&m->intensities, zTypeOf(z8u), length, width, alloc);
    }
    return status;
  });
}

zSize TvSurfaceMsg_Width(TvMsg msg) {
  SurfaceMsg* m = Surface(msg);
  return m ? zArray2_Columns(m->ranges) : 0;
}

zSize TvSurfaceMsg_Length(TvMsg msg) {
  SurfaceMsg* m = Surface(msg);
  return m ? zArray2_Rows(m->ranges) : 0;
}

zPoint3d64f TvSurfaceMsg_Offset(TvMsg msg) {
  SurfaceMsg* m = Surface(msg);
  return m ? m->offset : zPoint3d64f{0, 0, 0};
}

zPoint3d64f TvSurfaceMsg_Scale(TvMsg msg) {
  SurfaceMsg* m = Surface(msg);
  return m ? m->scale : zPoint3d64f{0, 0, 0};
}

zStatus TvSurfaceMsg_SetOffset(TvMsg msg, zPoint3d64f offset) {
  SurfaceMsg* m = Surface(msg);
  if (!m) return zERROR_PARAMETER;
  m->offset = offset;
  return zOK;
}

zStatus TvSurfaceMsg_SetScale(TvMsg msg, zPoint3d64f scale) {
  SurfaceMsg* m = Surface(msg);
  if (!m) return zERROR_PARAMETER;
  m->scale = scale;
  return zOK;
}

zSize TvSurfaceMsg_ItemCount(TvMsg msg) {
  SurfaceMsg* m = Surface(msg);
  return m ? m->itemOffsets.size() : 0;
}

zStatus TvSurfaceMsg_OffsetForRef(TvMsg msg, z32s index, zPoint3d64f* offset) {
  SurfaceMsg* m = Surface(msg);
  if (!m || !offset) return zERROR_PARAMETER;
  if (index < 0 || static_cast<zSize>(index) >= m->itemOffsets.size()) return zERROR_NOT_FOUND;
  *offset = m->itemOffsets[static_cast<zSize>(index)];
  return zOK;
}

zStatus TvSurfaceMsg_SetOffsetForRef(TvMsg msg, z32s index, zPoint3d64f offset) {
  SurfaceMsg* m = Surface(msg);
  if (!m) return zERROR_PARAMETER;
  if (index < 0 || static_cast<zSize>(index) >= m->itemOffsets.size()) return zERROR_NOT_FOUND;
  m->itemOffsets[static_cast<zSize>(index)] = offset;
  return zOK;
}

zArray2 TvSurfaceMsg_Ranges(TvMsg msg) {
  SurfaceMsg* m = Surface(msg);
  return m ? m->ranges : nullptr;
}

zArray2 TvSurfaceMsg_Intensities(TvMsg msg) {
  SurfaceMsg* m = Surface(msg);
  return m ? m->intensities : nullptr;
}

z16s* TvSurfaceMsg_RangesRow(TvMsg msg, zSize row) {
  SurfaceMsg* m = Surface(msg);
  return m ? static_cast<z16s*>(zArray2_Row(m->ranges, row)) : nullptr;
}

zStatus TvDataMsg_Construct(TvMsg* msg, zSize count, zAlloc alloc) {
  return Build<DataMsg>(msg, alloc, &kDataMsg, [&](DataMsg* m) {
    return zArray1_Construct(&m->ranges, zTypeOf(z16s), count, alloc);
  });
}

zSize TvDataMsg_Count(TvMsg msg) {
  DataMsg* m = Data(msg);
  return m ? zArray1_Length(m->ranges) : 0;
}

zArray1 TvDataMsg_Ranges(TvMsg msg) {
  DataMsg* m = Data(msg);
  return m ? m->ranges : nullptr;
}

zPoint64f TvDataMsg_Offset(TvMsg msg) {
  DataMsg* m = Data(msg);
  return m ? m->offset : zPoint64f{0, 0};
}

zPoint64f TvDataMsg_Scale(TvMsg msg) {
  DataMsg* m = Data(msg);
  return m ? m->scale : zPoint64f{0, 0};
}

zStatus TvDataMsg_SetOffset(TvMsg msg, zPoint64f offset) {
  DataMsg* m = Data(msg);
  if (!m) return zERROR_PARAMETER;
  m->offset = offset;
  return zOK;
}

zStatus TvDataMsg_SetScale(TvMsg msg, zPoint64f scale) {
  DataMsg* m = Data(msg);
  if (!m) return zERROR_PARAMETER;
  m->scale = scale;
  return zOK;
}

zType TvPixelFormat_Type(TvPixelFormat format) {
  switch (format) {
    case TvPixelFormat_Mono8:
      return zTypeOf(z8u);
    case TvPixelFormat_Mono16:
      return zTypeOf(z16u);
    case TvPixelFormat_Rgb8:
      return zTypeOf(zRgb24);
  }
  return nullptr;
}

zStatus TvImageMsg_Construct(TvMsg* msg, TvPixelFormat format, zSize width, zSize height,
                             zAlloc alloc) {
  const zType type = TvPixelFormat_Type(format);
  if (!type) {
    if (msg) *msg = nullptr;
    return zERROR_PARAMETER;
  }
  return Build<ImageMsg>(msg, alloc, &kImageMsg, [&](ImageMsg* m) {
    m->format = format;
    return zImage_Construct(&m->image, type, width, height, alloc);
  });
}

zSize TvImageMsg_Width(TvMsg msg) {
  ImageMsg* m = Image(msg);
  return m ? zImage_Width(m->image) : 0;
}

zSize TvImageMsg_Height(TvMsg msg) {
  ImageMsg* m = Image(msg);
  return m ? zImage_Height(m->image) : 0;
}

TvPixelFormat TvImageMsg_Format(TvMsg msg) {
  ImageMsg* m = Image(msg);
  return m ? m->format : TvPixelFormat_Mono8;
}

zImage TvImageMsg_Image(TvMsg msg) {
  ImageMsg* m = Image(msg);
  return m ? m->image : nullptr;
}

zStatus TvLineFeatureMsg_Construct(TvMsg* msg, zPoint3d64f position, zPoint3d64f direction,
                                   zAlloc alloc) {
  return Build<LineFeatureMsg>(msg, alloc, &kLineFeatureMsg, [&](LineFeatureMsg* m) {
    m->position = position;
    m->direction = direction;
    return zOK;
  });
}

zStatus TvLineFeatureMsg_Position(TvMsg msg, zPoint3d64f* position) {
  LineFeatureMsg* m = LineFeature(msg);
  if (!m || !position) return zERROR_PARAMETER;
  *position = m->position;
  return zOK;
}

zStatus TvLineFeatureMsg_Direction(TvMsg msg, zPoint3d64f* direction) {
  LineFeatureMsg* m = LineFeature(msg);
  if (!m || !direction) return zERROR_PARAMETER;
  *direction = m->direction;
  return zOK;
}
