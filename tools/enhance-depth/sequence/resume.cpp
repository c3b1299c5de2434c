#include "sequence/resume.h"

#include <algorithm>
#include <cstddef>

#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

enum class Earlier { kNone, kOfOtherImages, kIncomplete, kComplete };

Earlier earlier_result(const FrameFiles& frame, const SequenceOutput& output, const ResultJournal& journal) {
  const ResultRecord* record = journal.find(frame.name);
  if (record == nullptr) {
    return Earlier::kNone;
  }
  if (!has_content_of(record->color, frame.color) || !has_content_of(record->depth, frame.depth)) {
    return Earlier::kOfOtherImages;
  }
  return output.is_complete(frame, *record) ? Earlier::kComplete : Earlier::kIncomplete;
}

}  // namespace

FramesToDo find_frames_to_do(const Recording& recording, const SequenceOutput& output, ResultJournal& journal,
                             bool of_another_place) {
  std::vector<Earlier> results;
  results.reserve(recording.frames.size());
  for (const FrameFiles& frame : recording.frames) {
    results.push_back(earlier_result(frame, output, journal));
  }
  const auto of_other_images = std::count(results.begin(), results.end(), Earlier::kOfOtherImages);
  const auto unknown = std::count(results.begin(), results.end(), Earlier::kNone);
  const auto of_these_images = static_cast<std::ptrdiff_t>(results.size()) - of_other_images - unknown;
  // Two recordings may have a frame in common, such as a black one.
  if (of_another_place && !journal.empty() && of_these_images <= of_other_images) {
    throw UsageError("The results beside " + output.journal().string() +
                     " were made with another recording. Choose another folder with --output.");
  }
  FramesToDo to_do;
  for (std::size_t i = 0; i < results.size(); ++i) {
    const FrameFiles& frame = recording.frames[i];
    if (results[i] == Earlier::kComplete) {
      continue;
    }
    if (results[i] == Earlier::kOfOtherImages) {
      output.remove(frame);
      ++to_do.changed;
    }
    journal.forget(frame.name);
    to_do.frames.push_back(frame);
  }
  return to_do;
}

}  // namespace enhance_depth_tool
