// Engines that only the board's own libraries understand: what the library logs while it loads them.
#ifndef ENHANCE_DEPTH_TOOL_INSPECT_ENGINE_H
#define ENHANCE_DEPTH_TOOL_INSPECT_ENGINE_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "inspect/model.h"
#include "support/engine.h"

namespace enhance_depth_tool {

struct LoadedEngine {
  ModelInfo model;                        // the tensors that the library looked at
  std::vector<std::string> board_errors;  // what TensorRT said of it
  std::optional<EngineError> failure;     // none: the library accepts the engine
};

// Has the library load an engine. Standard output and error are redirected meanwhile.
LoadedEngine load_engine(const std::filesystem::path& path);

// The tensors in a log: of lines such as "... TEST Tensor rgb: mode=INPUT, shape=(1, 3, -1, -1),
// dtype=UINT8".
std::vector<TensorInfo> tensors_in_log(const std::string& log);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INSPECT_ENGINE_H
