// The outcome of a run over a recording, as text and as JSON.
#ifndef ENHANCE_DEPTH_TOOL_RUN_SUMMARY_H
#define ENHANCE_DEPTH_TOOL_RUN_SUMMARY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "image/depth_filter.h"

namespace enhance_depth_tool {

// Milliseconds per frame, of every refined frame.
struct FrameTimes {
  std::vector<double> network;
  std::vector<double> library;
  std::vector<double> input;   // reading and decoding
  std::vector<double> output;  // encoding and writing, previews included
};

// Measurements of one refined frame, in milliseconds and pixels.
struct FrameMeasures {
  double network_ms = 0.0;
  double library_ms = 0.0;
  double input_ms = 0.0;
  double output_ms = 0.0;
  std::int64_t pixels = 0;
  std::int64_t valid_before = 0;
  std::int64_t valid_after = 0;  // without the removed ones
  RemovedPixels removed;
  std::optional<double> mean_confidence;  // if the engine delivers one
};

struct FrameRow {
  std::string name;
  FrameMeasures measures;
};

struct FrameFailure {
  std::string frame;  // its depth image
  std::string reason;
};

struct RunSummary {
  std::size_t paired = 0;          // frames of the recording
  std::size_t done_before = 0;     // of these, refined by an earlier run
  std::size_t refined = 0;         // by this run
  std::size_t changed = 0;         // frames to refine that had a result of other images
  std::size_t unpaired_color = 0;  // images without a partner
  std::size_t unpaired_depth = 0;
  std::vector<FrameFailure> failures;
  std::string stopped_by;                // why the run ended early; empty if it did not
  std::string remedy;                    // then, how to get the rest: a sentence
  std::vector<std::string> not_written;  // why there are no lists or no video: sentences
  double wall_s = 0.0;
  FrameTimes times;
  std::vector<FrameRow> rows;  // of the refined frames, in their order
  std::int64_t pixels = 0;     // of all refined frames
  std::int64_t valid_before = 0;
  std::int64_t valid_after = 0;
  RemovedPixels removed;

  // One more frame was refined.
  void add(const std::string& name, const FrameMeasures& frame);

  bool all_went_well() const { return failures.empty() && stopped_by.empty() && not_written.empty(); }
};

// Several lines for standard output.
std::string to_text(const RunSummary& summary);

nlohmann::ordered_json to_json(const RunSummary& summary);

// One line per refined frame, below a line of headings.
std::string to_csv(const RunSummary& summary);

// One line of percentiles in milliseconds, and the heading of such lines.
std::string percentile_heading();
std::string percentile_line(const std::string& what, const std::vector<double>& times);

// {"median": ..., "p95": ..., "p99": ..., "maximum": ...}, or null without values.
nlohmann::ordered_json percentile_json(const std::vector<double>& times);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RUN_SUMMARY_H
