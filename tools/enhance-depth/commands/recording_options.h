// Which recording a subcommand works on.
#ifndef ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H
#define ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H

#include <filesystem>
#include <string>

#include "image/depth_scale.h"
#include "sequence/recording.h"

namespace CLI {
class App;
}  // namespace CLI

namespace enhance_depth_tool {

// Either a folder, or the places of images (folders or patterns).
struct RecordingOptions {
  std::filesystem::path input;
  std::string color;
  std::string depth;
  double max_difference = 0.02;  // seconds between the images of a pair
  FrameSelection selection;
};

// INPUT, --color, --depth, --max-difference, --every, --from and --to.
void add_recording_options(CLI::App& app, RecordingOptions& options);

// The selected frames. Says on standard error if images are paired only by their order. Throws a UsageError
// if there is no such recording, none is named, or its colour and depth images are swapped.
Recording open_recording(const RecordingOptions& options);

// Says on standard error if the images of two places were paired by nothing but their order. `kind` is that
// of the images beside the depth images.
void announce_pairing_by_order(const Recording& recording, const char* kind);

// The message for a command line in which the shell has expanded a pattern: several files follow --color or
// --depth. Empty for any other.
std::string explain_expanded_pattern(int argc, const char* const* argv);

// The scale of a recording: the TUM layout has one of its own, unless the user gave another. Warns when the
// first depth image that has any depth speaks against it, and when one before that has none.
DepthScale choose_scale(const Recording& recording, DepthScale scale);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RECORDING_OPTIONS_H
