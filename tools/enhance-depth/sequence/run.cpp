#include "sequence/run.h"

#include <exception>
#include <utility>

#include "image/preview.h"
#include "sequence/pipeline.h"
#include "support/atomic_file.h"
#include "support/stopwatch.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

// Frames that wait before a stage: enough to bridge a disk's hiccups, and few, because one of the largest
// size takes half a gigabyte.
constexpr std::size_t kWaitingFrames = 4;

constexpr const char* kResume = "Continue with --resume.";

}  // namespace

SequenceRun::SequenceRun(Engine& engine, const SequenceOutput& output, VideoFile* video, Progress& progress,
                         Settings settings, RunSummary& summary)
    : engine_(engine),
      output_(output),
      video_(video),
      progress_(progress),
      settings_(std::move(settings)),
      summary_(summary) {}

void SequenceRun::run(const std::vector<FrameFiles>& frames) {
  std::size_t next = 0;
  PipelineStages<FrameJob> stages;
  stages.read = [&]() -> std::optional<FrameJob> {
    if (next == frames.size() || stopping_ || settings_.interrupted()) {
      return std::nullopt;
    }
    return read(frames[next++]);
  };
  stages.work = [&](FrameJob& job) { refine(job); };
  stages.write = [&](FrameJob& job) { write(job); };
  run_pipeline(stages, kWaitingFrames);
  const bool all_through = summary_.refined + summary_.failures.size() == frames.size();
  if (settings_.interrupted() && summary_.stopped_by.empty() && !all_through) {
    stop("interrupted", kResume);
  }
}

FrameJob SequenceRun::read(const FrameFiles& files) const {
  FrameJob job;
  job.files = &files;
  const Stopwatch stopwatch;
  try {
    job.color = read_color(files.color);
    job.depth = read_depth(files.depth, settings_.scale);
    require_same_size(job.color, files.color.string(), job.depth, files.depth.string());
    job.rgb = arrange_rgb(job.color, settings_.rgb_layout);
  } catch (const ToolError& error) {
    job.failure = error.what();
  } catch (const std::exception& error) {  // such as memory exhaustion
    job.failure = files.depth.string() + ": " + error.what();
  }
  job.input_ms = stopwatch.milliseconds();
  return job;
}

void SequenceRun::refine(FrameJob& job) {
  if (stopping_ || settings_.interrupted()) {
    job.dropped = true;
  }
  if (job.dropped || job.failure) {
    return;
  }
  try {
    engine_.configure(job.depth.size());
    const Refined refined = engine_.process(job.rgb, job.depth);
    job.refined = refined.depth.clone();
    job.confidence = refined.confidence.clone();
    job.network_ms = refined.network_ms;
    job.library_ms = refined.library_ms;
    job.rgb = Bytes();  // what nobody needs any more does not wait for the disk
    if (!with_pictures()) {
      job.color.release();
    }
  } catch (const std::exception& error) {
    job.failure = job.files->depth.string() + ": " + error.what();
  }
}

void SequenceRun::write(FrameJob& job) {
  if (stopping_ || job.dropped) {
    return;
  }
  const Stopwatch stopwatch;
  try {
    if (!job.failure) {
      write_files(job);
    }
  } catch (const WriteError& error) {
    if (error.concerns_all_files()) {
      stop(error.what(), kResume);
      return;
    }
    job.failure = error.what();
  } catch (const std::exception& error) {  // such as memory exhaustion
    job.failure = job.files->depth.string() + ": " + error.what();
  }
  if (job.failure) {
    summary_.failures.push_back({job.files->depth.string(), *job.failure});
    progress_.say("enhance-depth: " + *job.failure);
    progress_.frame_done(true);
    if (settings_.strict) {
      stop("the first frame that failed, as --strict wants",
           "Continue with --resume, without --strict or with that frame mended or removed.");
    }
    return;
  }
  summary_.times.output.push_back(stopwatch.milliseconds());
  summary_.times.input.push_back(job.input_ms);
  summary_.times.network.push_back(job.network_ms);
  summary_.times.library.push_back(job.library_ms);
  summary_.pixels += static_cast<std::int64_t>(job.depth.total());
  summary_.valid_before += cv::countNonZero(job.depth);
  summary_.valid_after += cv::countNonZero(job.refined);
  ++summary_.refined;
  progress_.frame_done(false);
}

// The depth comes last: it is the file that people wait for, and it then stands for a complete frame.
void SequenceRun::write_files(const FrameJob& job) {
  const FrameFiles& files = *job.files;
  if (output_.with_confidence()) {
    write_file(output_.confidence(files), encode_confidence(job.confidence));
  }
  if (with_pictures()) {
    const cv::Mat picture = render_preview({job.color, job.depth, job.refined, job.confidence},
                                           settings_.preview_range, settings_.scale);
    if (output_.with_preview()) {
      write_file(output_.preview(files), encode_picture(picture, output_.preview(files)));
    }
    if (video_ != nullptr) {
      video_->append(picture);
    }
  }
  write_file(output_.depth(files), encode_depth(job.refined));
}

void SequenceRun::stop(const std::string& reason, const std::string& remedy) {
  summary_.stopped_by = reason;
  summary_.remedy = remedy;
  stopping_ = true;
}

}  // namespace enhance_depth_tool
