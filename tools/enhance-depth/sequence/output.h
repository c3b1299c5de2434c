// The folder that a refined recording becomes:
//
//   depth/NAME.png         refined depth
//   confidence/NAME.tiff   if asked for
//   preview/NAME.jpg       if asked for
//   depth.txt, rgb.txt     for a recording with time stamps: with these it has the TUM layout
//   run.json               the engine and options that all results were made with
//   results.jsonl          what each result was made from
//
// The colour images of the TUM layout are those of the recording.
//
// NAME is that of the recording's depth image.
#ifndef ENHANCE_DEPTH_TOOL_SEQUENCE_OUTPUT_H
#define ENHANCE_DEPTH_TOOL_SEQUENCE_OUTPUT_H

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "sequence/folder_lock.h"
#include "sequence/recording.h"
#include "sequence/result_journal.h"
#include "sequence/run_manifest.h"

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

  // The files of a frame by kind: depth, and confidence and preview if wanted.
  std::map<std::string, std::filesystem::path> files(const FrameFiles& frame) const;

  // Whether all files of the frame exist and still have the sizes with which they were written.
  bool is_complete(const FrameFiles& frame, const ResultRecord& record) const;

  // Removes those files of a frame that exist.
  void remove(const FrameFiles& frame) const;

  // All files that refining `recording` writes into the folder.
  std::vector<std::filesystem::path> files(const Recording& recording) const;

  // Throws a UsageError if results would be written into a folder with images of `recording`.
  void require_apart_from(const Recording& recording) const;

  // Throws a UsageError if an earlier run left any result or list, from whatever recording and whatever this
  // run will write; with `resume`, unless they have an equal `manifest`. Returns whether some of them may be
  // from another place.
  bool check_earlier_results(const RunManifest& manifest, bool resume) const;

  // Creates the folder, without its subfolders, and keeps other runs out. Throws a UsageError if it cannot be
  // created or written to, or if another run holds it.
  FolderLock lock() const;

  // Creates its subfolders. Throws a UsageError if one cannot be created or written to.
  void create_folders() const;

  // Writes run.json. Throws a ToolError.
  void write_manifest(const RunManifest& manifest) const;

  std::filesystem::path journal() const { return folder_ / "results.jsonl"; }

  // Writes depth.txt and rgb.txt for the frames of a timed `recording` that are in `journal`. Throws a
  // ToolError.
  void write_lists(const Recording& recording, const ResultJournal& journal) const;

 private:
  std::vector<std::filesystem::path> folders() const;
  std::filesystem::path rgb_list() const { return folder_ / "rgb.txt"; }
  std::filesystem::path depth_list() const { return folder_ / "depth.txt"; }
  std::filesystem::path manifest_file() const { return folder_ / "run.json"; }

  std::filesystem::path folder_;
  bool with_confidence_;
  bool with_preview_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_SEQUENCE_OUTPUT_H
