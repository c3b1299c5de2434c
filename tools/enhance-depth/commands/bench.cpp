// enhance-depth bench: how long the network and the library take, on synthetic frames.
#include <array>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <dlfcn.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands/options.h"
#include "commands/subcommands.h"
#include "image/synthetic_frame.h"
#include "sequence/run_summary.h"
#include "support/engine.h"
#include "support/json_file.h"
#include "support/output_path.h"
#include "support/percentiles.h"
#include "support/rgb_layout.h"
#include "support/stopwatch.h"
#include "support/terminal.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

struct BenchOptions {
  EngineOptions engine;
  cv::Size size{640, 480};
  int frames = 300;
  int warm_up = 10;
  fs::path json;
};

struct Times {
  std::vector<double> network;  // milliseconds per frame
  std::vector<double> library;
  std::vector<double> around;  // library less network
};

Times measure(const BenchOptions& options, RgbLayout layout, Engine& engine) {
  struct Input {
    std::vector<std::uint8_t> rgb;
    cv::Mat depth;
  };
  engine.configure(options.size);  // first: making frames of a size that the engine refuses takes long
  // Several frames in turn, so that no frame finds its own data in the caches.
  std::array<Input, 4> inputs;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const SyntheticFrame frame = make_synthetic_frame(options.size, i);
    inputs[i] = {arrange_rgb(frame.color, layout), frame.depth};
  }
  Times times;
  for (int i = 0; i < options.warm_up + options.frames; ++i) {
    const Input& input = inputs[static_cast<std::size_t>(i) % inputs.size()];
    const Refined refined = engine.process(input.rgb, input.depth);
    if (i >= options.warm_up) {
      times.network.push_back(refined.network_ms);
      times.library.push_back(refined.library_ms);
      times.around.push_back(refined.library_ms - refined.network_ms);
    }
  }
  return times;
}

// What ran the network of the engine that was loaded last, in words. The emulated board tells it by a
// function that a real one has not.
std::string network_runner() {
  if (const auto emulated =
          reinterpret_cast<const char* (*)()>(dlsym(RTLD_DEFAULT, "emulated_board_network_runner"))) {
    return emulated();
  }
  if (const auto version = reinterpret_cast<std::int32_t (*)()>(dlsym(RTLD_DEFAULT, "getInferLibVersion"))) {
    const int number = version();  // 101300 is 10.13.0
    return fmt::format("TensorRT {}.{}.{}", number / 10000, number / 100 % 100, number % 100);
  }
  return "TensorRT";
}

int bench(const BenchOptions& options) {
  require_distinct({options.json}, {options.engine.engine});
  if (!options.json.empty()) {
    require_writable(options.json, {});
  }
  const RgbLayout layout = choose_rgb_layout(options.engine);
  const Stopwatch stopwatch;
  Engine engine(options.engine.engine);
  const double load_ms = stopwatch.milliseconds();
  const Times times = measure(options, layout, engine);
  const double median_ms = percentiles(times.library).median;
  const std::string runner = network_runner();

  std::cout << highlighted("Refined " + count(options.frames, "frame") + " of " +
                               image_size(options.size.width, options.size.height) + " pixels, " +
                               decimals(1000.0 / median_ms, 1) + " frames/s (median)",
                           Highlight::kHeading, StandardStream::kOutput)
            << "\n"
            << percentile_heading() << percentile_line("network time", times.network)
            << percentile_line("library time", times.library) << percentile_line("difference", times.around)
            << "  loading and setting up the engine took " << milliseconds(load_ms) << "\n"
            << "  the network was run by " << runner << "\n";
  if (!options.json.empty()) {
    const nlohmann::ordered_json json = {{"library", enhance_depth_get_version()},
                                         {"engine", options.engine.engine.string()},
                                         {"runner", runner},
                                         {"width", options.size.width},
                                         {"height", options.size.height},
                                         {"frames", options.frames},
                                         {"warm_up", options.warm_up},
                                         {"load_ms", load_ms},
                                         {"frames_per_s", 1000.0 / median_ms},
                                         {"network_ms", percentile_json(times.network)},
                                         {"library_ms", percentile_json(times.library)},
                                         {"difference_ms", percentile_json(times.around)}};
    write_json(options.json, json);
  }
  return kSuccess;
}

}  // namespace

Action add_bench(CLI::App& app) {
  const auto options = std::make_shared<BenchOptions>();
  add_engine_options(app, options->engine);
  add_image_size(app, options->size);
  app.add_option("-n,--frames", options->frames, "Frames to measure")
      ->check(CLI::Range(1, 10'000'000).description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
  app.add_option("--warm-up", options->warm_up, "Frames before, which are not measured")
      ->check(CLI::Range(0, 10'000'000).description(""))
      ->type_name("NUMBER")
      ->capture_default_str();
  add_json(app, options->json);
  return [options] { return bench(*options); };
}

}  // namespace enhance_depth_tool
