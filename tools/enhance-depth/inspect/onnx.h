// Reads ONNX models, as far as the contract concerns them.
#ifndef ENHANCE_DEPTH_TOOL_INSPECT_ONNX_H
#define ENHANCE_DEPTH_TOOL_INSPECT_ONNX_H

#include <filesystem>
#include <optional>
#include <string>

#include "inspect/model.h"
#include "support/input_file.h"

namespace enhance_depth_tool {

// What an ONNX model says; nothing when `file` is not one.
std::optional<ModelInfo> read_onnx(const Bytes& file);

// The same for the file at `path`. Other files, such as large engines, are not read to the end. Throws a
// UsageError when it cannot be read.
std::optional<ModelInfo> read_onnx_file(const std::filesystem::path& path);

// Why read_onnx_file() takes the file at `path` for no model: a clause, such as "it has no graph".
std::string why_not_onnx(const std::filesystem::path& path);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INSPECT_ONNX_H
