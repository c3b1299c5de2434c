// The three stages of refining a recording, and what they found.
#ifndef ENHANCE_DEPTH_TOOL_SEQUENCE_RUN_H
#define ENHANCE_DEPTH_TOOL_SEQUENCE_RUN_H

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "image/color_scale.h"
#include "image/depth_scale.h"
#include "image/image_io.h"
#include "image/video_file.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/recording.h"
#include "sequence/run_summary.h"
#include "support/engine.h"

namespace enhance_depth_tool {

// One frame on its way through the stages. A frame that failed passes the remaining ones untouched, so that
// the last one, which counts and reports, sees all frames in their order.
struct FrameJob {
  const FrameFiles* files = nullptr;
  cv::Mat color;
  cv::Mat depth;
  Bytes rgb;
  cv::Mat refined;
  cv::Mat confidence;
  double input_ms = 0.0;
  double network_ms = 0.0;
  double library_ms = 0.0;
  bool dropped = false;  // the run was stopped before its turn
  std::optional<std::string> failure;
};

class SequenceRun {
 public:
  struct Settings {
    RgbLayout rgb_layout = RgbLayout::kPlanar;
    DepthScale scale;
    ValueRange preview_range;           // of all previews, so that colours mean the same throughout
    bool strict = false;                // the first failed frame ends the run
    std::function<bool()> interrupted;  // any thread
  };

  // What `summary` has about the recording is kept, the rest is added by run(). `video` may be null. All
  // references must outlive this object.
  SequenceRun(Engine& engine, const SequenceOutput& output, VideoFile* video, Progress& progress,
              Settings settings, RunSummary& summary);

  // Refines `frames`. What goes wrong is reported through the progress and in the summary. The engine must
  // deliver the confidence that the output wants.
  void run(const std::vector<FrameFiles>& frames);

 private:
  FrameJob read(const FrameFiles& files) const;
  void refine(FrameJob& job);
  void write(FrameJob& job);
  void write_files(const FrameJob& job);
  bool with_pictures() const { return output_.with_preview() || video_ != nullptr; }
  void stop(const std::string& reason, const std::string& remedy);

  Engine& engine_;
  const SequenceOutput& output_;
  VideoFile* video_;
  Progress& progress_;
  Settings settings_;
  RunSummary& summary_;
  std::atomic<bool> stopping_{false};
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_SEQUENCE_RUN_H
