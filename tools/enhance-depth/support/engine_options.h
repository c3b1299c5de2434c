// Which engine to run.
#ifndef ENHANCE_DEPTH_TOOL_ENGINE_OPTIONS_H
#define ENHANCE_DEPTH_TOOL_ENGINE_OPTIONS_H

#include <filesystem>
#include <optional>

#include "support/rgb_layout.h"

namespace enhance_depth_tool {

struct EngineOptions {
  std::filesystem::path engine;
  std::optional<RgbLayout> rgb_layout;  // the user's expectation; the engine itself determines it
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_ENGINE_OPTIONS_H
