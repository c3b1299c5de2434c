#include "sequence/output.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <string>
#include <utility>

#include <unistd.h>

#include "sequence/tum_layout.h"
#include "support/atomic_file.h"
#include "support/output_path.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

// Makes sure that the folder exists and that files can be created in it.
void create_folder(const fs::path& folder) {
  const auto refuse = [&](const std::string& failed, const std::string& reason) {
    throw UsageError("The output folder " + folder.string() + " cannot be " + failed + ": " + reason +
                     ". Choose another folder with --output, or change its permissions.");
  };
  std::error_code problem;
  fs::create_directories(folder, problem);
  if (problem) {
    refuse("created", problem.message());
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    refuse("written to", std::strerror(errno));
  }
}

}  // namespace

SequenceOutput::SequenceOutput(fs::path folder, bool with_confidence, bool with_preview)
    : folder_(std::move(folder)), with_confidence_(with_confidence), with_preview_(with_preview) {}

fs::path SequenceOutput::depth(const FrameFiles& frame) const {
  return folder_ / "depth" / (frame.name + ".png");
}

fs::path SequenceOutput::confidence(const FrameFiles& frame) const {
  return folder_ / "confidence" / (frame.name + ".tiff");
}

fs::path SequenceOutput::preview(const FrameFiles& frame) const {
  return folder_ / "preview" / (frame.name + ".jpg");
}

std::map<std::string, fs::path> SequenceOutput::files(const FrameFiles& frame) const {
  std::map<std::string, fs::path> result{{"depth", depth(frame)}};
  if (with_confidence_) {
    result["confidence"] = confidence(frame);
  }
  if (with_preview_) {
    result["preview"] = preview(frame);
  }
  return result;
}

bool SequenceOutput::is_complete(const FrameFiles& frame, const ResultRecord& record) const {
  const std::map<std::string, fs::path> wanted = files(frame);
  return std::all_of(wanted.begin(), wanted.end(), [&](const auto& file) {
    const auto recorded = record.bytes.find(file.first);
    std::error_code problem;
    return recorded != record.bytes.end() && fs::is_regular_file(file.second, problem) &&
           fs::file_size(file.second, problem) == recorded->second;
  });
}

void SequenceOutput::remove(const FrameFiles& frame) const {
  for (const auto& [kind, path] : files(frame)) {
    std::error_code ignored;
    fs::remove(path, ignored);
  }
}

std::vector<fs::path> SequenceOutput::folders() const {
  std::vector<fs::path> result{folder_, folder_ / "depth"};
  if (with_confidence_) {
    result.push_back(folder_ / "confidence");
  }
  if (with_preview_) {
    result.push_back(folder_ / "preview");
  }
  return result;
}

std::vector<fs::path> SequenceOutput::files(const Recording& recording) const {
  std::vector<fs::path> result{manifest_file(), journal()};
  for (const FrameFiles& frame : recording.frames) {
    for (const auto& [kind, path] : files(frame)) {
      result.push_back(path);
    }
  }
  if (recording.timed) {
    result.insert(result.end(), {rgb_list(), depth_list()});
  }
  return result;
}

void SequenceOutput::require_apart_from(const Recording& recording) const {
  std::set<fs::path> image_folders;
  for (const FrameFiles& frame : recording.frames) {
    // Absolute first: an image of the current folder may have no folder in its name.
    image_folders.insert({fs::absolute(frame.color).parent_path(), fs::absolute(frame.depth).parent_path()});
  }
  std::set<fs::path> taken;
  for (const fs::path& folder : image_folders) {
    taken.insert(canonical_path(folder));
  }
  for (const fs::path& folder : folders()) {
    if (taken.count(canonical_path(folder)) > 0) {
      throw UsageError("The output folder " + folder_.string() +
                       " is that of the recording, whose images would be " +
                       "overwritten. Choose another folder with --output.");
    }
  }
}

bool SequenceOutput::check_earlier_results(const RunManifest& manifest, bool resume) const {
  bool of_another_place = false;
  for (const fs::path& path :
       {folder_ / "depth", folder_ / "confidence", folder_ / "preview", rgb_list(), depth_list()}) {
    std::error_code ignored;
    if (!fs::exists(fs::symlink_status(path, ignored)) || fs::is_empty(path, ignored)) {
      continue;
    }
    if (!resume) {
      throw UsageError(path.string() + " already exists. Continue an earlier run with --resume, or " +
                       "choose another folder with --output.");
    }
    of_another_place = !manifest.require_same(manifest_file());
  }
  return of_another_place;
}

FolderLock SequenceOutput::lock() const {
  create_folder(folder_);
  return FolderLock(folder_);
}

void SequenceOutput::create_folders() const {
  for (const fs::path& folder : folders()) {
    create_folder(folder);
  }
}

void SequenceOutput::write_manifest(const RunManifest& manifest) const {
  write_file(manifest_file(), manifest.text());
}

void SequenceOutput::write_lists(const Recording& recording, const ResultJournal& journal) const {
  std::vector<TimedFile> color;
  std::vector<TimedFile> depth_maps;
  for (const FrameFiles& frame : recording.frames) {
    if (journal.find(frame.name) != nullptr) {
      // Only folders are resolved: an image that is a link keeps its name.
      const fs::path place = fs::relative(frame.color.parent_path(), folder_);
      color.push_back({0.0, frame.color_time, place / frame.color.filename()});
      depth_maps.push_back({0.0, frame.depth_time, depth(frame).lexically_relative(folder_)});
    }
  }
  write_file(rgb_list(), tum_list("color images", color));
  write_file(depth_list(), tum_list("refined depth maps", depth_maps));
}

}  // namespace enhance_depth_tool
