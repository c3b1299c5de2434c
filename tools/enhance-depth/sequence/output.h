// The folder that a refined recording becomes:
//
//   depth/NAME.png         refined depth
//   confidence/NAME.tiff   if asked for
//   preview/NAME.jpg       if asked for
//   depth.txt, rgb.txt     for a recording with time stamps: with these it has the TUM layout
//   run.json               what the results were made of
//
// The colour images of the TUM layout are those of the recording.
//
// NAME is that of the recording's depth image.
#ifndef ENHANCE_DEPTH_TOOL_SEQUENCE_OUTPUT_H
#define ENHANCE_DEPTH_TOOL_SEQUENCE_OUTPUT_H

#include <filesystem>
#include <vector>

#include "sequence/folder_lock.h"
#include "sequence/recording.h"
#include "sequence/run_origin.h"

namespace enhance_depth_tool {

class SequenceOutput {
 public:
  // Writes nothing yet.
  SequenceOutput(std::filesystem::path folder, bool with_confidence, bool with_preview);

  bool with_confidence() const { return with_confidence_; }
  bool with_preview() const { return with_preview_; }

  std::filesystem::path depth(const FrameFiles& frame) const;
  std::filesystem::path confidence(const FrameFiles& frame) const;
  std::filesystem::path preview(const FrameFiles& frame) const;

  // True when all files of the frame are there and not empty. Files are written whole, so that these are
  // complete.
  bool has(const FrameFiles& frame) const;

  // All files that refining `recording` writes into the folder.
  std::vector<std::filesystem::path> files(const Recording& recording) const;

  // Throws a UsageError when results would get into a folder with images of `recording`.
  void require_apart_from(const Recording& recording) const;

  // Throws a UsageError when an earlier run left any result or list, whatever recording it was over and
  // whatever this one will write; with `resume`, unless they have the same `origin`.
  void check_earlier_results(const RunOrigin& origin, bool resume) const;

  // Creates the folder without those in it, and keeps other runs out. Throws a UsageError when it cannot be
  // created or written to, or when another run holds it.
  FolderLock lock() const;

  // Creates the folders in it. Throws a UsageError when one cannot be created or written to.
  void create_folders() const;

  // Writes run.json. Throws a ToolError.
  void write_origin(const RunOrigin& origin) const;

  // Writes depth.txt and rgb.txt about those frames of a timed `recording` that are there. Throws a
  // ToolError.
  void write_lists(const Recording& recording) const;

 private:
  std::vector<std::filesystem::path> folders() const;
  std::filesystem::path rgb_list() const { return folder_ / "rgb.txt"; }
  std::filesystem::path depth_list() const { return folder_ / "depth.txt"; }
  std::filesystem::path origin_file() const { return folder_ / "run.json"; }

  std::filesystem::path folder_;
  bool with_confidence_;
  bool with_preview_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_SEQUENCE_OUTPUT_H
