#include "sequence/recording.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <unordered_set>
#include <utility>

#include <glob.h>

#include "sequence/pairing.h"
#include "sequence/tum_layout.h"
#include "support/input_file.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Removes the digits at the front of `text` and returns them without leading zeros.
std::string_view take_number(std::string_view& text) {
  const auto end =
      static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is_digit) - text.begin());
  std::string_view digits = text.substr(0, end);
  text.remove_prefix(end);
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  return digits;
}

// Numbers within names are compared by value, however many digits they have: frame_2 and frame_09 come before
// frame_010.
bool in_natural_order(const fs::path& a, const fs::path& b) {
  std::string_view left = a.native();
  std::string_view right = b.native();
  while (!left.empty() && !right.empty()) {
    if (is_digit(left.front()) && is_digit(right.front())) {
      const std::string_view left_number = take_number(left);
      const std::string_view right_number = take_number(right);
      if (left_number != right_number) {
        return std::make_pair(left_number.size(), left_number) <
               std::make_pair(right_number.size(), right_number);
      }
    } else if (left.front() != right.front()) {
      return left.front() < right.front();
    } else {
      left.remove_prefix(1);
      right.remove_prefix(1);
    }
  }
  if (left.empty() != right.empty()) {
    return left.empty();
  }
  return a.native() < b.native();  // they differ in leading zeros only
}

[[noreturn]] void refuse_folder(const std::string& place, const std::string& reason) {
  throw UsageError(place + " cannot be read: " + reason + ". Check its permissions.");
}

std::vector<fs::path> images_in(const fs::path& folder, std::initializer_list<std::string_view> extensions) {
  std::vector<fs::path> files;
  std::error_code problem;
  for (const auto& entry : fs::directory_iterator(folder, problem)) {
    const std::string extension = lower_case(entry.path().extension().string());
    const bool hidden =
        entry.path().filename().native().front() == '.';  // such as what some systems add: ._0.png
    if (!hidden && std::find(extensions.begin(), extensions.end(), extension) != extensions.end()) {
      files.push_back(entry.path());
    }
  }
  if (problem) {
    refuse_folder(folder.string(), problem.message());
  }
  return files;
}

std::vector<fs::path> matches_of(const std::string& pattern) {
  glob_t found{};
  // A folder that does not exist matches nothing; one that cannot be read is an error, as it may hold images.
  const auto stops = [](const char* /*folder*/, int reason) { return reason == ENOENT ? 0 : 1; };
  const int result = glob(pattern.c_str(), 0, stops, &found);
  const int reason = errno;
  std::vector<fs::path> files(found.gl_pathv, found.gl_pathv + found.gl_pathc);
  globfree(&found);
  if (result != 0 && result != GLOB_NOMATCH) {
    refuse_folder(pattern, std::strerror(reason));
  }
  return files;
}

// The images of a folder or pattern, in natural order.
std::vector<fs::path> list_images(const std::string& place,
                                  std::initializer_list<std::string_view> extensions, const char* kind) {
  const bool is_folder = type_of(place) == fs::file_type::directory;
  std::vector<fs::path> files = is_folder ? images_in(place, extensions) : matches_of(place);
  if (files.empty()) {
    throw UsageError(place + (is_folder ? " has no " : " names no folder and matches no ") + kind +
                     " images. Give a folder, or a pattern in quotes such as \"recording/*_depth.png\".");
  }
  std::sort(files.begin(), files.end(), in_natural_order);
  return files;
}

std::vector<std::string> names_of(const std::vector<fs::path>& files) {
  std::vector<std::string> names;
  names.reserve(files.size());
  for (const fs::path& file : files) {
    names.push_back(file.stem().string());
  }
  return names;
}

// With two images of the same name it is unclear which is meant, and two frames of the same name would
// overwrite each other's results.
void require_unique_names(const std::vector<fs::path>& files, const std::string& kind) {
  std::unordered_set<std::string> names;
  for (const fs::path& file : files) {
    if (!names.insert(file.stem().string()).second) {
      throw UsageError(file.string() + " has the name of another " + kind +
                       " image of the recording. Rename one, or refine them in two runs.");
    }
  }
}

