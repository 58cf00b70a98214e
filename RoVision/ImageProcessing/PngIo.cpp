#include "PngIo.h"

#include <lodepng.h>
#include <zApi/zArray1.h>
#include <zApi/zFile.h>
#include <zApi/zMem.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "ImageConvert.h"
#include "ImagePrivate.h"
#include "SpectrumPrivate.h"

namespace Ro {
namespace Vision {

using namespace image;

namespace {

constexpr char kCommentKey[] = "Comment";
constexpr char kCommentText[] = "Created by RoLskHelper.";

// Deflate cannot expand data more than 1032 times (a 258-byte match coded in two bits), so a
// header that promises more pixel bytes than that from the bytes at hand is truncated or hostile.
constexpr std::uint64_t kMaxDeflateRatio = 1032;
constexpr std::uint64_t kDeflateSlack = 1024;
// Refused outright, whatever the compressed size: no height map of this library comes near it.
constexpr std::uint64_t kMaxDecodedBytes = std::uint64_t{1} << 30;
// LodePNG's own codes for the two refusals above.
constexpr unsigned kPngErrorIdatSize = 91;       // "invalid decompressed idat size"
constexpr unsigned kPngErrorTooManyPixels = 92;  // "integer overflow due to too many pixels"

class PngState {
 public:
  PngState() { lodepng_state_init(&state_); }
  ~PngState() { lodepng_state_cleanup(&state_); }
  PngState(const PngState&) = delete;
  PngState& operator=(const PngState&) = delete;
  LodePNGState* operator->() { return &state_; }
  LodePNGState* get() { return &state_; }

 private:
  LodePNGState state_;
};

struct FreeDeleter {
  void operator()(unsigned char* p) const { std::free(p); }
};
using EncoderBuffer = std::unique_ptr<unsigned char, FreeDeleter>;

// A block from the platform allocator, released on every path.
class TempBlock {
 public:
  TempBlock(const Site& site, zAlloc alloc, zSize size) : site_(site), alloc_(alloc) {
    if (size > 0) Check(site, __LINE__, zMemAlloc(alloc, size, &block_));
  }
  ~TempBlock() { zMemFree(alloc_, block_); }
  TempBlock(const TempBlock&) = delete;
  TempBlock& operator=(const TempBlock&) = delete;
  z8u* bytes() const { return static_cast<z8u*>(block_); }
  // Frees now, so that a failing release is raised.
  void Release() {
    const zStatus status = zMemFree(alloc_, block_);
    block_ = nullptr;
    Check(site_, __LINE__, status);
  }

