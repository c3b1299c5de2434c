#include "support/json_file.h"

#include <nlohmann/json.hpp>

#include "support/atomic_file.h"

namespace enhance_depth_tool {

std::string json_text(const nlohmann::ordered_json& json) {
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

void write_json(const std::filesystem::path& path, const nlohmann::ordered_json& json) {
  write_file(path, json_text(json));
}

}  // namespace enhance_depth_tool
