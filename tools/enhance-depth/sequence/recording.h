// A recording on disk: which files are its frames.
#ifndef ENHANCE_DEPTH_TOOL_RECORDING_H
#define ENHANCE_DEPTH_TOOL_RECORDING_H

#include <cstddef>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

namespace enhance_depth_tool {

struct FrameFiles {
  std::filesystem::path color;
  std::filesystem::path depth;
  std::string name;        // the depth file's name without its extension; unique within the recording
  std::string color_time;  // time stamps as the recording has them; empty without
  std::string depth_time;
  double seconds = 0.0;  // the depth's time stamp as a number
};

struct Recording {
  std::vector<FrameFiles> frames;  // at least one, in the order of time or name
  std::size_t unpaired_color = 0;  // images without a partner
  std::size_t unpaired_depth = 0;
  bool timed = false;                        // the frames have time stamps
  bool paired_by_order = false;              // because no name is in both lists of images
  std::vector<std::filesystem::path> files;  // all of it: lists, images with and without a partner
};

// A selection of a recording's frames: every `every`th of those from the `from`th to the `to`th, counted
// from 1.
struct FrameSelection {
  std::size_t every = 1;
  std::size_t from = 1;
  std::size_t to = std::numeric_limits<std::size_t>::max();
};

// Drops the frames that are not selected. Throws a UsageError if none is left.
void select_frames(Recording& recording, const FrameSelection& selection);

// The recording in `folder`: with rgb.txt and depth.txt (TUM layout), whose images are paired by time stamps
// that are at most `max_difference` seconds apart, or with the folders color (or rgb) and depth. Throws a
// UsageError.
Recording open_recording(const std::filesystem::path& folder, double max_difference);

// The recording whose images are in two folders, or match two patterns (shell wildcards). Images are paired
// by name or, if no name is in both, by position after sorting, with numbers compared by value. Throws a
// UsageError.
Recording open_recording(const std::string& color, const std::string& depth);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RECORDING_H
