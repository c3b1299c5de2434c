#ifndef ENHANCE_DEPTH_TOOL_JSON_FILE_H
#define ENHANCE_DEPTH_TOOL_JSON_FILE_H

#include <filesystem>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace enhance_depth_tool {

// Readable text; what is no UTF-8 in a file name is replaced.
std::string json_text(const nlohmann::ordered_json& json);

// Throws as write_file() does.
void write_json(const std::filesystem::path& path, const nlohmann::ordered_json& json);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_JSON_FILE_H
