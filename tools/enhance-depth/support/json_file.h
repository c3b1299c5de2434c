#ifndef ENHANCE_DEPTH_TOOL_JSON_FILE_H
#define ENHANCE_DEPTH_TOOL_JSON_FILE_H

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace enhance_depth_tool {

// Indented text; bytes of a file name that are not UTF-8 are replaced.
std::string json_text(const nlohmann::ordered_json& json);

// The same in one line, without a line break at its end.
std::string json_line(const nlohmann::json& json);

// The parsed `text`, or a "discarded" value if it is not JSON. Values nested deeper than those of the tool's
// own files are left out: copying or comparing very deep values would crash the process.
nlohmann::json parse_json(std::string_view text);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_JSON_FILE_H
