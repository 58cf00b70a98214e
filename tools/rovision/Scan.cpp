#include "Scan.h"

#include <zApi/zApi.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "FileIo.h"
#include "InputError.h"
#include "JsonFields.h"

namespace rovision {

namespace rv = Ro::Vision;
namespace fs = std::filesystem;

namespace {

// What the IHDR chunk of a PNG says about its samples.
struct PngHeader {
  unsigned long width = 0;
  unsigned long height = 0;
  int bitDepth = 0;
  int colourType = 0;
};

std::string DescribePng(const PngHeader& header) {
  static const char* const kColourNames[] = {"grey",       "?", "RGB", "palette",
                                             "grey+alpha", "?", "RGBA"};
  const char* colour =
      header.colourType >= 0 && header.colourType <= 6 ? kColourNames[header.colourType] : "?";
  return std::to_string(header.bitDepth) + "-bit " + colour;
}

// The header of a PNG: the 8-byte signature, then the IHDR chunk (length, "IHDR", width,
// height, bit depth, colour type), all big-endian.
PngHeader ReadPngHeader(const std::vector<unsigned char>& bytes, const std::string& path) {
  static const unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  if (bytes.size() < 33 || !std::equal(kSignature, kSignature + 8, bytes.begin()) ||
      std::string(bytes.begin() + 12, bytes.begin() + 16) != "IHDR") {
    throw InputError(path, "", "not a PNG file");
  }
  auto be32 = [&](std::size_t at) {
    return (static_cast<unsigned long>(bytes[at]) << 24) | (bytes[at + 1] << 16) |
           (bytes[at + 2] << 8) | bytes[at + 3];
  };
  PngHeader header;
  header.width = be32(16);
  header.height = be32(20);
  header.bitDepth = bytes[24];
  header.colourType = bytes[25];
  return header;
}

// Decodes a grey PNG of `bitDepth` bits into a zArray2: 16 bits give the z16s height map, 8 bits
// the z8u intensities.
Ty::Object<void*> LoadGreyPng(const std::string& path, int bitDepth, const std::string& field) {
  const std::vector<unsigned char> bytes = ReadFileBytes(path);
  const PngHeader header = ReadPngHeader(bytes, path);
  if (header.colourType != 0 || header.bitDepth != bitDepth) {
    throw InputError(path, field,
                     "must be a " + std::to_string(bitDepth) + "-bit grey PNG, this one is " +
                         DescribePng(header));
  }
  Ty::Object<void*> image;
  try {
    rv::ImageLoadPngFromBuffer(&image, bytes.data(), bytes.size(),
                               bitDepth == 16 ? zTypeOf(z16u) : zTypeOf(z8u));
    return rv::zImage2zArray2(image);
  } catch (const Ty::Exception& error) {
    throw InputError(path, field, std::string("cannot decode the PNG: ") + error.what());
  }
}

zPoint3d64f ReadAxes(const JsonFields& fields, const std::string& key, bool positive) {
  const JsonFields axes = fields.Object(key);
  axes.AllowOnly({"x", "y", "z"});
  zPoint3d64f point;
  point.x = positive ? axes.Positive("x") : axes.Number("x");
  point.y = positive ? axes.Positive("y") : axes.Number("y");
  point.z = positive ? axes.Positive("z") : axes.Number("z");
  return point;
}

std::string Stem(const std::string& sidecarPath) {
  return fs::path(sidecarPath).stem().string();
}

// Encodes a zArray2 through the library's PNG writer and writes it whole or not at all.
void SavePngOfArray(void* array, const std::string& path) {
  const Ty::Object<void*> image = rv::zArray22zImage(array);
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  rv::ImageBufferForSavePng(image, buffer, size);
  const std::unique_ptr<unsigned char, decltype(&std::free)> owned(buffer, &std::free);
  WriteFileAtomically(path, buffer, size);
}

}  // namespace

unsigned long long Scan::Columns() const {
  return surface.layers.empty() ? 0 : zArray2_Columns(surface.layers[0]);
}

unsigned long long Scan::Rows() const {
  return surface.layers.empty() ? 0 : zArray2_Rows(surface.layers[0]);
}

Scan LoadScan(const std::string& sidecarPath) {
  const std::vector<unsigned char> bytes = ReadFileBytes(sidecarPath);
  const nlohmann::json document = ParseJson(std::string(bytes.begin(), bytes.end()), sidecarPath);
  const JsonFields fields(document, sidecarPath, "");
  fields.AllowOnly({"heights", "intensity", "resolution", "offset", "unit"});

  Scan scan;
  scan.surface.scale = ReadAxes(fields, "resolution", true);
  scan.surface.offset =
      fields.Has("offset") ? ReadAxes(fields, "offset", false) : zPoint3d64f{0, 0, 0};
  scan.unit = fields.String("unit", "mm");

  const fs::path folder = fs::path(sidecarPath).parent_path();
  const std::string heightsPath = (folder / fields.String("heights")).string();
  scan.surface.layers.push_back(LoadGreyPng(heightsPath, 16, "heights"));
  if (fields.Has("intensity")) {
    const std::string intensityPath = (folder / fields.String("intensity")).string();
    Ty::Object<void*> intensity = LoadGreyPng(intensityPath, 8, "intensity");
    if (zArray2_Rows(intensity) != scan.Rows() || zArray2_Columns(intensity) != scan.Columns()) {
      throw InputError(intensityPath, "intensity",
                       "is " + std::to_string(zArray2_Columns(intensity)) + " x " +
                           std::to_string(zArray2_Rows(intensity)) + ", the heights " +
                           std::to_string(scan.Columns()) + " x " + std::to_string(scan.Rows()));
    }
    scan.surface.layers.push_back(std::move(intensity));
  }
  return scan;
}

void SaveScan(const Scan& scan, const std::string& sidecarPath) {
  const fs::path folder = fs::path(sidecarPath).parent_path();
  const std::string stem = Stem(sidecarPath);
  nlohmann::ordered_json sidecar;
  sidecar["heights"] = stem + "-heights.png";
  SavePngOfArray(scan.surface.layers[0], (folder / (stem + "-heights.png")).string());
  if (scan.HasIntensity()) {
    sidecar["intensity"] = stem + "-intensity.png";
    SavePngOfArray(scan.surface.layers[1], (folder / (stem + "-intensity.png")).string());
  }
  const zPoint3d64f& s = scan.surface.scale;
  const zPoint3d64f& o = scan.surface.offset;
  sidecar["resolution"] = {{"x", s.x}, {"y", s.y}, {"z", s.z}};
  sidecar["offset"] = {{"x", o.x}, {"y", o.y}, {"z", o.z}};
  sidecar["unit"] = scan.unit;
  WriteFileAtomically(sidecarPath, sidecar.dump(2) + "\n");
}

void SaveSpectrum(const Scan& scan, const std::string& path) {
  const Ty::Object<void*> image = rv::zArray22zImage(scan.surface.layers[0]);
  if (fs::path(path).extension() == ".bmp") {
    // The BMP writer takes a path; it writes to a temporary name that is renamed into place.
    const std::string temporary = path + ".tmp.bmp";
    rv::ImageSaveSpectrumBmp(image, temporary.c_str());
    std::error_code error;
    fs::rename(temporary, path, error);
    if (error) {
      fs::remove(temporary, error);
      throw InputError(path, "", "cannot write the image");
    }
    return;
  }
  unsigned char* buffer = nullptr;
  std::size_t size = 0;
  rv::ImageBufferForSaveSpectrumPng(image, buffer, size);
  const std::unique_ptr<unsigned char, decltype(&std::free)> owned(buffer, &std::free);
  WriteFileAtomically(path, buffer, size);
}

}  // namespace rovision
