#include "FileIo.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "InputError.h"

namespace rovision {

namespace fs = std::filesystem;

std::vector<unsigned char> ReadFileBytes(const std::string& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) {
    throw InputError(path, "", fs::exists(path, error) ? "not a regular file" : "no such file");
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw InputError(path, "", std::string("cannot open: ") + std::strerror(errno));
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
  if (in.bad()) throw InputError(path, "", "read failed");
  return bytes;
}

void WriteFileAtomically(const std::string& path, const void* bytes, std::size_t size) {
  // The process id keeps two programs writing into one folder from sharing a temporary file.
  const std::string temporary = path + ".tmp-" + std::to_string(::getpid());
  std::FILE* file = std::fopen(temporary.c_str(), "wb");
  if (!file) throw InputError(path, "", std::string("cannot write: ") + std::strerror(errno));
  const bool written = std::fwrite(bytes, 1, size, file) == size;
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed || std::rename(temporary.c_str(), path.c_str()) != 0) {
    const std::string reason = std::strerror(errno);
    std::remove(temporary.c_str());
    throw InputError(path, "", "cannot write: " + reason);
  }
}

void WriteFileAtomically(const std::string& path, const std::string& text) {
  WriteFileAtomically(path, text.data(), text.size());
}

void MakeDirectories(const std::string& directory) {
  std::error_code error;
  fs::create_directories(directory, error);
  if (error || !fs::is_directory(directory)) {
    throw InputError(
        directory, "",
        "cannot create the output folder" + (error ? ": " + error.message() : std::string()));
  }
}

}  // namespace rovision
