// enhance-depth evaluate: measures networks on frames with a ground truth, or with pixels hidden from them.
#include <algorithm>
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands/options.h"
#include "commands/program_output.h"
#include "commands/recording_options.h"
#include "commands/subcommands.h"
#include "evaluate/contact_sheet.h"
#include "evaluate/depth_edges.h"
#include "evaluate/error_plot.h"
#include "evaluate/evaluation.h"
#include "evaluate/hiding.h"
#include "evaluate/report.h"
#include "image/image_io.h"
#include "sequence/progress.h"
#include "support/atomic_file.h"
#include "support/engine.h"
#include "support/interrupt.h"
#include "support/json_file.h"
#include "support/output_path.h"
#include "support/rgb_layout.h"
#include "support/stopwatch.h"
#include "support/terminal.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

struct EvaluateOptions {
  std::vector<fs::path> engines;
  RecordingOptions recording;
  std::string truth;
  std::uint64_t seed = 0;
  DepthScale scale;
  JsonOutput json;
  ProgramOutput csv;
  fs::path plot;
  fs::path sheet;
  int sheet_rows = 6;
  fs::path compare;
  double tolerance = 0.01;
};

constexpr std::uintmax_t kLargestComparison = 16U << 20U;

// A frame of the recording, and its ground truth's file; empty if pixels are hidden instead.
struct TrueFrame {
  FrameFiles files;
  fs::path truth;
};

std::vector<TrueFrame> frames_with_truth(const EvaluateOptions& options, const Recording& recording) {
  std::vector<TrueFrame> frames;
  if (options.truth.empty()) {
    std::transform(recording.frames.begin(), recording.frames.end(), std::back_inserter(frames),
                   [](const FrameFiles& files) {
                     return TrueFrame{files, {}};
                   });
    return frames;
  }
  const std::string depth = options.recording.depth.empty() ? recording.frames[0].depth.parent_path().string()
                                                            : options.recording.depth;
  std::map<fs::path, fs::path> truth_of;
  const Recording truth_and_depth = open_recording(options.truth, depth);
  announce_pairing_by_order(truth_and_depth, "true");
  for (const FrameFiles& pair : truth_and_depth.frames) {
    truth_of[pair.depth] = pair.color;
  }
  for (const FrameFiles& files : recording.frames) {
    const auto truth = truth_of.find(files.depth);
    if (truth != truth_of.end()) {
      frames.push_back({files, truth->second});
    }
  }
  if (frames.empty()) {
    throw UsageError(fmt::format(
        "No image of {} belongs to a frame of the recording: give the true depth files the names of "
        "the depth files.",
        options.truth));
  }
  return frames;
}

JudgedFrame judged(const TrueFrame& frame, const cv::Mat& depth, DepthScale scale, std::uint64_t seed) {
  JudgedFrame result;
  if (frame.truth.empty()) {
    HiddenPixels hidden = hide_pixels(depth, seed, frame.files.name);
    result.truth = depth;
    result.input = hidden.depth;
    result.hidden_as = hidden.hidden;
  } else {
    result.truth = read_depth(frame.truth, scale);
    require_same_size(result.truth, frame.truth.string(), depth, frame.files.depth.string());
    result.input = depth;
  }
  result.near_edge = grown(depth_edges(result.truth), kEdgeRadius);
  return result;
}

void check_paths(const EvaluateOptions& options, const std::vector<TrueFrame>& frames) {
  options.json.require_apart_from(options.csv);
  std::vector<fs::path> read = options.engines;
  read.push_back(options.compare);
  for (const TrueFrame& frame : frames) {
    read.insert(read.end(), {frame.files.color, frame.files.depth, frame.truth});
  }
  require_distinct({options.json.file(), options.csv.file(), options.plot, options.sheet}, read);
  options.json.require_writable();
  options.csv.require_writable();
  for (const fs::path& picture : {options.plot, options.sheet}) {
    if (!picture.empty()) {
      require_writable(picture, {".png"});
    }
  }
}

nlohmann::ordered_json to_json(const EvaluateOptions& options, std::size_t frames,
                               const std::vector<Evaluation>& evaluations) {
  nlohmann::ordered_json json = {{"library", enhance_depth_get_version()}, {"frames", frames}};
  json["hiding"] = options.truth.empty() ? nlohmann::ordered_json{{"seed", options.seed}} : nullptr;
  for (const Evaluation& evaluation : evaluations) {
    json["engines"].push_back(to_json(evaluation, options.scale));
  }
  return json;
}

// The results of --compare; null without.
nlohmann::ordered_json read_earlier_run(const fs::path& path) {
  if (path.empty()) {
    return nullptr;
  }
  const Bytes file = read_file(path, "an earlier run's JSON", kLargestComparison);
  nlohmann::ordered_json earlier = parse_json({reinterpret_cast<const char*>(file.data()), file.size()});
  if (!earlier.is_object()) {
    throw UsageError(path.string() +
                     " was not written by evaluate --json. Name the JSON of an earlier run with --compare.");
  }
  return earlier;
}

