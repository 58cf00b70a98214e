#include "BmpIo.h"

#include <zApi/zFile.h>
#include <zApi/zMemory.h>
#include <zApi/zSerializer.h>

#include <vector>

#include "ImageConvert.h"
#include "ImagePrivate.h"
#include "SpectrumPrivate.h"

namespace Ro {
namespace Vision {

using namespace image;

namespace {

constexpr z16u kBmpSignature = 19778;  // "BM"
constexpr z32u kFileHeaderSize = 14;
constexpr z32u kInfoHeaderSize = 40;

struct BmpLayout {
  z32u width;
  z32u height;
  z32u padding;     // zero bytes after each row
  z32u imageBytes;  // (width * 3 + padding) * height
};

BmpLayout LayoutOf(zSize width, zSize height) {
  BmpLayout layout{};
  layout.width = static_cast<z32u>(width);
  layout.height = static_cast<z32u>(height);
  layout.padding = (4 - (layout.width * 3) % 4) % 4;
  layout.imageBytes = (layout.width * 3 + layout.padding) * layout.height;
  return layout;
}

// The file and info headers, field by field. Only 24-bit images reach this writer, so the grey
// palette that an 8-bit image would carry after the headers is never written.
zStatus WriteHeaders(zSerializer out, const BmpLayout& layout) {
  const z32u dataOffset = kFileHeaderSize + kInfoHeaderSize;
  zStatus status = zSerializer_Write16u(out, kBmpSignature);
  if (status == zOK) status = zSerializer_Write32u(out, dataOffset + layout.imageBytes);
  if (status == zOK) status = zSerializer_Write32u(out, 0);  // reserved
  if (status == zOK) status = zSerializer_Write32u(out, dataOffset);
  if (status == zOK) status = zSerializer_Write32u(out, kInfoHeaderSize);
  if (status == zOK) status = zSerializer_Write32s(out, static_cast<z32s>(layout.width));
  // Positive: rows run bottom-up.
  if (status == zOK) status = zSerializer_Write32s(out, static_cast<z32s>(layout.height));
  if (status == zOK) status = zSerializer_Write16u(out, 1);   // planes
  if (status == zOK) status = zSerializer_Write16u(out, 24);  // bits per pixel
  if (status == zOK) status = zSerializer_Write32u(out, 0);   // no compression
  if (status == zOK) status = zSerializer_Write32u(out, layout.imageBytes);
  for (int i = 0; i < 4 && status == zOK; ++i) {
    // Horizontal and vertical resolution, colours used, important colours.
    status = zSerializer_Write32u(out, 0);
  }
  return status;
}

zStatus WriteSpectrumRows(zSerializer out, void* heights, const BmpLayout& layout) {
  int lo = 0;
  int hi = 0;
  SpectrumRange(heights, &lo, &hi);
  std::vector<z8u> line(layout.width * 3 + layout.padding, 0);
  zStatus status = zOK;
  for (zSize y = layout.height; y-- > 0 && status == zOK;) {
    const z16u* row = ConstRowOf<z16u>(heights, y);
    for (zSize x = 0; x < layout.width; ++x) {
      const z32u colour = SpectrumPacked(row[x], lo, hi);
      line[3 * x] = static_cast<z8u>(colour);
      line[3 * x + 1] = static_cast<z8u>(colour >> 8);
      line[3 * x + 2] = static_cast<z8u>(colour >> 16);
    }
    status = zSerializer_WriteBytes(out, line.data(), line.size());
  }
  return status;
}

}  // namespace

void ImageSaveSpectrumBmp(void* image, const char* path, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageSaveSpectrumBmp");
  RequireImage(site, __LINE__, image);
  if (!path) Throw(site, __LINE__, kInvalidArgument, "the path is null");
  Ty::Object<void*> heights = HeightsAs16u(image, alloc);
  if (!heights) return;
  zMemory memory = nullptr;
  Check(site, __LINE__, zMemory_Construct(&memory, alloc));
  Ty::Object<void*> memoryHolder(memory);
  zSerializer serializer = nullptr;
  Check(site, __LINE__, zSerializer_Construct(&serializer, memory, alloc));
  Ty::Object<void*> serializerHolder(serializer);
  const BmpLayout layout = LayoutOf(zImage_Width(heights), zImage_Height(heights));
  Check(site, __LINE__, zSerializer_BeginWrite(serializer, TypeOf<z16u>()));
  Check(site, __LINE__, WriteHeaders(serializer, layout));
  Check(site, __LINE__, WriteSpectrumRows(serializer, heights, layout));
  Check(site, __LINE__, zSerializer_EndWrite(serializer));
  Check(site, __LINE__, zFile_Save(path, zMemory_Data(memory), zMemory_Size(memory)));
}

void ImageSaveBmp(void* image, const char* path) {
  const Site site = SiteOf("Ro::Vision::ImageSaveBmp");
  RequireImage(site, __LINE__, image);
  if (!path) Throw(site, __LINE__, kInvalidArgument, "the path is null");
  Check(site, __LINE__, zImage_Export(image, path));
}

void ImageSaveHeightMapFromItem(void* item, const char* path, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageSaveHeightMapFromItem");
  if (!item || !path) Throw(site, __LINE__, kInvalidArgument, "the item and path must be given");
  Ty::Object<void*> heights = Image16sFromItem(item, alloc);
  Ty::Object<void*> grey = Image8bitFromImage(heights, 1, alloc);
  Check(site, __LINE__, zImage_Export(grey, path));
}

}  // namespace Vision
}  // namespace Ro
