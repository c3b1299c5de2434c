// enhance-depth sequence: a whole recording, from folder to folder.
#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "commands/options.h"
#include "commands/program_output.h"
#include "commands/recording_options.h"
#include "commands/subcommands.h"
#include "image/video_file.h"
#include "sequence/engine_pool.h"
#include "sequence/folder_lock.h"
#include "sequence/output.h"
#include "sequence/progress.h"
#include "sequence/recording.h"
#include "sequence/result_journal.h"
#include "sequence/resume.h"
#include "sequence/run.h"
#include "sequence/run_manifest.h"
#include "sequence/run_summary.h"
#include "support/interrupt.h"
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
  std::size_t jobs = 1;
  DepthScale scale;
  DepthFilter filter;
  JsonOutput json;
  ProgramOutput csv;
};

// Throws a UsageError when the recording or the engine would be overwritten. Writes nothing.
void check_outputs(const SequenceOptions& options, const Recording& recording, const SequenceOutput& output) {
  options.json.require_apart_from(options.csv);
  output.require_apart_from(recording);
  std::vector<fs::path> written = output.files(recording);
  written.insert(written.end(), {options.json.file(), options.csv.file(), options.video});
  std::vector<fs::path> read = recording.files;
  read.push_back(options.engine.engine);
  require_distinct(written, read);
}

std::string ended(const std::string& sentence) { return sentence + (sentence.back() == '.' ? "" : "."); }

// One range for the previews of all frames: that of the first depth image with any depth. It depends only on
// the recording, so that a resumed run makes the same pictures.
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
      continue;  // reported when its turn comes
    }
  }
  return {1.0, 1000.0};
}

// The camera's rate from the time stamps, or the usual one if there are none.
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
  std::ostream& text = options.json.text_beside(options.csv);
  text << to_text(summary) << (summary.refined > 0 ? removal_text(options.filter, summary.removed) : "")
       << "  depth scale     " << scale_text(options.scale) << "\n"
       << "  results         " << printable(options.output.string()) << "\n";
  if (!options.video.empty()) {  // that it was not there before has been checked
    text << "  video           " << (fs::exists(options.video) ? printable(options.video.string()) : "none")
         << "\n";
  }
  nlohmann::ordered_json json = {{"library", enhance_depth_get_version()},
                                 {"engine", options.engine.engine.string()},
                                 {"output", options.output.string()},
                                 {"units_per_metre", options.scale.units_per_metre}};
  json.update(to_json(summary));
  options.json.write(json);
}

// Where the images are: folders or patterns.
std::vector<fs::path> places_of(const RecordingOptions& recording) {
  if (!recording.input.empty()) {
    return {recording.input};
  }
  return {recording.color, recording.depth};
}

std::size_t number_of_engines(const SequenceOptions& options) {
  return options.jobs > 0 ? options.jobs : std::max(1U, std::thread::hardware_concurrency());
}

// Refuses an engine without the confidence that `option` needs before anything is written.
void require_confidence(EnginePool& engines, const char* option) {
  const EnginePool::Lease engine = engines.take();
  const cv::Mat depth = cv::Mat::zeros(480, 640, CV_16UC1);
  engine->require_confidence(engine->process(Bytes(3 * depth.total()), depth), option);
}

// Examines what an earlier run left, and creates the folders.
FramesToDo begin(const SequenceOptions& options, const RunManifest& manifest, const Recording& recording,
                 const SequenceOutput& output, ResultJournal& journal) {
  const bool of_another_place = output.check_earlier_results(manifest, options.resume);
  if (options.resume) {
    journal.load();
  }
  FramesToDo to_do = find_frames_to_do(recording, output, journal, of_another_place);
  output.create_folders();
  options.json.require_writable();
  options.csv.require_writable();
  return to_do;
}

// Records in the summary what is not written at the end of a run.
void note(const char* what, const std::string& reason, const char* remedy, RunSummary& summary) {
  summary.not_written.push_back(std::string(what) + " not written: " + ended(reason) + " " + remedy);
}

void write_or_note(const char* what, const char* remedy, RunSummary& summary,
                   const std::function<void()>& write) {
  try {
    write();
  } catch (const std::exception& error) {
    note(what, error.what(), remedy, summary);
  }
}

std::vector<std::string> names_of(const Recording& recording) {
  std::vector<std::string> names;
  names.reserve(recording.frames.size());
  for (const FrameFiles& frame : recording.frames) {
    names.push_back(frame.name);
  }
  return names;
}

