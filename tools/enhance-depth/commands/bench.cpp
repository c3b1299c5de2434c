// enhance-depth bench: how long the network and the library take, on synthetic frames or one's own.
#include <array>
#include <cstdint>
#include <iostream>
#include <limits>
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
#include "image/image_io.h"
#include "image/synthetic_frame.h"
#include "sequence/progress.h"
#include "sequence/run_summary.h"
#include "support/engine.h"
#include "support/interrupt.h"
#include "support/output_path.h"
#include "support/percentiles.h"
#include "support/rgb_layout.h"
#include "support/stopwatch.h"
#include "support/terminal.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

constexpr int kMostFrames = 10'000'000;

struct BenchOptions {
  EngineOptions engine;
  RecordingOptions recording;
  cv::Size size{640, 480};
  std::optional<int> frames = 300;  // none if only the duration ends the measurement
  std::optional<double> duration;   // seconds
  int warm_up = 10;
  JsonOutput json;

  bool uses_recording() const { return !recording.input.empty() || !recording.color.empty(); }
};

struct Input {
  std::vector<std::uint8_t> rgb;
  cv::Mat depth;
};

struct Times {
  std::vector<double> network;  // milliseconds per frame
  std::vector<double> library;
  std::vector<double> around;  // library less network
};

// Several frames, so that none finds its own data in the caches.
std::vector<Input> synthetic_inputs(cv::Size size, RgbLayout layout) {
  constexpr std::uint64_t kCount = 4;
  std::vector<Input> inputs;
  for (std::uint64_t seed = 0; seed < kCount; ++seed) {
    const SyntheticFrame frame = make_synthetic_frame(size, seed);
    inputs.push_back({arrange_rgb(frame.color, layout), frame.depth});
  }
  return inputs;
}

// The first frames of a recording that have the size of its first one. They stay in memory: reading is not
// measured.
std::vector<Input> recorded_inputs(const RecordingOptions& options, RgbLayout layout) {
  constexpr std::size_t kMost = 16;
  std::vector<Input> inputs;
  for (const FrameFiles& frame : open_recording(options).frames) {
    if (inputs.size() == kMost) {
      break;
    }
    const FrameImages images = read_frame(frame.color, frame.depth, {});
    if (inputs.empty() || images.depth.size() == inputs[0].depth.size()) {
      inputs.push_back({arrange_rgb(images.color, layout), images.depth});
    }
  }
  return inputs;
}

// Until the frames that were asked for are measured, the time is over, or the run is interrupted.
Times measure(const BenchOptions& options, const std::vector<Input>& inputs, Engine& engine,
              const InterruptGuard& interrupt) {
  Times times;
  for (int i = 0; i < options.warm_up && !interrupt.interrupted(); ++i) {
    const Input& input = inputs[static_cast<std::size_t>(i) % inputs.size()];
    engine.process(input.rgb, input.depth);
  }
  const Stopwatch stopwatch;
  Progress progress(std::cerr, {is_terminal(StandardStream::kError), terminal_width()},
                    {options.frames, options.duration}, [&] { return stopwatch.seconds(); });
  const double seconds = options.duration.value_or(std::numeric_limits<double>::infinity());
  const int frames = options.frames.value_or(kMostFrames);
  for (int i = 0; i < frames && stopwatch.seconds() < seconds && !interrupt.interrupted(); ++i) {
    const Input& input = inputs[static_cast<std::size_t>(options.warm_up + i) % inputs.size()];
    const Refined refined = engine.process(input.rgb, input.depth);
    times.network.push_back(refined.network_ms);
    times.library.push_back(refined.library_ms);
    times.around.push_back(refined.library_ms - refined.network_ms);
    progress.frame_done(false);
  }
  return times;
}

void report(const BenchOptions& options, cv::Size size, double load_ms, bool interrupted,
            const Times& times) {
  const double median_ms = percentiles(times.library).median;
  const auto frames = static_cast<std::int64_t>(times.library.size());
  const std::string runner = network_runner();
  options.json.text() << highlighted("Refined " + count(frames, "frame") + " of " +
                                         image_size(size.width, size.height) + " pixels, " +
                                         decimals(1000.0 / median_ms, 1) + " frames/s (median)",
                                     Highlight::kHeading, StandardStream::kOutput)
                      << "\n"
                      << percentile_heading() << percentile_line("network time", times.network)
                      << percentile_line("library time", times.library)
                      << percentile_line("difference", times.around)
                      << "  loading and setting up the engine took " << milliseconds(load_ms) << "\n"
                      << "  the network was run by " << runner << "\n";
  options.json.write({{"library", enhance_depth_get_version()},
                      {"engine", options.engine.engine.string()},
                      {"runner", runner},
                      {"width", size.width},
                      {"height", size.height},
                      {"frames", frames},
                      {"warm_up", options.warm_up},
                      {"interrupted", interrupted},
                      {"load_ms", load_ms},
                      {"frames_per_s", 1000.0 / median_ms},
                      {"network_ms", percentile_json(times.network)},
                      {"library_ms", percentile_json(times.library)},
                      {"difference_ms", percentile_json(times.around)}});
}

int bench(const BenchOptions& options) {
  require_distinct({options.json.file()}, {options.engine.engine});
  options.json.require_writable();
  const RgbLayout layout = choose_rgb_layout(options.engine);
  const Stopwatch stopwatch;
  Engine engine(options.engine.engine);
  const double load_ms = stopwatch.milliseconds();
  std::vector<Input> inputs;
  if (options.uses_recording()) {
    inputs = recorded_inputs(options.recording, layout);
  }
  const cv::Size size = inputs.empty() ? options.size : inputs[0].depth.size();
  engine.configure(size);  // before frames of a size that the engine refuses are made, which takes long
  if (inputs.empty()) {
    inputs = synthetic_inputs(size, layout);
  }

  const InterruptGuard interrupt;
  const Times times = measure(options, inputs, engine, interrupt);
  const bool interrupted = interrupt.interrupted();
  if (interrupted) {
    print_warning("interrupted after " + count(static_cast<std::int64_t>(times.library.size()), "frame") +
                  (times.library.empty() ? "." : "; the figures are those until then."));
  }
  if (!times.library.empty()) {
    report(options, size, load_ms, interrupted, times);
  }
  return interrupted ? kFramesFailed : kSuccess;
}

}  // namespace

Action add_bench(CLI::App& app) {
  const auto options = std::make_shared<BenchOptions>();
  add_engine_options(app, options->engine);
  add_recording_options(app, options->recording);
  add_image_size(app, options->size)->excludes(app.get_option("INPUT"))->excludes(app.get_option("--color"));
  const auto set_frames = [options](const int& frames) { options->frames = frames; };
  CLI::Option* frames = app.add_option_function<int>("-n,--frames", set_frames,
                                                     "Frames to measure; those of a recording are repeated")
                            ->check(CLI::Range(1, kMostFrames).description(""))
                            ->type_name("NUMBER")
                            ->default_str(std::to_string(*options->frames));
  const auto set_duration = [options, frames](const double& seconds) {
    options->duration = seconds;
    if (frames->empty()) {
      options->frames.reset();
    }
  };
  app.add_option_function<double>("--duration", set_duration,
                                  "Measure for this long; with --frames too, whichever ends first")
      ->check(finite_in(0.001, 1e6))
      ->type_name("SECONDS");
  app.add_option("--warm-up", options->warm_up, "Frames to run first, which are not measured")
      ->check(CLI::Range(0, kMostFrames).description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
  options->json.add_option(app);
  return [options] { return bench(*options); };
}

}  // namespace enhance_depth_tool
