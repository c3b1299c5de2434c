// Which recording a subcommand works on.
#ifndef ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H
#define ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H

#include <filesystem>
#include <string>

#include "sequence/recording.h"

namespace CLI {
class App;
}

namespace enhance_depth_tool {

// A folder, or places of images (folders or patterns): one of the two is set.
struct RecordingOptions {
  std::filesystem::path input;
  std::string color;
  std::string depth;
  double max_difference = 0.02;  // seconds between the images of a pair
};

// INPUT, --color, --depth and --max-difference.
void add_recording_options(CLI::App& app, RecordingOptions& options);

// Throws a UsageError when there is no such recording, or none is named.
Recording open_recording(const RecordingOptions& options);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H
