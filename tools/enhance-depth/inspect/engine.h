// Engines as TensorRT itself describes them, through its run-time interface.
#ifndef ENHANCE_DEPTH_TOOL_INSPECT_ENGINE_H
#define ENHANCE_DEPTH_TOOL_INSPECT_ENGINE_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "inspect/model.h"
#include "support/rgb_layout.h"

namespace enhance_depth_tool {

struct LoadedEngine {
  std::optional<ModelInfo> model;     // none if TensorRT refuses the file
  std::vector<std::string> messages;  // the errors that TensorRT reported, the first few, fit to be shown
};

// Has TensorRT deserialize the engine and asks it for tensors and profiles. Throws a UsageError when the file
// cannot be read.
LoadedEngine load_engine(const std::filesystem::path& path);

// The colour layout according to the rank of the rgb tensor; none if the rank fits neither, or if TensorRT
// refuses the engine. An ONNX model tells by itself: an emulated board would compile it for nothing.
std::optional<RgbLayout> rgb_layout_of(const std::filesystem::path& engine);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INSPECT_ENGINE_H
