// enhance-depth sequence: a whole recording, from folder to folder.
#include <algorithm>
#include <exception>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "commands/options.h"
#include "commands/recording_options.h"
#include "commands/subcommands.h"
#include "image/video_file.h"
#include "sequence/folder_lock.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/recording.h"
#include "sequence/run.h"
#include "sequence/run_origin.h"
#include "sequence/run_summary.h"
#include "support/engine.h"
#include "support/interrupt.h"
#include "support/json_file.h"
#include "support/output_path.h"
#include "support/percentiles.h"
#include "support/stopwatch.h"
#include "support/terminal.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

struct SequenceOptions {
  EngineOptions engine;
  RecordingOptions recording;
  fs::path output;
  bool confidence = false;
  bool preview = false;
  fs::path video;
  bool resume = false;
  bool strict = false;
  DepthScale scale;
  fs::path json;
};

// Throws a UsageError when the recording or the engine would be overwritten. Writes nothing.
void check_outputs(const SequenceOptions& options, const Recording& recording, const SequenceOutput& output) {
  output.require_apart_from(recording);
  std::vector<fs::path> written = output.files(recording);
  written.insert(written.end(), {options.json, options.video});
  std::vector<fs::path> read = recording.files;
  read.push_back(options.engine.engine);
  require_distinct(written, read);
}

std::string ended(const std::string& sentence) { return sentence + (sentence.back() == '.' ? "" : "."); }

// The frames that this run has to refine.
std::vector<FrameFiles> frames_to_do(const Recording& recording, const SequenceOutput& output) {
  std::vector<FrameFiles> frames;
  std::copy_if(recording.frames.begin(), recording.frames.end(), std::back_inserter(frames),
               [&](const FrameFiles& frame) { return !output.has(frame); });
  return frames;
}

// One range for the previews of all frames: that of the first depth that has any. It depends on the recording
// alone, so that a resumed run makes the same pictures.
ValueRange preview_range(const Recording& recording, DepthScale scale, const InterruptGuard& interrupt) {
  for (const FrameFiles& frame : recording.frames) {
    if (interrupt.interrupted()) {
      break;
    }
    try {
      const cv::Mat depth = read_depth(frame.depth, scale);
      if (cv::countNonZero(depth) > 0) {
        return depth_range({depth});
      }
    } catch (const std::exception&) {
      continue;  // will be reported when its turn comes
    }
  }
  return {1.0, 1000.0};
}

// The camera's rate by the time stamps, or the usual one without.
double frames_per_second(const Recording& recording) {
  std::vector<double> intervals;
  for (std::size_t i = 1; i < recording.frames.size() && recording.timed; ++i) {
    intervals.push_back(recording.frames[i].seconds - recording.frames[i - 1].seconds);
  }
  constexpr double kUsual = 30.0;
  const double interval = intervals.empty() ? 1.0 / kUsual : percentiles(intervals).median;
  return std::clamp(interval > 0.0 ? 1.0 / interval : kUsual, 1.0, 120.0);
}

void report(const RunSummary& summary, const SequenceOptions& options) {
  const auto complain = [](const std::string& sentence) {
    std::cerr << highlighted("enhance-depth:", Highlight::kError, StandardStream::kError) << " "
              << printable(sentence) << "\n";
  };
  if (!summary.stopped_by.empty()) {
    complain("stopped before the end: " + ended(summary.stopped_by) + " " + summary.remedy);
  }
  std::for_each(summary.not_written.begin(), summary.not_written.end(), complain);
  std::cout << to_text(summary) << "  results         " << printable(options.output.string()) << "\n";
  if (!options.video.empty()) {  // that it was not there before has been checked
    std::cout << "  video           "
              << (fs::exists(options.video) ? printable(options.video.string()) : "none") << "\n";
  }
  if (!options.json.empty()) {
    nlohmann::ordered_json json = {{"library", enhance_depth_get_version()},
                                   {"engine", options.engine.engine.string()},
                                   {"output", options.output.string()}};
    json.update(to_json(summary));
    write_json(options.json, json);
  }
}

