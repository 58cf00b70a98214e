#include "zFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>

namespace {
struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;
}  // namespace

zStatus zFile_Save(const char* path, const void* data, zSize size) {
  if (!path || (!data && size > 0)) return zERROR_PARAMETER;
  std::FILE* raw = std::fopen(path, "wb");
  if (!raw) return zERROR_FILE;
  File file(raw);
  if (size > 0 && std::fwrite(data, 1, size, raw) != size) return zERROR_FILE;
  if (std::fclose(file.release()) != 0) return zERROR_FILE;
  return zOK;
}

zStatus zFile_Load(const char* path, zAlloc alloc, zArray1* bytes) {
  if (!path || !bytes) return zERROR_PARAMETER;
  *bytes = nullptr;
  std::FILE* raw = std::fopen(path, "rb");
  if (!raw) return errno == ENOENT ? zERROR_NOT_FOUND : zERROR_FILE;
  File file(raw);
  if (std::fseek(raw, 0, SEEK_END) != 0) return zERROR_FILE;
  const long length = std::ftell(raw);
  if (length < 0 || std::fseek(raw, 0, SEEK_SET) != 0) return zERROR_FILE;
  zArray1 array = nullptr;
  zStatus status = zArray1_Construct(&array, zTypeOf(z8u), static_cast<zSize>(length), alloc);
  if (status != zOK) return status;
  if (length > 0 && std::fread(zArray1_Data(array), 1, static_cast<zSize>(length), raw) !=
                        static_cast<zSize>(length)) {
    zObject_Destroy(array);
    return zERROR_FILE;
  }
  *bytes = array;
  return zOK;
}