// The outputs that belong to the recording as a whole.
void write_the_whole(const Recording& recording, const SequenceOutput& output, const ResultJournal& journal,
                     VideoFile* video, RunSummary& summary) {
  const bool complete = summary.stopped_by.empty();
  if (complete) {  // otherwise the lines of this run are there, behind those of earlier ones
    write_or_note("The list of what the results were made of is", "--resume writes it.", summary,
                  [&] { journal.write(names_of(recording)); });
  }
  if (recording.timed) {
    write_or_note("The lists are", "--resume writes them.", summary,
                  [&] { output.write_lists(recording, journal); });
  }
  constexpr const char* kVideo = "The video is";
  constexpr const char* kWholeVideo =
      "Leave out --video, or choose another folder with --output for a whole one.";
  if (video != nullptr && complete) {
    write_or_note(kVideo, kWholeVideo, summary, [&] { video->finish(); });
  } else if (video != nullptr) {
    note(kVideo, "it would pass for that of the whole recording.", kWholeVideo, summary);
  }
}

int refine_sequence(SequenceOptions options) {
  const Recording recording = open_recording(options.recording);
  options.scale = choose_scale(recording, options.scale);
  const SequenceOutput output(options.output, options.confidence, options.preview);
  check_outputs(options, recording, output);
  const RgbLayout layout = choose_rgb_layout(options.engine);
  EnginePool engines(options.engine.engine, number_of_engines(options));
  if (options.confidence || options.filter.least_confidence) {
    require_confidence(engines, options.confidence ? "--confidence" : "--min-confidence");
  }
  const FolderLock lock = output.lock();
  ResultJournal journal(output.journal());
  const RunManifest manifest(options.engine.engine, places_of(options.recording), options.scale,
                             options.recording.max_difference, options.filter);
  const FramesToDo to_do = begin(options, manifest, recording, output, journal);
  std::optional<VideoFile> video;
  if (!options.video.empty()) {
    video.emplace(options.video, frames_per_second(recording));
  }
  VideoFile* const video_or_null = video ? &*video : nullptr;
  output.write_manifest(manifest);
  journal.write(names_of(recording));

  RunSummary summary;
  summary.paired = recording.frames.size();
  summary.done_before = recording.frames.size() - to_do.frames.size();
  summary.changed = to_do.changed;
  summary.unpaired_color = recording.unpaired_color;
  summary.unpaired_depth = recording.unpaired_depth;

  const InterruptGuard interrupt;  // until the summary is out
  const Stopwatch stopwatch;
  SequenceRun::Settings settings;
  settings.rgb_layout = layout;
  settings.scale = options.scale;
  settings.filter = options.filter;
  settings.strict = options.strict;
  settings.interrupted = [&] { return interrupt.interrupted(); };
  if (options.preview || video) {
    settings.preview_range = preview_range(recording, options.scale, interrupt);
  }
  {
    Progress progress(std::cerr, {is_terminal(StandardStream::kError), terminal_width()},
                      {static_cast<std::int64_t>(to_do.frames.size())}, [&] { return stopwatch.seconds(); });
    SequenceRun(engines, output, journal, video_or_null, progress, settings, summary).run(to_do.frames);
  }
  summary.wall_s = stopwatch.seconds();
  write_the_whole(recording, output, journal, video_or_null, summary);
  if (options.csv.is_wanted()) {
    write_or_note("The table of frames is", "Choose another place with --csv.", summary,
                  [&] { options.csv.write(to_csv(summary)); });
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
      app.add_option("--video", options->video, "Write the previews as a video: .mp4 or .avi")
          ->type_name("FILE");
  CLI::Option* resume =
      app.add_flag("--resume", options->resume, "Skip the frames that already have results");
  video->excludes(resume);
  app.add_flag("--strict", options->strict, "Stop at the first frame that fails");
  app.add_option("-j,--jobs", options->jobs, "Frames to refine at a time; 0 for as many as there are cores")
      ->check(CLI::Range(std::size_t{0}, std::size_t{256}).description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
  add_depth_filter(app, options->filter);
  add_depth_scale(app, options->scale);
  options->json.add_option(app);
  options->csv.add_option(app, "--csv",
                          "Write a line per frame too: times, valid and removed pixels, mean confidence");
  return [options] { return refine_sequence(*options); };
}

}  // namespace enhance_depth_tool
