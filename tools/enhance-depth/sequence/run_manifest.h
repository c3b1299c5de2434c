// What all results of a run over a recording depend on. It is kept with them, so that no folder gets results
// of different engines or options.
#ifndef ENHANCE_DEPTH_TOOL_RUN_MANIFEST_H
#define ENHANCE_DEPTH_TOOL_RUN_MANIFEST_H

#include <filesystem>
#include <string>
#include <vector>

#include "image/depth_filter.h"
#include "image/depth_scale.h"

namespace enhance_depth_tool {

class RunManifest {
 public:
  // `places` are where the recording's images are: folders or patterns. Reads the engine, which is identified
  // by its content.
  RunManifest(const std::filesystem::path& engine, const std::vector<std::filesystem::path>& places,
              DepthScale scale, double max_difference, const DepthFilter& filter);

  // The content of run.json.
  const std::string& text() const { return text_; }

  // Throws a UsageError, which names what differs, unless `file` was written for the same engine and options.
  // Returns whether the recording was in the same place, too.
  bool require_same(const std::filesystem::path& file) const;

 private:
  std::string text_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RUN_MANIFEST_H
