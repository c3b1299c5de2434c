// The lists of the TUM RGB-D layout (rgb.txt, depth.txt): one image per line, its time stamp in seconds and
// its path relative to the list; lines that start with # are comments.
#ifndef ENHANCE_DEPTH_TOOL_TUM_LAYOUT_H
#define ENHANCE_DEPTH_TOOL_TUM_LAYOUT_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace enhance_depth_tool {

struct TimedFile {
  double time = 0.0;
  std::string time_text;  // as the list has it, so that it can be written again without loss
  std::filesystem::path file;
};

// The entries of a list's text, with file names as written there. Throws a UsageError that names `name` and
// the line.
std::vector<TimedFile> parse_tum_list(std::string_view text, const std::string& name);

// The entries of the list at `path`, files relative to its folder. Throws a UsageError.
std::vector<TimedFile> read_tum_list(const std::filesystem::path& path);

// The text of a list; `title` becomes a comment.
std::string tum_list(const std::string& title, const std::vector<TimedFile>& entries);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_TUM_LAYOUT_H
