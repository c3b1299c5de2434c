// What is at a path, and the content of a file. Whatever cannot be used is refused with a UsageError that has
// the system's own reason.
#ifndef ENHANCE_DEPTH_TOOL_INPUT_FILE_H
#define ENHANCE_DEPTH_TOOL_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace enhance_depth_tool {

using Bytes = std::vector<std::uint8_t>;

// What `path` leads to, links followed: not_found when there is nothing. Throws when that cannot be told,
// such as inside a folder of someone else.
std::filesystem::file_type type_of(const std::filesystem::path& path);

// The content of a regular file, which is to hold a `kind`, for example "image"; none has more than `limit`
// bytes.
Bytes read_file(const std::filesystem::path& path, const char* kind, std::uintmax_t limit);

// The first `size` bytes of a regular file, or all that it has.
Bytes read_beginning(const std::filesystem::path& path, std::uintmax_t size);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INPUT_FILE_H
