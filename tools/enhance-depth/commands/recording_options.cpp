#include "commands/recording_options.h"

#include <cstddef>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>

#include <CLI/CLI.hpp>

#include "commands/options.h"
#include "image/image_io.h"
#include "support/terminal.h"
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
  const auto positive = CLI::Range(std::size_t{1}, std::size_t{1} << 40).description("");
  app.add_option("--every", options.selection.every, "Take every Nth frame only")
      ->check(positive)
      ->type_name("N");
  app.add_option("--from", options.selection.from, "First frame to take, counted from 1")
      ->check(positive)
      ->type_name("N");
  app.add_option("--to", options.selection.to, "Last frame to take")->check(positive)->type_name("N");
}

namespace {

Recording open_whole_recording(const RecordingOptions& options) {
  if (!options.input.empty()) {
    return open_recording(options.input, options.max_difference);
  }
  if (options.color.empty() || options.depth.empty()) {
    throw UsageError("No recording is named. Give its folder, or its images with --color and --depth.");
  }
  return open_recording(options.color, options.depth);
}

// Looks at the first frame only: whoever swaps the images of a recording swaps them all.
void refuse_swapped_images(const Recording& recording) {
  const FrameFiles& first = recording.frames.front();
  Bytes color;
  Bytes depth;
  try {
    color = read_file(first.color, "image", kMaxFileBytes);
    depth = read_file(first.depth, "image", kMaxFileBytes);
  } catch (const ToolError&) {
    return;  // will be reported when its turn comes
  }
  require_not_swapped(color, first.color.string(), depth, first.depth.string());
}

bool is_file(const char* argument) {
  std::error_code ignored;
  return argument[0] != '-' && std::filesystem::is_regular_file(argument, ignored);
}

}  // namespace

Recording open_recording(const RecordingOptions& options) {
  Recording recording = open_whole_recording(options);
  announce_pairing_by_order(recording, "colour");
  select_frames(recording, options.selection);
  refuse_swapped_images(recording);
  return recording;
}

void announce_pairing_by_order(const Recording& recording, const char* kind) {
  if (recording.paired_by_order) {
    const std::size_t frames = recording.frames.size();
    std::cerr << "enhance-depth: No name is in both places: the " << frames << " " << kind << " and "
              << frames << " depth images are paired by their order.\n";
  }
}

std::string explain_expanded_pattern(int argc, const char* const* argv) {
  for (int i = 1; i + 2 < argc; ++i) {
    const std::string_view option = argv[i];
    const bool takes_pattern = option == "--color" || option == "-c" || option == "--depth" || option == "-d";
    if (takes_pattern && is_file(argv[i + 1]) && is_file(argv[i + 2])) {
      return std::string(option) + " is followed by several files, such as " + argv[i + 2] +
             ": the shell replaced a pattern by the names that match it. Put the pattern in quotes, such "
             "as " +
             std::string(option) + " \"recording/*.png\".";
    }
  }
  return "";
}

DepthScale choose_scale(const Recording& recording, DepthScale scale) {
  if (recording.timed && scale.source == DepthScale::Source::kAssumed) {
    constexpr double kTum = 5000.0;
    scale = {kTum, DepthScale::Source::kTumLayout};
  }
  bool none_yet = true;  // of the images that could be read
  for (const FrameFiles& frame : recording.frames) {
    try {
      const Bytes file = read_file(frame.depth, "image", kMaxFileBytes);
      const DepthStatistics depth = describe_depth(decode_depth(file, frame.depth.string(), scale));
      if (depth.farthest > 0 || none_yet) {
        print_warning(depth_warning(frame.depth.string(), depth, scale, depth_storage(file)));
      }
      if (depth.farthest > 0) {
        break;
      }
      none_yet = false;
    } catch (const ToolError&) {
      continue;  // will be reported when its turn comes
    }
  }
  return scale;
}

}  // namespace enhance_depth_tool
