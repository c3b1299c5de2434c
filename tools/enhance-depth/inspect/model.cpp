#include "inspect/model.h"

#include <algorithm>
#include <cstddef>

#include "support/text.h"

namespace enhance_depth_tool {

const char* direction_name(Direction direction) {
  return direction == Direction::kInput ? "input" : "output";
}

std::string shape_text(const Shape& shape) {
  constexpr std::size_t kMost = 16;  // twice what TensorRT can have
  std::string text;
  for (std::size_t i = 0; i < std::min(shape.size(), kMost); ++i) {
    text += (i == 0 ? "" : ", ") + std::to_string(shape[i]);
  }
  return "(" + text + (shape.size() > kMost ? ", ...)" : ")");
}

std::string display_name(const std::string& name) {
  constexpr std::size_t kLongest = 80;
  if (name.size() <= kLongest) {
    return printable(name);
  }
  return printable(name.substr(0, kLongest)) + "...";
}

}  // namespace enhance_depth_tool
