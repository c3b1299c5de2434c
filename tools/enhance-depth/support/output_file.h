// Files that are written whole or not at all: beside the target first, then renamed over it. An interrupted
// program leaves at most a file with the ending ".part", which the next run replaces.
#ifndef ENHANCE_DEPTH_TOOL_OUTPUT_FILE_H
#define ENHANCE_DEPTH_TOOL_OUTPUT_FILE_H

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace enhance_depth_tool {

// Throws a UsageError unless `path` can become a file: its folder exists and can be written to, nothing but a
// regular file has its name, and it ends in one of `endings` (lower case, with the dot; any case in `path`).
void require_writable(const std::filesystem::path& path, std::initializer_list<std::string_view> endings);

// `path` as the file system sees it, so that two names of one file are equal: absolute, links resolved as far
// as it exists.
std::filesystem::path canonical_path(const std::filesystem::path& path);

// Throws a UsageError when one of `outputs` is also one of `inputs` or named twice; empty paths are ignored.
// An output that overwrites an input or another output is a mistake that costs data.
void require_distinct(const std::vector<std::filesystem::path>& outputs,
                      const std::vector<std::filesystem::path>& inputs);

// Writes `size` bytes to `path`, replacing what was there. Throws a ToolError (kFramesFailed) that names the
// file and the system's reason; `path` is then untouched and nothing is left beside it.
void write_file(const std::filesystem::path& path, const void* data, std::size_t size);
void write_file(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes);
void write_file(const std::filesystem::path& path, const std::string& text);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_OUTPUT_FILE_H
