// Readers of the model files that `inspect` understands by itself.
#ifndef ENHANCE_DEPTH_TOOL_INSPECT_FORMATS_H
#define ENHANCE_DEPTH_TOOL_INSPECT_FORMATS_H

#include <filesystem>
#include <optional>

#include "inspect/model.h"
#include "support/input_file.h"

namespace enhance_depth_tool {

// What an ONNX model says; nothing when `file` is not one.
std::optional<ModelInfo> read_onnx(const Bytes& file);

// What an engine description of the emulated board says; nothing when `file` is no text that claims to be
// one. Throws a UsageError, which names `path`, when it claims to be one and cannot be read.
std::optional<ModelInfo> read_engine_description(const Bytes& file, const std::filesystem::path& path);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INSPECT_FORMATS_H
