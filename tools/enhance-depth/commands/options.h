// Options that several subcommands share, so that one name always means the same.
#ifndef ENHANCE_DEPTH_TOOL_OPTIONS_H
#define ENHANCE_DEPTH_TOOL_OPTIONS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <opencv2/core.hpp>

#include "image/depth_filter.h"
#include "image/depth_scale.h"
#include "support/engine_options.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace enhance_depth_tool {

// A check for an option: a number from `low` to `high`. CLI::Range lets "nan" pass.
std::function<std::string(const std::string&)> finite_in(double low, double high);

// The numbers in `text` between `separator`s; none when there are not exactly `wanted` finite ones.
std::optional<std::vector<double>> parse_numbers(std::string_view text, std::string_view separator,
                                                 std::size_t wanted);

// --engine and --rgb-layout
void add_engine_options(CLI::App& app, EngineOptions& options);

// The engine's colour layout; planar for an engine that the library will refuse. Throws a UsageError if the
// options contradict it.
RgbLayout choose_rgb_layout(const EngineOptions& options);

// --depth-scale
void add_depth_scale(CLI::App& app, DepthScale& scale);

// --min-confidence and --clip
void add_depth_filter(CLI::App& app, DepthFilter& filter);

// --size: WIDTHxHEIGHT in pixels.
CLI::Option* add_image_size(CLI::App& app, cv::Size& size);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_OPTIONS_H
