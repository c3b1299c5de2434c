#include "support/json_file.h"

#include <nlohmann/json.hpp>

namespace enhance_depth_tool {

std::string json_text(const nlohmann::ordered_json& json) {
  return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string json_line(const nlohmann::json& json) {
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

nlohmann::json parse_json(std::string_view text) {
  constexpr int kDeepest = 16;
  const auto keep = [](int depth, nlohmann::json::parse_event_t /*event*/, nlohmann::json& /*value*/) {
    return depth <= kDeepest;
  };
  return nlohmann::json::parse(text, keep, false);
}

}  // namespace enhance_depth_tool
