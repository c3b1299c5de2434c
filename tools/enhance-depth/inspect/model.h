// A model file's description of itself, whatever its format.
#ifndef ENHANCE_DEPTH_TOOL_INSPECT_MODEL_H
#define ENHANCE_DEPTH_TOOL_INSPECT_MODEL_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace enhance_depth_tool {

// Dimensions; a negative one is dynamic.
using Shape = std::vector<std::int64_t>;

enum class Direction { kInput, kOutput };

struct TensorInfo {
  std::string name;  // as in the file: printable() before it is shown
  Direction direction = Direction::kInput;
  std::string type;            // as TensorRT calls it, for example FLOAT
  std::optional<Shape> shape;  // none if the file does not state it
  // The operator that computes with this input in its own type; empty if it is cast first, or if the file
  // does not tell.
  std::string used_uncast_by;
};

struct ShapeRange {
  Shape min;
  Shape max;
};

// The ranges of an optimization profile by input.
using ProfileInfo = std::map<std::string, ShapeRange>;

struct ModelInfo {
  std::string format;  // for people, for example "ONNX model"
  std::vector<TensorInfo> tensors;
  // None if the file has none: an engine's profiles are defined when it is built.
  std::optional<std::vector<ProfileInfo>> profiles;
};

const char* direction_name(Direction direction);  // input, output
std::string shape_text(const Shape& shape);       // (1, 3, -1, -1); of a very long one the beginning

// A name for display: control characters escaped, a very long one truncated.
std::string display_name(const std::string& name);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INSPECT_MODEL_H
