#include "sequence/run.h"

#include <exception>
#include <utility>

#include "image/preview.h"
#include "sequence/input_identity.h"
#include "sequence/pipeline.h"
#include "support/atomic_file.h"
#include "support/stopwatch.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

// Threads besides those that refine: one reads ahead, one writes.
constexpr int kOtherThreads = 2;

// Frames besides those being refined: enough to bridge short delays of the disk, but few, because one of the
// largest size takes half a gigabyte.
constexpr std::size_t kOtherFrames = 6;

constexpr const char* kResume = "Continue with --resume.";

}  // namespace

SequenceRun::SequenceRun(EnginePool& engines, const SequenceOutput& output, ResultJournal& journal,
                         VideoFile* video, Progress& progress, Settings settings, RunSummary& summary)
    : engines_(engines),
      output_(output),
      journal_(journal),
      video_(video),
      progress_(progress),
      settings_(std::move(settings)),
      summary_(summary) {}

void SequenceRun::run(const std::vector<FrameFiles>& frames) {
  std::size_t next = 0;
  PipelineStages<FrameJob> stages;
  stages.next = [&]() -> std::optional<FrameJob> {
    if (next == frames.size() || ends()) {
      return std::nullopt;
    }
    FrameJob job;
    job.files = &frames[next++];
    return job;
  };
  stages.work = [&](FrameJob& job) { make(job); };
  stages.finish = [&](FrameJob& job) { finish(job); };
  run_pipeline(stages, {static_cast<int>(engines_.size()) + kOtherThreads, engines_.size() + kOtherFrames});
  const bool all_through = summary_.refined + summary_.failures.size() == frames.size();
  if (settings_.interrupted() && summary_.stopped_by.empty() && !all_through) {
    stop("interrupted", kResume);
  }
}

void SequenceRun::make(FrameJob& job) {
  try {
    make_results(job);
  } catch (const UsageError& error) {  // it names the file
    job.failure = error.what();
  } catch (const std::exception& error) {  // such as memory exhaustion
    job.failure = job.files->depth.string() + ": " + error.what();
  }
}

void SequenceRun::make_results(FrameJob& job) {
  const FrameFiles& files = *job.files;
  Stopwatch stopwatch;
  FrameImages images;
  {
    const IdentifiedInput color_file = read_identified(files.color);
    const IdentifiedInput depth_file = read_identified(files.depth);
    job.record.color = color_file.identity;
    job.record.depth = depth_file.identity;
    images = decode_frame(color_file.content, files.color.string(), depth_file.content, files.depth.string(),
                          settings_.scale);
  }
  const cv::Mat& color = images.color;
  const cv::Mat& depth = images.depth;
  const Bytes rgb = arrange_rgb(color, settings_.rgb_layout);
  job.measures.input_ms = stopwatch.milliseconds();

  cv::Mat refined_depth;
  cv::Mat confidence;
  {
    const EnginePool::Lease engine = engines_.take();
    if (ends()) {
      job.dropped = true;
      return;
    }
    engine->configure(depth.size());
    const Refined refined = engine->process(rgb, depth);
    refined_depth = refined.depth.clone();
    confidence = refined.confidence.clone();
    job.measures.network_ms = refined.network_ms;
    job.measures.library_ms = refined.library_ms;
  }

  stopwatch = Stopwatch();
  job.measures.removed = remove_pixels(refined_depth, confidence, settings_.filter, settings_.scale);
  job.results["depth"] = encode_depth(refined_depth);
  if (output_.with_confidence()) {
    job.results["confidence"] = encode_confidence(confidence);
  }
  if (with_pictures()) {
    job.picture =
        render_preview({color, depth, refined_depth, confidence}, settings_.preview_range, settings_.scale);
  }
  if (output_.with_preview()) {
    job.results["preview"] = encode_picture(job.picture, output_.preview(files));
  }
  job.measures.pixels = static_cast<std::int64_t>(depth.total());
  job.measures.valid_before = cv::countNonZero(depth);
  job.measures.valid_after = cv::countNonZero(refined_depth);
  if (!confidence.empty()) {
    job.measures.mean_confidence = cv::mean(confidence)[0];
  }
  job.measures.output_ms = stopwatch.milliseconds();
}

void SequenceRun::finish(FrameJob& job) {
  if (stopping_ || job.dropped) {
    return;
  }
  const Stopwatch stopwatch;
  try {
    if (!job.failure) {
      write(job);
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
  job.measures.output_ms += stopwatch.milliseconds();
  summary_.add(job.files->name, job.measures);
  progress_.frame_done(false);
}

// The depth is written last: users wait for that file, and its presence then means that the frame is
// complete.
void SequenceRun::write(FrameJob& job) {
  const FrameFiles& files = *job.files;
  const std::map<std::string, std::filesystem::path> paths = output_.files(files);
  for (const auto& [kind, content] : job.results) {
    if (kind != "depth") {
      write_file(paths.at(kind), content);
    }
    job.record.bytes[kind] = content.size();
  }
  if (video_ != nullptr) {
    video_->append(job.picture);
  }
  write_file(output_.depth(files), job.results.at("depth"));
  journal_.add(files.name, job.record);
}

void SequenceRun::stop(const std::string& reason, const std::string& remedy) {
  summary_.stopped_by = reason;
  summary_.remedy = remedy;
  stopping_ = true;
}

}  // namespace enhance_depth_tool
