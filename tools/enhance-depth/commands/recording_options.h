// Which recording a subcommand works on.
#ifndef ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H
#define ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H

#include <filesystem>
#include <string>

#include "image/depth_scale.h"
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
  FrameSelection selection;
};

// INPUT, --color, --depth, --max-difference, --every, --from and --to.
void add_recording_options(CLI::App& app, RecordingOptions& options);

// The wanted frames. Says on standard error when images are paired by nothing but their order. Throws a
// UsageError when there is no such recording, or none is named.
Recording open_recording(const RecordingOptions& options);

// What to say of a command line in which the shell replaced a pattern by the names that match it: several
// files follow --color or --depth. Empty for another one.
std::string explain_expanded_pattern(int argc, const char* const* argv);

// The scale of a recording: the TUM layout has one of its own, unless the user gave another. Warns when the
// first depth image that can be read speaks against it.
DepthScale choose_scale(const Recording& recording, DepthScale scale);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H
