#include "commands/recording_options.h"

#include <CLI/CLI.hpp>

#include "commands/options.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {

void add_recording_options(CLI::App& app, RecordingOptions& options) {
  CLI::Option* input =
      app.add_option("INPUT", options.input,
                     "Recording: a folder with rgb.txt and depth.txt (TUM layout), or with the "
                     "folders color (or rgb) and depth")
          ->type_name("");
  CLI::Option* color =
      app.add_option("-c,--color", options.color, "Colour images: a folder, or a pattern in quotes")
          ->type_name("PLACE")
          ->excludes(input);
  CLI::Option* depth =
      app.add_option("-d,--depth", options.depth, "Depth images: a folder, or a pattern in quotes")
          ->type_name("PLACE")
          ->excludes(input);
  color->needs(depth);
  depth->needs(color);
  app.add_option("--max-difference", options.max_difference,
                 "Largest difference of the time stamps of a pair, in seconds")
      ->check(finite_in(0.0, 1e9))
      ->type_name("SECONDS")
      ->capture_default_str();
}

Recording open_recording(const RecordingOptions& options) {
  if (!options.input.empty()) {
    return open_recording(options.input, options.max_difference);
  }
  if (options.color.empty() || options.depth.empty()) {
    throw UsageError("No recording is named. Give its folder, or its images with --color and --depth.");
  }
  return open_recording(options.color, options.depth);
}

}  // namespace enhance_depth_tool
