#include "zImage.h"

#include <vector>

#include "zBufferImpl.h"
#include "zFile.h"
#include "zSerializer.h"

using zapi::AsBuffer;
using zapi::Buffer;

const zClassInfo zClassInfo_zImage = {"zImage", &zapi::DeleteObject<Buffer>};

namespace {
Buffer* Get(zImage image) {
  return AsBuffer(image, &zClassInfo_zImage);
}
}  // namespace

zStatus zImage_Construct(zImage* image, zType type, zSize width, zSize height, zAlloc alloc) {
  return zapi::BufferConstruct(&zClassInfo_zImage, type, height, width, 0, alloc, image);
}

zStatus zImage_ConstructUninitialized(zImage* image, zType type, zSize width, zSize height,
                                      zAlloc alloc) {
  return zapi::BufferConstruct(&zClassInfo_zImage, type, height, width, 0, alloc, image, false);
}

zStatus zImage_Clone(zImage src, zAlloc alloc, zImage* image) {
  if (!src) return zERROR_PARAMETER;
  return zapi::BufferClone(&zClassInfo_zImage, Get(src), alloc, image);
}

zType zImage_PixelType(zImage image) {
  return image ? Get(image)->type : nullptr;
}
zSize zImage_Width(zImage image) {
  return image ? Get(image)->cols : 0;
}
zSize zImage_Height(zImage image) {
  return image ? Get(image)->rows : 0;
}
zSize zImage_Stride(zImage image) {
  return image ? Get(image)->RowBytes() : 0;
}
void* zImage_Data(zImage image) {
  return image ? Get(image)->data : nullptr;
}

void* zImage_Row(zImage image, zSize y) {
  Buffer* buffer = Get(image);
  assert(y < buffer->rows);
  return buffer->Bytes() + y * buffer->RowBytes();
}

void* zImage_At(zImage image, zSize x, zSize y) {
  Buffer* buffer = Get(image);
  assert(y < buffer->rows && x < buffer->cols);
  return buffer->Bytes() + y * buffer->RowBytes() + x * buffer->ItemSize();
}

zStatus zImage_Zero(zImage image) {
  return image ? zapi::BufferZero(Get(image)) : zERROR_PARAMETER;
}

zStatus zImage_Copy(zImage dst, zImage src) {
  if (!dst || !src) return zERROR_PARAMETER;
  return zapi::BufferCopy(Get(dst), Get(src));
}

zStatus zImage_Allocate(zImage image, zType type, zSize width, zSize height) {
  if (!image) return zERROR_PARAMETER;
  return zapi::BufferAllocate(Get(image), type, height, width);
}

namespace {

// Serialises a BMP (BITMAPFILEHEADER + BITMAPINFOHEADER, bottom-up rows padded to 4 bytes).
class BmpWriter {
 public:
  explicit BmpWriter(zSerializer s) : s_(s) {}
  zStatus Put16(z16u v) { return Keep(zSerializer_Write16u(s_, v)); }
  zStatus Put32(z32u v) { return Keep(zSerializer_Write32u(s_, v)); }
  zStatus PutBytes(const void* d, zSize n) { return Keep(zSerializer_WriteBytes(s_, d, n)); }
  zStatus status() const { return status_; }

 private:
  zStatus Keep(zStatus s) {
    if (status_ == zOK) status_ = s;
    return status_;
  }
  zSerializer s_;
  zStatus status_ = zOK;
};

zStatus WriteBmp(const Buffer* img, zSerializer s) {
  const bool grey = img->type == zTypeOf(z8u);
  const zSize width = img->cols, height = img->rows;
  const zSize rowBytes = grey ? width : width * 3;
  const zSize padding = (4 - rowBytes % 4) % 4;
  const zSize paletteBytes = grey ? 256 * 4 : 0;
  const zSize imageBytes = (rowBytes + padding) * height;
  if (54 + paletteBytes + imageBytes > 0xFFFFFFFFu) return zERROR_PARAMETER;
  BmpWriter w(s);
  w.Put16(19778);
  w.Put32(static_cast<z32u>(54 + paletteBytes + imageBytes));
  w.Put32(0);
  w.Put32(static_cast<z32u>(54 + paletteBytes));
  w.Put32(40);
  w.Put32(static_cast<z32u>(width));
  w.Put32(static_cast<z32u>(height));
  w.Put16(1);
  w.Put16(grey ? 8 : 24);
  w.Put32(0);
  w.Put32(static_cast<z32u>(imageBytes));
  w.Put32(0);
  w.Put32(0);
  w.Put32(grey ? 256 : 0);
  w.Put32(0);
  if (grey) {
    for (z32u i = 0; i < 256; ++i) w.Put32(i * 65793u);
  }
  std::vector<z8u> row(rowBytes + padding, 0);
  for (zSize y = height; y-- > 0;) {
    const z8u* src = reinterpret_cast<const z8u*>(img->Bytes() + y * img->RowBytes());
    if (grey) {
      for (zSize x = 0; x < width; ++x) row[x] = src[x];
    } else {
      const zSize step = img->ItemSize();  // 3 (zRgb24) or 4 (zArgb), r g b first
      for (zSize x = 0; x < width; ++x) {
        row[3 * x + 0] = src[x * step + 2];
        row[3 * x + 1] = src[x * step + 1];
        row[3 * x + 2] = src[x * step + 0];
      }
    }
    w.PutBytes(row.data(), row.size());
  }
  return w.status();
}

}  // namespace

zStatus zImage_Export(zImage image, const char* path) {
  if (!image || !path) return zERROR_PARAMETER;
  const Buffer* img = Get(image);
  if (img->type != zTypeOf(z8u) && img->type != zTypeOf(zRgb24) && img->type != zTypeOf(zArgb)) {
    return zERROR_TYPE;
  }
  zMemory memory = nullptr;
  zSerializer serializer = nullptr;
  zStatus status = zMemory_Construct(&memory, nullptr);
  if (status == zOK) status = zSerializer_Construct(&serializer, memory, nullptr);
  if (status == zOK) status = zSerializer_BeginWrite(serializer, zTypeOf(z16u));
  if (status == zOK) status = WriteBmp(img, serializer);
  if (status == zOK) status = zSerializer_EndWrite(serializer);
  if (status == zOK) status = zFile_Save(path, zMemory_Data(memory), zMemory_Size(memory));
  zObject_Destroy(serializer);
  zObject_Destroy(memory);
  return status;
}
