#include "commands/options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>

#include "inspect/engine.h"
#include "support/input_file.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {

std::function<std::string(const std::string&)> finite_in(double low, double high) {
  return [low, high](const std::string& text) {
    double value = 0.0;
    const char* end = text.data() + text.size();
    const auto [stopped_at, problem] = std::from_chars(text.data(), end, value);
    if (problem == std::errc() && stopped_at == end && value >= low && value <= high) {
      return std::string();
    }
    std::ostringstream sentence;
    sentence << text << " is not a number from " << low << " to " << high;
    return sentence.str();
  };
}

std::optional<std::vector<double>> parse_numbers(std::string_view text, std::string_view separator,
                                                 std::size_t wanted) {
  std::vector<double> numbers;
  for (bool more = true; more;) {
    const std::size_t end = std::min(text.find(separator), text.size());
    more = end < text.size();
    double number = 0.0;
    const auto [stopped_at, problem] = std::from_chars(text.data(), text.data() + end, number);
    if (problem != std::errc() || stopped_at != text.data() + end || !std::isfinite(number)) {
      return std::nullopt;
    }
    numbers.push_back(number);
    text.remove_prefix(more ? end + separator.size() : end);
  }
  if (numbers.size() != wanted) {
    return std::nullopt;
  }
  return numbers;
}

void add_engine_options(CLI::App& app, EngineOptions& options) {
  app.add_option("-e,--engine", options.engine, "Serialized TensorRT engine")->required()->type_name("FILE");
  const auto set_layout = [&options](const std::string& layout) {
    options.rgb_layout = layout == "planar" ? RgbLayout::kPlanar : RgbLayout::kInterleaved;
  };
  app.add_option_function<std::string>(
         "--rgb-layout", set_layout,
         "Colour layout expected of the engine: planar (all red, all green, all blue) or interleaved. "
         "Without this option it is the engine's own")
      ->check(CLI::IsMember({"planar", "interleaved"}).description(""))
      ->type_name("LAYOUT");
}

RgbLayout choose_rgb_layout(const EngineOptions& options) {
  if (type_of(options.engine) != std::filesystem::file_type::regular) {
    return RgbLayout::kPlanar;
  }
  const std::optional<RgbLayout> layout = rgb_layout_of(options.engine);
  if (layout && options.rgb_layout && layout != options.rgb_layout) {
    const bool planar = layout == RgbLayout::kPlanar;
    throw UsageError("--rgb-layout contradicts the engine " + options.engine.string() + ", whose colour is " +
                     (planar ? "planar, (1, 3, H, W)" : "interleaved, (H, W, 3)") +
                     ". Leave the option out, or use the engine that was meant.");
  }
  return layout.value_or(RgbLayout::kPlanar);
}

void add_depth_scale(CLI::App& app, DepthScale& scale) {
  const auto check = [](const std::string& text) {
    std::string problem = finite_in(1.0, 1e9)(text);
    if (problem.empty() || !finite_in(1e-9, 1.0)(text).empty()) {
      return problem;
    }
    std::ostringstream units;
    units << 1.0 / std::stod(text);
    return text + " would be metres per unit. Give units per metre: " + units.str();
  };
  const auto set_scale = [&scale](const double& units_per_metre) {
    scale = {units_per_metre, DepthScale::Source::kGiven};
  };
  app.add_option_function<double>("--depth-scale", set_scale,
                                  "Depth units per metre, to state and to read metres: 1000 for millimetres, "
                                  "5000 for the TUM benchmark. "
                                  "Depth that is stored in units keeps them")
      ->check(check)
      ->type_name("UNITS")
      ->default_str("1000, or 5000 for a folder in the TUM layout");
}

void add_depth_filter(CLI::App& app, DepthFilter& filter) {
  app.add_option_function<double>(
         "--min-confidence", [&filter](const double& least) { filter.least_confidence = least; },
         "Set refined pixels of less confidence to 0")
      ->check(finite_in(-1e30, 1e30))
      ->type_name("NUMBER");
  const auto set_clip = [&filter](const std::string& text) {
    const auto numbers = parse_numbers(text, "..", 2);
    if (!numbers || (*numbers)[0] < 0.0 || (*numbers)[1] <= (*numbers)[0]) {
      throw CLI::ValidationError("--clip", text + " is not a range in metres such as 0.3..5");
    }
    filter.clip = MetreRange{(*numbers)[0], (*numbers)[1]};
  };
  app.add_option_function<std::string>("--clip", set_clip,
                                       "Set refined pixels outside this range in metres to 0")
      ->type_name("NEAR..FAR");
}

CLI::Option* add_image_size(CLI::App& app, cv::Size& size) {
  const auto set_size = [&size](const std::string& text) {
    std::istringstream stream(text);
    char by = 0;
    cv::Size parsed;
    stream >> parsed.width >> by >> parsed.height;
    constexpr int kLongest = 8192;
    const bool fits =
        parsed.width >= 1 && parsed.height >= 1 && parsed.width <= kLongest && parsed.height <= kLongest;
    if (stream.fail() || !stream.eof() || by != 'x' || !fits) {
      throw CLI::ValidationError("--size", text + " is not a size such as 640x480, at most 8192x8192");
    }
    size = parsed;
  };
  return app.add_option_function<std::string>("--size", set_size, "Image size in pixels")
      ->type_name("WIDTHxHEIGHT")
      ->default_str(std::to_string(size.width) + "x" + std::to_string(size.height));
}

}  // namespace enhance_depth_tool