 private:
  Site site_;
  zAlloc alloc_;
  void* block_ = nullptr;
};

void ThrowPng(const Site& site, int line, unsigned error) {
  Throw(site, line, static_cast<zStatus>(error), lodepng_error_text(error));
}

void RequirePath(const Site& site, int line, const char* path) {
  if (!path) Throw(site, line, kInvalidArgument, "the path is null");
}

unsigned Dimension(const Site& site, zSize n) {
  if (n > INT_MAX) Throw(site, __LINE__, kInvalidArgument, "the image is too large for PNG");
  return static_cast<unsigned>(n);
}

// The state every PNG of the library is written with: stored deflate blocks without LZ77, a
// 2048 window, no interlace, compressed text and the comment chunk. The rows are not filtered:
// with stored blocks a filter gains nothing, and trying all five per row would cost most of the
// encoding time.
void PrepareEncoder(const Site& site, PngState& state) {
  state->encoder.zlibsettings.btype = 0;
  state->encoder.zlibsettings.use_lz77 = 0;
  state->encoder.zlibsettings.windowsize = 2048;
  state->encoder.filter_strategy = LFS_ZERO;
  state->encoder.text_compression = 1;
  state->info_png.interlace_method = 0;
  const unsigned error = lodepng_add_text(&state->info_png, kCommentKey, kCommentText);
  if (error) ThrowPng(site, __LINE__, error);
}

void SetColour(PngState& state, LodePNGColorType type, unsigned bits, bool autoConvert) {
  state->info_raw.colortype = type;
  state->info_raw.bitdepth = bits;
  state->info_png.color.colortype = type;
  state->info_png.color.bitdepth = bits;
  state->encoder.auto_convert = autoConvert ? 1 : 0;
}

EncoderBuffer Encode(const Site& site, PngState& state, const z8u* pixels, zSize width,
                     zSize height, size_t* size) {
  unsigned char* out = nullptr;
  const unsigned error = lodepng_encode(&out, size, pixels, Dimension(site, width),
                                        Dimension(site, height), state.get());
  EncoderBuffer encoded(out);
  if (error) ThrowPng(site, __LINE__, error);
  return encoded;
}

// The heights of a z16s or z16u image as big-endian unsigned samples, contiguous.
void BigEndianSamples(void* image, bool fromSigned, z8u* out) {
  const zSize width = zImage_Width(image);
  for (zSize y = 0; y < zImage_Height(image); ++y) {
    const z16u* row = ConstRowOf<z16u>(image, y);
    z8u* dst = out + y * width * 2;
    for (zSize x = 0; x < width; ++x) {
      // Adding 32768 modulo 65536 flips the top bit: the z16s to z16u conversion.
      const z16u v = fromSigned ? static_cast<z16u>(row[x] ^ 0x8000u) : row[x];
      dst[2 * x] = static_cast<z8u>(v >> 8);
      dst[2 * x + 1] = static_cast<z8u>(v & 0xFF);
    }
  }
}

void SaveBuffer(const Site& site, const char* path, EncoderBuffer buffer, size_t size) {
  if (!buffer) Throw(site, __LINE__, kFailure, "the encoder produced no buffer");
  Check(site, __LINE__, zFile_Save(path, buffer.get(), size));
}

// Reads the header, refuses sizes that cannot be real, then decodes to the given colour.
EncoderBuffer DecodePng(const Site& site, const unsigned char* data, size_t size,
                        LodePNGColorType type, unsigned bits, unsigned* width, unsigned* height) {
  if (!data) Throw(site, __LINE__, kInvalidArgument, "the PNG buffer is null");
  PngState state;
  unsigned error = lodepng_inspect(width, height, state.get(), data, size);
  if (error) ThrowPng(site, __LINE__, error);
  const std::uint64_t pixels = std::uint64_t{*width} * *height;
  const std::uint64_t storedBytes = (pixels * lodepng_get_bpp(&state->info_png.color) + 7) / 8;
  LodePNGColorMode wanted = lodepng_color_mode_make(type, bits);
  const std::uint64_t decodedBytes = (pixels * lodepng_get_bpp(&wanted) + 7) / 8;
  if (decodedBytes > kMaxDecodedBytes) ThrowPng(site, __LINE__, kPngErrorTooManyPixels);
  if (storedBytes > kMaxDeflateRatio * size + kDeflateSlack) {
    ThrowPng(site, __LINE__, kPngErrorIdatSize);
  }
  state->info_raw.colortype = type;
  state->info_raw.bitdepth = bits;
  unsigned char* out = nullptr;
  error = lodepng_decode(&out, width, height, state.get(), data, size);
  EncoderBuffer decoded(out);
  if (error) ThrowPng(site, __LINE__, error);
  return decoded;
}

Ty::Object<void*> LoadFile(const Site& site, const char* path, zAlloc alloc) {
  RequirePath(site, __LINE__, path);
  zArray1 bytes = nullptr;
  Check(site, __LINE__, zFile_Load(path, alloc, &bytes));
  return Ty::Object<void*>(bytes);
}

// A new image of `type` holding decoded rows of `pixelBytes` bytes per pixel, copied as they are.
Ty::Object<void*> ImageFromDecoded(const Site& site, zType type, const unsigned char* data,
                                   unsigned width, unsigned height, zAlloc alloc) {
  Ty::Object<void*> image = NewImage(site, __LINE__, type, width, height, alloc);
  const zSize rowBytes = zSize{width} * zType_Size(type);
  for (zSize y = 0; y < height; ++y) {
    Check(site, __LINE__, zMemCopy(zImage_Row(image, y), data + y * rowBytes, rowBytes));
  }
  return image;
}

// Big-endian 16-bit samples into native z16u values or, as heights, into z16s.
template <class T>
Ty::Object<void*> ImageFrom16bit(const Site& site, const unsigned char* data, unsigned width,
                                 unsigned height, zAlloc alloc) {
  Ty::Object<void*> image = NewImage(site, __LINE__, TypeOf<T>(), width, height, alloc);
  for (zSize y = 0; y < height; ++y) {
    const unsigned char* src = data + y * zSize{width} * 2;
    T* row = RowOf<T>(image, y);
    for (zSize x = 0; x < width; ++x) {
      const z16u v = static_cast<z16u>((src[2 * x] << 8) | src[2 * x + 1]);
      // For heights, subtracting 32768 modulo 65536 flips the top bit: 0 becomes -32768.
      row[x] = std::is_same<T, z16s>::value ? static_cast<T>(v ^ 0x8000u) : static_cast<T>(v);
    }
  }
  return image;
}

Ty::Object<void*> DecodeAs(const Site& site, const unsigned char* data, size_t size, zType type,
                           zAlloc alloc) {
  unsigned width = 0;
  unsigned height = 0;
  if (type == TypeOf<z8u>()) {
    EncoderBuffer pixels = DecodePng(site, data, size, LCT_GREY, 8, &width, &height);
    return ImageFromDecoded(site, type, pixels.get(), width, height, alloc);
  }
  if (type == TypeOf<zRgb24>()) {
    EncoderBuffer pixels = DecodePng(site, data, size, LCT_RGB, 8, &width, &height);
    return ImageFromDecoded(site, type, pixels.get(), width, height, alloc);
  }
  EncoderBuffer pixels = DecodePng(site, data, size, LCT_GREY, 16, &width, &height);
  if (type == TypeOf<z16u>()) return ImageFrom16bit<z16u>(site, pixels.get(), width, height, alloc);
  return ImageFrom16bit<z16s>(site, pixels.get(), width, height, alloc);
}

void SpectrumBuffer(const Site& site, void* image, unsigned char*& buffer, size_t& size,
                    zAlloc alloc) {
  RequireImage(site, __LINE__, image);
  PngState state;
  PrepareEncoder(site, state);
  SetColour(state, LCT_RGBA, 8, true);
  Ty::Object<void*> heights;
  if (zImage_PixelType(image) == TypeOf<z64f>()) {
    heights = Image64fTo16u(image, alloc);
  } else {
    heights = HeightsAs16u(image, alloc);
  }
  if (!heights) Throw(site, __LINE__, kNotSupported, "only z16s, z16u and z64f images");
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  TempBlock rgba(site, alloc, width * height * 4);
  RenderSpectrumRgba(heights, rgba.bytes());
  size_t encodedSize = 0;
  EncoderBuffer encoded = Encode(site, state, rgba.bytes(), width, height, &encodedSize);
  rgba.Release();
  size = encodedSize;
  buffer = encoded.release();
}

void PlainBuffer(const Site& site, void* image, unsigned char*& buffer, size_t& size,
                 zAlloc alloc) {
  RequireImage(site, __LINE__, image);
  PngState state;
  PrepareEncoder(site, state);
  const zType type = zImage_PixelType(image);
  const zSize width = zImage_Width(image);
  const zSize height = zImage_Height(image);
  const auto* pixels = static_cast<const z8u*>(zImage_Data(image));
  if (type == TypeOf<z8u>()) {
    SetColour(state, LCT_GREY, 8, false);
  } else if (type == TypeOf<zArgb>()) {
    SetColour(state, LCT_RGBA, 8, true);
  } else if (type == TypeOf<zRgb24>()) {
    SetColour(state, LCT_RGB, 8, true);
  } else if (type == TypeOf<z16s>() || type == TypeOf<z16u>()) {
    SetColour(state, LCT_GREY, 16, false);
    TempBlock samples(site, alloc, width * height * 2);
    BigEndianSamples(image, type == TypeOf<z16s>(), samples.bytes());
    size_t encodedSize = 0;
    EncoderBuffer encoded = Encode(site, state, samples.bytes(), width, height, &encodedSize);
    samples.Release();
    size = encodedSize;
    buffer = encoded.release();
    return;
  } else {
    Throw(site, __LINE__, kNotSupported, "only z8u, z16s, z16u, zArgb and zRgb24 images");
  }
  size_t encodedSize = 0;
  EncoderBuffer encoded = Encode(site, state, pixels, width, height, &encodedSize);
  size = encodedSize;
  buffer = encoded.release();
}

}  // namespace

void ImageBufferForSaveSpectrumPng(void* image, unsigned char*& buffer, size_t& size, void* alloc) {
  SpectrumBuffer(SiteOf("Ro::Vision::ImageBufferForSaveSpectrumPng"), image, buffer, size, alloc);
}

void ImageSaveSpectrumPng(void* image, const char* path, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageSaveSpectrumPng");
  RequirePath(site, __LINE__, path);
  unsigned char* buffer = nullptr;
  size_t size = 0;
  SpectrumBuffer(site, image, buffer, size, alloc);
  SaveBuffer(site, path, EncoderBuffer(buffer), size);
}

void ImageBufferForSavePng(void* image, unsigned char*& buffer, size_t& size, void* alloc) {
  PlainBuffer(SiteOf("Ro::Vision::ImageBufferForSavePng"), image, buffer, size, alloc);
}

void ImageSavePng(void* image, const char* path, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageSavePng");
  RequirePath(site, __LINE__, path);
  unsigned char* buffer = nullptr;
  size_t size = 0;
  PlainBuffer(site, image, buffer, size, alloc);
  SaveBuffer(site, path, EncoderBuffer(buffer), size);
}

void ImageLoadPng(Ty::Object<void*>& result, TvPixelFormat format, const char* path, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageLoadPng");
  zType type = nullptr;
  switch (format) {
    case TvPixelFormat_Mono8:
      type = TypeOf<z8u>();
      break;
    case TvPixelFormat_Mono16:
      type = TypeOf<z16u>();
      break;
    case TvPixelFormat_Rgb8:
      type = TypeOf<zRgb24>();
      break;
    default:
      Throw(site, __LINE__, kNotSupported, "only the Mono8, Mono16 and Rgb8 formats");
  }
  Ty::Object<void*> bytes = LoadFile(site, path, alloc);
  result = DecodeAs(site, static_cast<const unsigned char*>(zArray1_Data(bytes)),
                    zArray1_Length(bytes), type, alloc);
}

void ImageLoadPng(Ty::Object<void*>* result, const char* path, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageLoadPng");
  if (!result) Throw(site, __LINE__, kInvalidArgument, "the result is null");
  Ty::Object<void*> bytes = LoadFile(site, path, alloc);
  const auto* data = static_cast<const unsigned char*>(zArray1_Data(bytes));
  const size_t size = zArray1_Length(bytes);
  PngState state;
  unsigned width = 0;
  unsigned height = 0;
  const unsigned error = lodepng_inspect(&width, &height, state.get(), data, size);
  if (error) ThrowPng(site, __LINE__, error);
  const bool heights =
      state->info_png.color.colortype == LCT_GREY && state->info_png.color.bitdepth == 16;
  ImageLoadPngFromBuffer(result, data, size, heights ? TypeOf<z16u>() : TypeOf<z8u>(), alloc);
}

void ImageLoadPngFromBuffer(Ty::Object<void*>* result, const unsigned char* buffer, size_t size,
                            const void* type, void* alloc) {
  const Site site = SiteOf("Ro::Vision::ImageLoadPngFromBuffer");
  if (!result) Throw(site, __LINE__, kInvalidArgument, "the result is null");
  const auto wanted = static_cast<zType>(type);
  if (wanted != TypeOf<z8u>() && wanted != TypeOf<z16u>()) {
    Throw(site, __LINE__, kNotSupported, "only z8u and z16u can be decoded");
  }
  // z16u samples come back as a z16s height map.
  *result = DecodeAs(site, buffer, size, wanted == TypeOf<z8u>() ? wanted : TypeOf<z16s>(), alloc);
}

}  // namespace Vision
}  // namespace Ro
