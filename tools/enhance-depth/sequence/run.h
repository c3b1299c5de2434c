// Refines the frames of a recording, several at a time, and reports the outcome.
#ifndef ENHANCE_DEPTH_TOOL_SEQUENCE_RUN_H
#define ENHANCE_DEPTH_TOOL_SEQUENCE_RUN_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "image/color_scale.h"
#include "image/depth_filter.h"
#include "image/depth_scale.h"
#include "image/image_io.h"
#include "image/video_file.h"
#include "sequence/engine_pool.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/recording.h"
#include "sequence/result_journal.h"
#include "sequence/run_summary.h"
#include "support/rgb_layout.h"

namespace enhance_depth_tool {

// A frame, from its files to the content of its results. Failed and dropped frames go through to the end,
// too, where all are counted and reported in their order.
struct FrameJob {
  const FrameFiles* files = nullptr;
  ResultRecord record;
  std::map<std::string, Bytes> results;  // by kind, as the record's sizes are
  cv::Mat picture;                       // for the video
  FrameMeasures measures;
  bool dropped = false;  // the run was stopped before its turn
  std::optional<std::string> failure;
};

class SequenceRun {
 public:
  struct Settings {
    RgbLayout rgb_layout = RgbLayout::kPlanar;
    DepthScale scale;
    DepthFilter filter;
    ValueRange preview_range;           // of all previews, so that colours mean the same throughout
    bool strict = false;                // the first failed frame ends the run
    std::function<bool()> interrupted;  // any thread
  };

  // `summary` already describes the recording; run() adds the rest. `video` may be null. All references must
  // outlive this object.
  SequenceRun(EnginePool& engines, const SequenceOutput& output, ResultJournal& journal, VideoFile* video,
              Progress& progress, Settings settings, RunSummary& summary);

  // Refines `frames`, as many at a time as there are engines, while it reads and writes others. Results,
  // failures and pictures are in the order of the frames. Failures are reported through the progress and in
  // the summary. The engines must deliver the confidence if the output or the filter needs it.
  void run(const std::vector<FrameFiles>& frames);

 private:
  // On several threads at a time:
  void make(FrameJob& job);
  void make_results(FrameJob& job);

  // On one thread at a time:
  void finish(FrameJob& job);
  void write(FrameJob& job);
  void stop(const std::string& reason, const std::string& remedy);

  bool with_pictures() const { return output_.with_preview() || video_ != nullptr; }
  bool ends() const { return stopping_ || settings_.interrupted(); }

  EnginePool& engines_;
  const SequenceOutput& output_;
  ResultJournal& journal_;
  VideoFile* video_;
  Progress& progress_;
  Settings settings_;
  RunSummary& summary_;
  std::atomic<bool> stopping_{false};
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_SEQUENCE_RUN_H
