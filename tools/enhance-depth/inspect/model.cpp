#include "inspect/model.h"

namespace enhance_depth_tool {

const char* direction_name(Direction direction) {
  return direction == Direction::kInput ? "input" : "output";
}

std::string shape_text(const Shape& shape) {
  std::string text;
  for (const std::int64_t extent : shape) {
    text += (text.empty() ? "" : ", ") + std::to_string(extent);
  }
  return "(" + text + ")";
}

}  // namespace enhance_depth_tool
