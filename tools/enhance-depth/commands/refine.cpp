// enhance-depth refine: one frame, from files to files.
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "commands/options.h"
#include "commands/program_output.h"
#include "commands/subcommands.h"
#include "image/depth_filter.h"
#include "image/depth_statistics.h"
#include "image/image_io.h"
#include "image/point_cloud.h"
#include "image/preview.h"
#include "support/atomic_file.h"
#include "support/engine.h"
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
  fs::path cloud;
  std::optional<Intrinsics> camera;
  DepthFilter filter;
  DepthScale scale;
  JsonOutput json;
};

// The report on a refined frame.
struct Report {
  cv::Size size;
  bool grey_color = false;
  double network_ms = 0.0;
  double library_ms = 0.0;
  double total_ms = 0.0;
  DepthStatistics before;
  DepthStatistics after;
  RemovedPixels removed;
};

void check_paths(const RefineOptions& options) {
  require_distinct({options.output, options.confidence, options.preview, options.cloud, options.json.file()},
                   {options.engine.engine, options.color, options.depth});
  require_writable(options.output, {".png"});
  if (!options.confidence.empty()) {
    require_writable(options.confidence, {".tiff", ".tif"});
  }
  if (!options.preview.empty()) {
    require_writable(options.preview, {".png", ".jpg", ".jpeg"});
  }
  if (!options.cloud.empty()) {
    require_writable(options.cloud, {".ply"});
  }
  options.json.require_writable();
}

std::string depth_text(const DepthStatistics& depth, DepthScale scale) {
  if (depth.farthest == 0) {
    return "none";
  }
  return decimals(scale.metres(depth.nearest), 2) + " to " + decimals(scale.metres(depth.farthest), 2) +
         " m, median " + decimals(scale.metres(depth.median), 2) + " m";
}

void print(const Report& report, const RefineOptions& options) {
  std::ostream& text = options.json.text();
  text << highlighted("Refined " + image_size(report.size.width, report.size.height) + " pixels",
                      Highlight::kHeading, StandardStream::kOutput)
       << "\n"
       << "  network time    " << milliseconds(report.network_ms) << "\n"
       << "  library time    " << milliseconds(report.library_ms)
       << "  (the network, copies and conversions)\n"
       << "  total time      " << milliseconds(report.total_ms) << "  (with loading the engine, files)\n";
  if (report.grey_color) {
    text << "  colour          grey, given to the engine as three equal channels\n";
  }
  text << "  valid pixels    " << percent(report.before.valid_fraction) << " before, "
       << percent(report.after.valid_fraction) << " after\n"
       << "  depth before    " << depth_text(report.before, options.scale) << "\n"
       << "  depth after     " << depth_text(report.after, options.scale) << "\n"
       << removal_text(options.filter, report.removed) << "  depth scale     " << scale_text(options.scale)
       << "\n";
  const std::pair<const char*, const fs::path&> kFiles[] = {{"  refined depth   ", options.output},
                                                            {"  confidence      ", options.confidence},
                                                            {"  preview         ", options.preview},
                                                            {"  point cloud     ", options.cloud}};
  for (const auto& [what, file] : kFiles) {
    if (!file.empty()) {
      text << what << printable(file.string()) << "\n";
    }
  }
}

nlohmann::ordered_json to_json(const DepthStatistics& depth, DepthScale scale) {
  return {{"valid_fraction", depth.valid_fraction},
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
          {"units_per_metre", options.scale.units_per_metre},
          {"grey_color", report.grey_color},
          {"depth_before", to_json(report.before, options.scale)},
          {"depth_after", to_json(report.after, options.scale)},
          {"unsure_pixels", report.removed.unsure},
          {"clipped_pixels", report.removed.outside}};
}

void write_results(const RefineOptions& options, const FrameImages& images, const cv::Mat& refined,
                   const cv::Mat& confidence) {
  write_file(options.output, encode_depth(refined));
  if (!options.confidence.empty()) {
    write_file(options.confidence, encode_confidence(confidence));
  }
  if (!options.preview.empty()) {
    const cv::Mat preview = render_preview({images.color, images.depth, refined, confidence},
                                           depth_range({images.depth, refined}), options.scale);
    write_file(options.preview, encode_picture(preview, options.preview));
  }
  if (!options.cloud.empty()) {
    write_file(options.cloud, encode_point_cloud(refined, images.color, *options.camera, options.scale));
  }
}

int refine(const RefineOptions& options) {
  const Stopwatch stopwatch;
  check_paths(options);
  const FrameImages images = read_frame(options.color, options.depth, options.scale);
  Report report;
  report.size = images.depth.size();
  report.grey_color = is_grey(images.color);
  report.before = describe_depth(images.depth);
  print_warning(depth_warning(options.depth.string(), report.before, options.scale, images.depth_storage));

  const RgbLayout layout = choose_rgb_layout(options.engine);
  Engine engine(options.engine.engine);
  engine.configure(report.size);
  const Refined refined = engine.process(arrange_rgb(images.color, layout), images.depth);
  if (!options.confidence.empty()) {
    engine.require_confidence(refined, "--confidence");
  }
  if (options.filter.least_confidence) {
    engine.require_confidence(refined, "--min-confidence");
  }
  report.network_ms = refined.network_ms;
  report.library_ms = refined.library_ms;

  cv::Mat depth = refined.depth.clone();
  report.removed = remove_pixels(depth, refined.confidence, options.filter, options.scale);
  report.after = describe_depth(depth);
  write_results(options, images, depth, refined.confidence);
  report.total_ms = stopwatch.milliseconds();
  options.json.write(to_json(report, options));
  print(report, options);
  return kSuccess;
}

}  // namespace

Action add_refine(CLI::App& app) {
  const auto options = std::make_shared<RefineOptions>();
  add_engine_options(app, options->engine);
  app.add_option("-c,--color", options->color, "Colour image, RGB or grey: 8-bit PNG, JPEG, PPM, PGM or TIFF")
      ->required()
      ->type_name("FILE");
  app.add_option("-d,--depth", options->depth,
                 "Depth image of the same size, 0 where there is no depth: 16-bit PNG, PGM, TIFF or NPY, or "
                 "floats in metres as TIFF or NPY")
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
  const auto set_camera = [options](const std::string& text) {
    const auto numbers = parse_numbers(text, ",", 4);
    if (!numbers || (*numbers)[0] <= 0.0 || (*numbers)[1] <= 0.0) {
      throw CLI::ValidationError("--intrinsics",
                                 text + " is not fx,fy,cx,cy in pixels, such as 525,525,319.5,239.5");
    }
    options->camera = Intrinsics{(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]};
  };
  add_depth_filter(app, options->filter);
  CLI::Option* camera =
      app.add_option_function<std::string>("--intrinsics", set_camera, "The camera, in pixels, for --cloud")
          ->type_name("FX,FY,CX,CY");
  CLI::Option* cloud =
      app.add_option("--cloud", options->cloud, "Refined pixels as points in metres, with colour: binary PLY")
          ->type_name("FILE")
          ->needs(camera);
  camera->needs(cloud);
  add_depth_scale(app, options->scale);
  options->json.add_option(app);
  return [options] { return refine(*options); };
}

}  // namespace enhance_depth_tool
