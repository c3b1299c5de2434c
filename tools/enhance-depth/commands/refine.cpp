// enhance-depth refine: one frame, from files to files.
#include <iostream>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "commands/options.h"
#include "commands/subcommands.h"
#include "image/depth_statistics.h"
#include "image/image_io.h"
#include "image/preview.h"
#include "support/atomic_file.h"
#include "support/engine.h"
#include "support/json_file.h"
#include "support/output_path.h"
#include "support/rgb_layout.h"
#include "support/stopwatch.h"
#include "support/terminal.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

struct RefineOptions {
  EngineOptions engine;
  fs::path color;
  fs::path depth;
  fs::path output;
  fs::path confidence;
  fs::path preview;
  DepthScale scale;
  fs::path json;
};

// What is reported about a refined frame.
struct Report {
  cv::Size size;
  double network_ms = 0.0;
  double library_ms = 0.0;
  double total_ms = 0.0;
  DepthStatistics before;
  DepthStatistics after;
};

void check_paths(const RefineOptions& options) {
  require_distinct({options.output, options.confidence, options.preview, options.json},
                   {options.engine.engine, options.color, options.depth});
  require_writable(options.output, {".png"});
  if (!options.confidence.empty()) require_writable(options.confidence, {".tiff", ".tif"});
  if (!options.preview.empty()) require_writable(options.preview, {".png", ".jpg", ".jpeg"});
  if (!options.json.empty()) require_writable(options.json, {});
}

std::string depth_text(const DepthStatistics& depth, DepthScale scale) {
  if (depth.farthest == 0) return "none";
  return decimals(scale.metres(depth.nearest), 2) + " to " + decimals(scale.metres(depth.farthest), 2) +
         " m, median " + decimals(scale.metres(depth.median), 2) + " m";
}

void print(const Report& report, const RefineOptions& options) {
  std::cout << highlighted("Refined " + image_size(report.size.width, report.size.height) + " pixels",
                           Highlight::kHeading, StandardStream::kOutput)
            << "\n"
            << "  network time    " << milliseconds(report.network_ms) << "\n"
            << "  library time    " << milliseconds(report.library_ms)
            << "  (the network, copies and conversions)\n"
            << "  total time      " << milliseconds(report.total_ms) << "  (with loading the engine, files)\n"
            << "  valid pixels    " << percent(report.before.valid_share) << " before, "
            << percent(report.after.valid_share) << " after\n"
            << "  depth before    " << depth_text(report.before, options.scale) << "\n"
            << "  depth after     " << depth_text(report.after, options.scale) << "\n"
            << "  refined depth   " << printable(options.output.string()) << "\n";
  if (!options.confidence.empty())
    std::cout << "  confidence      " << printable(options.confidence.string()) << "\n";
  if (!options.preview.empty())
    std::cout << "  preview         " << printable(options.preview.string()) << "\n";
}

nlohmann::ordered_json to_json(const DepthStatistics& depth, DepthScale scale) {
  return {{"valid_share", depth.valid_share},
          {"nearest_m", scale.metres(depth.nearest)},
          {"median_m", scale.metres(depth.median)},
          {"farthest_m", scale.metres(depth.farthest)}};
}

nlohmann::ordered_json to_json(const Report& report, const RefineOptions& options) {
  return {{"library", enhance_depth_get_version()},
          {"engine", options.engine.engine.string()},
          {"width", report.size.width},
          {"height", report.size.height},
          {"network_ms", report.network_ms},
          {"library_ms", report.library_ms},
          {"total_ms", report.total_ms},
          {"depth_before", to_json(report.before, options.scale)},
          {"depth_after", to_json(report.after, options.scale)}};
}

int refine(const RefineOptions& options) {
  const Stopwatch stopwatch;
  check_paths(options);
  const cv::Mat color = read_color(options.color);
  const cv::Mat depth = read_depth(options.depth, options.scale);
  require_same_size(color, options.color.string(), depth, options.depth.string());

  const RgbLayout layout = choose_rgb_layout(options.engine);
  Engine engine(options.engine.engine);
  engine.configure(depth.size());
  const Refined refined = engine.process(arrange_rgb(color, layout), depth);
  if (!options.confidence.empty()) {
    engine.require_confidence(refined);
  }

  write_file(options.output, encode_depth(refined.depth));
  if (!options.confidence.empty()) write_file(options.confidence, encode_confidence(refined.confidence));
  if (!options.preview.empty()) {
    const cv::Mat preview = render_preview({color, depth, refined.depth, refined.confidence},
                                           depth_range({depth, refined.depth}), options.scale);
    write_file(options.preview, encode_picture(preview, options.preview));
  }
  const Report report{depth.size(),          refined.network_ms,
                      refined.library_ms,    stopwatch.milliseconds(),
                      describe_depth(depth), describe_depth(refined.depth)};
  if (!options.json.empty()) write_json(options.json, to_json(report, options));
  print(report, options);
  return kSuccess;
}

}  // namespace

Action add_refine(CLI::App& app) {
  const auto options = std::make_shared<RefineOptions>();
  add_engine_options(app, options->engine);
  app.add_option("-c,--color", options->color, "Colour image: 8-bit PNG or JPEG")
      ->required()
      ->type_name("FILE");
  app.add_option("-d,--depth", options->depth,
                 "Depth image of the same size: 16-bit PNG, 0 where there is no depth")
      ->required()
      ->type_name("FILE");
  app.add_option("-o,--output", options->output, "Refined depth, 16-bit PNG in the unit of the input")
      ->required()
      ->type_name("FILE");
  app.add_option("--confidence", options->confidence, "Confidence of every pixel, 32-bit float TIFF")
      ->type_name("FILE");
  app.add_option("--preview", options->preview,
                 "Picture of colour, confidence, depth before and after: PNG or JPEG")
      ->type_name("FILE");
  add_depth_scale(app, options->scale);
  add_json(app, options->json);
  return [options] { return refine(*options); };
}

}  // namespace enhance_depth_tool
