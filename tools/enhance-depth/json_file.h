#ifndef ENHANCE_DEPTH_TOOL_JSON_FILE_H
#define ENHANCE_DEPTH_TOOL_JSON_FILE_H

#include <filesystem>

#include <nlohmann/json_fwd.hpp>

namespace enhance_depth_tool {

// Writes `json` as readable text; what is no UTF-8 in a file name is replaced. Throws as write_file() does.
void write_json(const std::filesystem::path& path, const nlohmann::ordered_json& json);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_JSON_FILE_H
