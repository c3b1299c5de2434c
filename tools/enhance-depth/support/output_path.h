// Where outputs may go.
#ifndef ENHANCE_DEPTH_TOOL_OUTPUT_PATH_H
#define ENHANCE_DEPTH_TOOL_OUTPUT_PATH_H

#include <filesystem>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace enhance_depth_tool {

// Throws a UsageError unless a file can be written at `path`: its folder exists and can be written to, only a
// regular file may exist there, and its extension is one of `extensions` (lower case, with the dot; any case
// in `path`).
void require_writable(const std::filesystem::path& path, std::initializer_list<std::string_view> extensions);

// The canonical `path`, so that two names of one file are equal: absolute, with links resolved as far as it
// exists.
std::filesystem::path canonical_path(const std::filesystem::path& path);

// Throws a UsageError if one of `outputs` is also one of `inputs` or is named twice, since overwriting an
// input or another output would lose data. Empty paths are ignored.
void require_distinct(const std::vector<std::filesystem::path>& outputs,
                      const std::vector<std::filesystem::path>& inputs);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_OUTPUT_PATH_H
