// Where outputs may go.
#ifndef ENHANCE_DEPTH_TOOL_OUTPUT_PATH_H
#define ENHANCE_DEPTH_TOOL_OUTPUT_PATH_H

#include <filesystem>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace enhance_depth_tool {

// Throws a UsageError unless `path` can become a file: its folder exists and can be written to, nothing but a
// regular file has its name, and its extension is one of `extensions` (lower case, with the dot; any case in
// `path`).
void require_writable(const std::filesystem::path& path, std::initializer_list<std::string_view> extensions);

// `path` as the file system sees it, so that two names of one file are equal: absolute, links resolved as far
// as it exists.
std::filesystem::path canonical_path(const std::filesystem::path& path);

// Throws a UsageError when one of `outputs` is also one of `inputs` or named twice; empty paths are ignored.
// An output that overwrites an input or another output is a mistake that costs data.
void require_distinct(const std::vector<std::filesystem::path>& outputs,
                      const std::vector<std::filesystem::path>& inputs);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_OUTPUT_PATH_H
