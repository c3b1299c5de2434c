// Reads ONNX models, as far as the contract concerns them.
#ifndef ENHANCE_DEPTH_TOOL_INSPECT_ONNX_H
#define ENHANCE_DEPTH_TOOL_INSPECT_ONNX_H

#include <optional>

#include "inspect/model.h"
#include "support/input_file.h"

namespace enhance_depth_tool {

// Whether a file that begins like this can be an ONNX model, so that other files, such as large engines, need
// not be read to the end.
bool begins_like_onnx(const Bytes& beginning);

// What an ONNX model says; nothing when `file` is not one.
std::optional<ModelInfo> read_onnx(const Bytes& file);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INSPECT_ONNX_H
