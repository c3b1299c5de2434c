// Which engine to run, and how its colour tensor is laid out.
#ifndef ENHANCE_DEPTH_TOOL_ENGINE_OPTIONS_H
#define ENHANCE_DEPTH_TOOL_ENGINE_OPTIONS_H

#include <filesystem>

#include "support/rgb_layout.h"

namespace enhance_depth_tool {

struct EngineOptions {
  std::filesystem::path engine;
  RgbLayout rgb_layout = RgbLayout::kPlanar;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_ENGINE_OPTIONS_H
