// What decides the results of a run over a recording. It is kept beside them, so that no folder gets results
// of two engines, recordings or options.
#ifndef ENHANCE_DEPTH_TOOL_RUN_ORIGIN_H
#define ENHANCE_DEPTH_TOOL_RUN_ORIGIN_H

#include <filesystem>
#include <string>

#include "image/depth_scale.h"
#include "support/engine_options.h"

namespace enhance_depth_tool {

class RunOrigin {
 public:
  // `color` and `depth` are places of images: folders or patterns. Reads the engine: what counts is its
  // content. A recording that has grown is the same one.
  RunOrigin(const EngineOptions& engine, const std::filesystem::path& color,
            const std::filesystem::path& depth, DepthScale scale, double max_difference);

  // The content of run.json.
  const std::string& text() const { return text_; }

  // Throws a UsageError, which names what differs, unless `file` was written from the same origin.
  void require_same(const std::filesystem::path& file) const;

 private:
  std::string text_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RUN_ORIGIN_H
