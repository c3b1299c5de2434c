// A complete host program in C++: refines frames from files.
//
//     refine ENGINE OUTPUT COLOR.ppm DEPTH.pgm [COLOR.ppm DEPTH.pgm ...]
//
// writes the refined depth of frame N to OUTPUT-N.pgm, in the unit of the input. A frame that fails is
// reported and skipped; the exit status is 0 only if all frames were refined.
//
//     c++ -std=c++17 -o refine refine.cpp $(pkg-config --cflags --libs enhance_depth)
#include <algorithm>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <enhance_depth.hpp>

#include "pnm.hpp"

namespace {

struct Size {
  int width;
  int height;
};

// Image files store red, green and blue of each pixel together. An engine whose "rgb" tensor has four
// dimensions wants all red, then all green, then all blue; for one with three dimensions leave this out.
std::vector<std::uint8_t> to_planar(const std::vector<std::uint8_t>& interleaved) {
  const std::size_t count = interleaved.size() / 3;
  std::vector<std::uint8_t> planar(interleaved.size());
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      planar[channel * count + i] = interleaved[i * 3 + channel];
    }
  }
  return planar;
}

void refine(enhance_depth::Engine& engine, Size& configured, const std::string& color_path,
            const std::string& depth_path, const std::string& output_path) {
  const auto color = pnm::read_color(color_path);
  const auto depth = pnm::read_depth(depth_path);
  if (color.width != depth.width || color.height != depth.height) {
    throw std::runtime_error(color_path + " and " + depth_path + " are not of one size");
  }
  if (depth.width != configured.width || depth.height != configured.height) {
    configured = {depth.width, depth.height};  // even if the reset fails: the next size then resets again
    engine.reset(depth.width, depth.height);
  }
  const std::vector<std::uint8_t> rgb = to_planar(color.values);
  // The images of `refined` belong to the engine: use them before its next call.
  const enhance_depth::RefinedFrame refined = engine.process({depth.width, depth.height, rgb, depth.values});
  pnm::write_depth(output_path, refined.depth);
  std::cout << output_path << ": " << depth.width << " x " << depth.height << ", "
            << engine.last_inference_time().value_or(0.0F) << " ms on the device";
  if (refined.confidence) {
    std::cout << ", least confidence "
              << *std::min_element(refined.confidence->begin(), refined.confidence->end());
  }
  std::cout << '\n';
}

void print(const enhance_depth::Error& error) {
  std::cerr << error.function() << '(' << error.args() << "): " << error.what() << " (code " << error.code()
            << ")\n";
}

}  // namespace

int main(int argc, char** argv) try {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() < 4 || arguments.size() % 2 != 0) {
    std::cerr << "usage: " << argv[0] << " ENGINE OUTPUT COLOR.ppm DEPTH.pgm [COLOR.ppm DEPTH.pgm ...]\n";
    return 2;
  }
  enhance_depth::Engine engine(arguments[0]);
  Size configured = {640, 480};  // what the constructor configures
  int failed = 0;
  for (std::size_t i = 2; i < arguments.size(); i += 2) {
    try {
      refine(engine, configured, arguments[i], arguments[i + 1],
             arguments[1] + "-" + std::to_string((i - 2) / 2) + ".pgm");
    } catch (const enhance_depth::Error& error) {  // the engine can still refine the next frame
      print(error);
      ++failed;
    } catch (const std::exception& error) {  // an unreadable file, an image too large for memory
      std::cerr << error.what() << '\n';
      ++failed;
    }
  }
  return failed == 0 ? 0 : 1;
} catch (const enhance_depth::Error& error) {
  print(error);
  return 1;
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
