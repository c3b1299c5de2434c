/* Renders the sample data: see README.md beside this file. */
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>
#include <opencv2/imgcodecs.hpp>

#include "camera.h"
#include "depth_sensor.h"
#include "render.h"
#include "scene.h"

namespace {

namespace fs = std::filesystem;

constexpr double kFrameRate = 30.0;
constexpr double kPi = 3.14159265358979323846;

/* The camera of a frame: it goes along an ellipse and looks at the middle of the room. One turn takes 8
 * seconds. */
samples::Camera camera_of_frame(int frame) {
  const double angle = 2.0 * kPi * frame / (8.0 * kFrameRate);
  return samples::Camera::looking_at({0.25 * std::sin(angle), -0.25 + 0.1 * (std::cos(angle) - 1.0), 0.0},
                                     {0.0, 0.25, 2.5});
}

void write_image(const fs::path& path, const cv::Mat& image) {
  if (!cv::imwrite(path.string(), image, {cv::IMWRITE_PNG_COMPRESSION, 9})) {
    throw std::runtime_error("Cannot write " + path.string());
  }
}

void write_sample(const fs::path& folder, std::uint64_t seed) {
  const samples::Scene scene = samples::make_room();
  const samples::Camera camera = camera_of_frame(0);
  fs::create_directories(folder);
  write_image(folder / "color.png", samples::render_color(scene, camera, seed));
  write_image(folder / "depth.png", samples::measure_depth(scene, camera, seed));
  write_image(folder / "depth_true.png", samples::render_depth(scene, camera));
}

/* Opens a list of a recording's images and writes its two lines of explanation. */
std::ofstream open_list(const fs::path& path, const char* title) {
  std::ofstream list(path);
  list << "# " << title << "\n# timestamp filename\n";
  return list;
}

void write_recording(const fs::path& folder, int frames, std::uint64_t seed) {
  const samples::Scene scene = samples::make_room();
  fs::create_directories(folder / "rgb");
  fs::create_directories(folder / "depth");
  std::ofstream colors = open_list(folder / "rgb.txt", "colour images");
  std::ofstream depths = open_list(folder / "depth.txt", "depth images, millimetres");
  for (int frame = 0; frame < frames; ++frame) {
    const samples::Camera camera = camera_of_frame(frame);
    const std::uint64_t frame_seed = seed + static_cast<std::uint64_t>(frame);
    const std::string time = cv::format("%.6f", frame / kFrameRate);
    write_image(folder / "rgb" / (time + ".png"), samples::render_color(scene, camera, frame_seed));
    write_image(folder / "depth" / (time + ".png"), samples::measure_depth(scene, camera, frame_seed));
    colors << time << " rgb/" << time << ".png\n";
    depths << time << " depth/" << time << ".png\n";
  }
  colors.close();
  depths.close();
  if (!colors || !depths) {
    throw std::runtime_error("Cannot write the lists in " + folder.string());
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Renders sample data: colour, the depth that a structured-light camera would measure, true depth.");
  std::string folder;
  int frames = 0;
  std::uint64_t seed = 1;
  app.add_option("folder", folder, "Folder to write to; it is made if it does not exist")->required();
  app.add_option(
         "--frames", frames,
         "Write a recording of this many frames from a moving camera (30 per second), as the folders rgb and "
         "depth with the lists rgb.txt and depth.txt")
      ->check(CLI::Range(1, 1000000).description(""))
      ->type_name("N");
  app.add_option("--seed", seed, "Of the noise")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  try {
    if (frames > 0) {
      write_recording(folder, frames, seed);
    } else {
      write_sample(folder, seed);
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_sample: %s\n", error.what());
    return 1;
  }
  return 0;
}
