// The kind and the content of files. An unusable file is refused with a UsageError that has the system's own
// reason.
#ifndef ENHANCE_DEPTH_TOOL_INPUT_FILE_H
#define ENHANCE_DEPTH_TOOL_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace enhance_depth_tool {

using Bytes = std::vector<std::uint8_t>;

// The kind of file at `path`, following links; not_found if there is none. Throws if that cannot be
// determined, for example in a folder without access.
std::filesystem::file_type type_of(const std::filesystem::path& path);

// The content of a regular file of at most `limit` bytes. `kind` says what it should be, for example "image".
Bytes read_file(const std::filesystem::path& path, const char* kind, std::uintmax_t limit);

// The first `size` bytes of a regular file, or all that it has.
Bytes read_beginning(const std::filesystem::path& path, std::uintmax_t size);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INPUT_FILE_H
