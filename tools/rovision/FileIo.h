// Whole-file reads and all-or-nothing writes.
#ifndef ROVISION_TOOLS_FILEIO_H
#define ROVISION_TOOLS_FILEIO_H

#include <string>
#include <vector>

namespace rovision {

// The bytes of `path`; a missing or unreadable file raises InputError naming it.
std::vector<unsigned char> ReadFileBytes(const std::string& path);

// Writes `bytes` to a temporary file beside `path` and renames it over `path`, so that a reader
// never sees a half-written file and a failure leaves any earlier file as it was. A failure
// raises InputError naming `path`.
void WriteFileAtomically(const std::string& path, const void* bytes, std::size_t size);
void WriteFileAtomically(const std::string& path, const std::string& text);

// Creates `directory` and its parents when missing; raises InputError when that fails or the
// path names something that is not a directory.
void MakeDirectories(const std::string& directory);

}  // namespace rovision

#endif
