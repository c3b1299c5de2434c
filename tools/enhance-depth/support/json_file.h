#ifndef ENHANCE_DEPTH_TOOL_JSON_FILE_H
#define ENHANCE_DEPTH_TOOL_JSON_FILE_H

#include <filesystem>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace enhance_depth_tool {

// Readable text; what is no UTF-8 in a file name is replaced.
std::string json_text(const nlohmann::ordered_json& json);

// The same in one line, without its end.
std::string json_line(const nlohmann::json& json);

// What `text` holds, or a "discarded" value when it is no JSON. What is nested deeper than the tool's own
// files are is left out: deep values end a process that copies or compares them.
nlohmann::json parse_json(std::string_view text);

// Throws as write_file() does.
void write_json(const std::filesystem::path& path, const nlohmann::ordered_json& json);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_JSON_FILE_H