int refine_sequence(const SequenceOptions& options) {
  const Recording recording = open_recording(options.recording);
  const SequenceOutput output(options.output, options.confidence, options.preview);
  check_outputs(options, recording, output);
  const RgbLayout layout = choose_rgb_layout(options.engine);
  Engine engine(options.engine.engine);
  if (options.confidence) {  // an engine without shows now, before anything is on the disk
    const cv::Mat depth = cv::Mat::zeros(480, 640, CV_16UC1);
    engine.require_confidence(engine.process(Bytes(3 * depth.total()), depth));
  }
  // Of the folder and the places of its images only one was given.
  const RunOrigin origin(options.engine, options.recording.input / options.recording.color,
                         options.recording.input / options.recording.depth, options.scale,
                         options.recording.max_difference);
  const FolderLock lock = output.lock();
  output.check_earlier_results(origin, options.resume);
  output.create_folders();
  if (!options.json.empty()) {
    require_writable(options.json, {});
  }
  std::optional<VideoFile> video;
  if (!options.video.empty()) {
    video.emplace(options.video, frames_per_second(recording));
  }
  output.write_origin(origin);
  const std::vector<FrameFiles> frames = frames_to_do(recording, output);

  RunSummary summary;
  summary.paired = recording.frames.size();
  summary.done_before = recording.frames.size() - frames.size();
  summary.unpaired_color = recording.unpaired_color;
  summary.unpaired_depth = recording.unpaired_depth;

  const InterruptGuard interrupt;  // until the summary is out
  const Stopwatch stopwatch;
  const bool with_pictures = options.preview || video;
  const ValueRange range = with_pictures ? preview_range(recording, options.scale, interrupt) : ValueRange{};
  {
    Progress progress(std::cerr, {is_terminal(StandardStream::kError), terminal_width()},
                      static_cast<std::int64_t>(frames.size()), [&] { return stopwatch.seconds(); });
    SequenceRun run(engine, output, video ? &*video : nullptr, progress,
                    {layout, options.scale, range, options.strict, [&] { return interrupt.interrupted(); }},
                    summary);
    run.run(frames);
  }
  summary.wall_s = stopwatch.seconds();
  const auto finish = [&](const char* what, const auto& write, const char* remedy) {
    try {
      write();
    } catch (const std::exception& error) {
      summary.not_written.push_back(std::string(what) + " not written: " + ended(error.what()) + " " +
                                    remedy);
    }
  };
  if (recording.timed) {
    const auto write = [&] { output.write_lists(recording); };
    finish("The lists are", write, "--resume writes them.");
  }
  if (video) {
    const auto write = [&] {
      if (!summary.stopped_by.empty()) {
        throw ToolError(kFramesFailed, "it would pass for that of the whole recording.");
      }
      video->finish();
    };
    finish("The video is", write,
           "Leave out --video, or choose another folder with --output for a whole one.");
  }
  report(summary, options);
  return summary.all_went_well() ? kSuccess : kFramesFailed;
}

}  // namespace

Action add_sequence(CLI::App& app) {
  const auto options = std::make_shared<SequenceOptions>();
  add_engine_options(app, options->engine);
  add_recording_options(app, options->recording);
  app.add_option("-o,--output", options->output, "Folder for the results")->required()->type_name("DIR");
  app.add_flag("--confidence", options->confidence, "Write the confidence too, as 32-bit float TIFF");
  app.add_flag("--preview", options->preview, "Write a preview picture of every frame too");
  CLI::Option* video =
      app.add_option("--video", options->video, "Write the previews as an animation: .mp4 or .avi")
          ->type_name("FILE");
  CLI::Option* resume =
      app.add_flag("--resume", options->resume, "Leave out the frames whose results are there already");
  video->excludes(resume);
  app.add_flag("--strict", options->strict, "Stop at the first frame that fails");
  add_depth_scale(app, options->scale);
  add_json(app, options->json);
  return [options] { return refine_sequence(*options); };
}

}  // namespace enhance_depth_tool