Recording open_tum_recording(const fs::path& folder, double max_difference) {
  const std::vector<TimedFile> color = read_tum_list(folder / "rgb.txt");
  const std::vector<TimedFile> depth = read_tum_list(folder / "depth.txt");
  const auto times_of = [](const std::vector<TimedFile>& files) {
    std::vector<double> times;
    times.reserve(files.size());
    for (const TimedFile& file : files) {
      times.push_back(file.time);
    }
    return times;
  };
  Recording recording;
  recording.timed = true;
  std::vector<fs::path> paired_depth;
  for (const IndexPair& pair : pair_by_time(times_of(color), times_of(depth), max_difference)) {
    const TimedFile& color_file = color[pair.color];
    const TimedFile& depth_file = depth[pair.depth];
    recording.frames.push_back({color_file.file, depth_file.file, depth_file.file.stem().string(),
                                color_file.time_text, depth_file.time_text, depth_file.time});
    paired_depth.push_back(depth_file.file);
  }
  require_unique_names(paired_depth, "depth");
  if (recording.frames.empty()) {
    throw UsageError(folder.string() + " has no colour and depth images whose time stamps are within " +
                     decimals(max_difference, 3) +
                     " s: " + count(static_cast<std::int64_t>(color.size()), "colour image") + ", " +
                     count(static_cast<std::int64_t>(depth.size()), "depth image") +
                     ". Check both clocks, or allow more with --max-difference.");
  }
  recording.files = {folder / "rgb.txt", folder / "depth.txt"};
  for (const std::vector<TimedFile>* list : {&color, &depth}) {
    for (const TimedFile& entry : *list) {
      recording.files.push_back(entry.file);
    }
  }
  recording.unpaired_color = color.size() - recording.frames.size();
  recording.unpaired_depth = depth.size() - recording.frames.size();
  return recording;
}

}  // namespace

void select_frames(Recording& recording, const FrameSelection& selection) {
  std::vector<FrameFiles> selected;
  const std::size_t end = std::min(selection.to, recording.frames.size());
  for (std::size_t i = selection.from - 1; i < end; i += selection.every) {
    selected.push_back(recording.frames[i]);
  }
  if (selected.empty()) {
    throw UsageError("The recording has " +
                     count(static_cast<std::int64_t>(recording.frames.size()), "frame") +
                     ", and none of them is wanted. Choose others with --from and --to.");
  }
  recording.frames = std::move(selected);
}

Recording open_recording(const fs::path& folder, double max_difference) {
  const auto is_folder = [](const fs::path& path) { return type_of(path) == fs::file_type::directory; };
  const auto exists = [](const fs::path& path) { return type_of(path) != fs::file_type::not_found; };
  if (!is_folder(folder)) {
    throw UsageError(folder.string() +
                     " is not a folder. Name the recording's folder, or its images with --color and " +
                     "--depth.");
  }
  if (exists(folder / "rgb.txt") || exists(folder / "depth.txt")) {
    return open_tum_recording(folder, max_difference);
  }
  for (const char* color : {"color", "rgb"}) {
    if (is_folder(folder / color) && is_folder(folder / "depth")) {
      return open_recording((folder / color).string(), (folder / "depth").string());
    }
  }
  throw UsageError(folder.string() +
                   " has neither the lists rgb.txt and depth.txt nor the folders color (or rgb) and " +
                   "depth. Name the images with --color and --depth.");
}

Recording open_recording(const std::string& color, const std::string& depth) {
  const std::vector<fs::path> color_files =
      list_images(color, {".png", ".jpg", ".jpeg", ".ppm", ".pgm", ".tif", ".tiff"}, "colour");
  const std::vector<fs::path> depth_files =
      list_images(depth, {".png", ".pgm", ".tif", ".tiff", ".npy"}, "depth");
  require_unique_names(depth_files, "depth");
  std::vector<IndexPair> pairs = pair_by_name(names_of(color_files), names_of(depth_files));
  const bool by_order = pairs.empty();
  if (!by_order) {
    require_unique_names(color_files, "colour");
  } else {
    if (color_files.size() != depth_files.size()) {
      throw UsageError(color + " and " + depth + " have no name in common, and " +
                       std::to_string(color_files.size()) + " and " + std::to_string(depth_files.size()) +
                       " images cannot be paired by their order. Remove those without a partner.");
    }
    for (std::size_t i = 0; i < depth_files.size(); ++i) {
      pairs.push_back({i, i});
    }
  }
  Recording recording;
  recording.paired_by_order = by_order;
  for (const IndexPair& pair : pairs) {
    recording.frames.push_back(
        {color_files[pair.color], depth_files[pair.depth], depth_files[pair.depth].stem().string(), {}, {}});
  }
  recording.files = color_files;
  recording.files.insert(recording.files.end(), depth_files.begin(), depth_files.end());
  recording.unpaired_color = color_files.size() - pairs.size();
  recording.unpaired_depth = depth_files.size() - pairs.size();
  return recording;
}

}  // namespace enhance_depth_tool