// Writes what was asked for and prints the table.
int report(const EvaluateOptions& options, std::size_t frames, const std::vector<Evaluation>& evaluations,
           const ContactSheet& sheet, const nlohmann::ordered_json& earlier) {
  const nlohmann::ordered_json json = to_json(options, frames, evaluations);
  options.json.write(json);
  options.csv.write(to_csv(evaluations, options.scale));
  if (!options.plot.empty()) {
    write_file(options.plot, encode_picture(render_error_plot(evaluations), options.plot));
  }
  if (!options.sheet.empty()) {
    write_file(options.sheet, encode_picture(sheet.render(), options.sheet));
  }
  std::ostream& text = options.json.text_beside(options.csv);
  text << highlighted(
              fmt::format("Evaluated {} frame{}, {}", frames, frames == 1 ? "" : "s",
                          options.truth.empty() ? fmt::format("truth by hiding with seed {}", options.seed)
                                                : "truth from " + options.truth),
              Highlight::kHeading, StandardStream::kOutput)
       << "\n"
       << to_table(evaluations, options.scale);
  if (earlier.is_null()) {
    return kSuccess;
  }
  const std::vector<std::string> lines = differences(json, earlier, options.tolerance);
  // The exit status needs its reason even where the table is not printed.
  std::ostream& verdict = options.json.replaces_text() || options.csv.replaces_text() ? std::cerr : text;
  for (const std::string& line : lines) {
    verdict << "differs: " << line << "\n";
  }
  if (lines.empty()) {
    verdict << fmt::format("All figures are within {:g} % of those in {}.\n", 100.0 * options.tolerance,
                           options.compare.string());
  }
  return lines.empty() ? kSuccess : kFramesFailed;
}

int evaluate(EvaluateOptions options) {
  const Recording recording = open_recording(options.recording);
  options.scale = choose_scale(recording, options.scale);
  const std::vector<TrueFrame> frames = frames_with_truth(options, recording);
  check_paths(options, frames);
  const nlohmann::ordered_json earlier = read_earlier_run(options.compare);
  std::vector<RgbLayout> layouts;
  std::vector<std::unique_ptr<Engine>> engines;
  std::vector<Evaluation> evaluations;
  std::vector<std::string> names;
  for (const fs::path& engine : options.engines) {
    layouts.push_back(choose_rgb_layout({engine, std::nullopt}));
    engines.push_back(std::make_unique<Engine>(engine));
    names.push_back(engine.filename().string());
    evaluations.emplace_back(names.back());
  }
  ContactSheet sheet(names, options.sheet.empty() ? 0U : static_cast<std::size_t>(options.sheet_rows));

  const InterruptGuard interrupt;
  const Stopwatch stopwatch;
  std::size_t done = 0;
  {
    Progress progress(std::cerr, {is_terminal(StandardStream::kError), terminal_width()},
                      {static_cast<std::int64_t>(frames.size())}, [&] { return stopwatch.seconds(); });
    for (const TrueFrame& frame : frames) {
      if (interrupt.interrupted()) {
        break;
      }
      const FrameImages images = read_frame(frame.files.color, frame.files.depth, options.scale);
      const JudgedFrame judged_frame = judged(frame, images.depth, options.scale, options.seed);
      std::vector<cv::Mat> predictions;
      double error_of_first = 0.0;
      for (std::size_t i = 0; i < engines.size(); ++i) {
        engines[i]->configure(images.depth.size());
        const Refined refined =
            engines[i]->process(arrange_rgb(images.color, layouts[i]), judged_frame.input);
        const double error =
            evaluations[i].add(judged_frame, refined.depth, refined.confidence, refined.library_ms);
        error_of_first = i == 0 ? error : error_of_first;
        predictions.push_back(refined.depth.clone());
      }
      sheet.offer(error_of_first, frame.files.name, images.color, judged_frame, predictions);
      ++done;
      progress.frame_done(false);
    }
  }
  if (done < frames.size()) {
    std::cerr << fmt::format(
        "enhance-depth: interrupted after {} of {} frames; the figures are those until then.\n", done,
        frames.size());
  }
  if (done == 0) {
    return kFramesFailed;
  }
  const int status = report(options, done, evaluations, sheet, earlier);
  return done == frames.size() ? status : kFramesFailed;
}

}  // namespace

Action add_evaluate(CLI::App& app) {
  const auto options = std::make_shared<EvaluateOptions>();
  app.add_option("-e,--engine", options->engines,
                 "Serialized TensorRT engine; give it several times to compare engines")
      ->required()
      ->type_name("FILE")
      ->allow_extra_args(false);
  add_recording_options(app, options->recording);
  app.add_option("--truth", options->truth,
                 "True depth, in the unit of the depth images: a folder, or a pattern in quotes. Without it, "
                 "measured pixels are hidden from the engines and serve as the truth")
      ->type_name("PLACE");
  app.add_option("--seed", options->seed, "Which pixels are hidden")
      ->type_name("NUMBER")
      ->capture_default_str();
  add_depth_scale(app, options->scale);
  options->json.add_option(app);
  options->csv.add_option(app, "--csv", "Write the table as CSV too");
  app.add_option("--plot", options->plot, "Plot of the error over the confidence kept, PNG")
      ->type_name("FILE");
  app.add_option("--sheet", options->sheet, "Contact sheet of the frames with the largest errors, PNG")
      ->type_name("FILE");
  app.add_option("--sheet-rows", options->sheet_rows, "Frames on the contact sheet")
      ->check(CLI::Range(1, 50).description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
  app.add_option("--compare", options->compare,
                 "JSON of an earlier run, for example of the PC when this is the board: name every figure "
                 "that differs")
      ->type_name("FILE");
  app.add_option("--tolerance", options->tolerance, "Difference that --compare lets pass, as a fraction")
      ->check(finite_in(0.0, 1e6))
      ->type_name("FRACTION")
      ->capture_default_str();
  return [options] { return evaluate(*options); };
}

}  // namespace enhance_depth_tool
