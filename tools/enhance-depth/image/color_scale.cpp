#include "image/color_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

#include <opencv2/imgproc.hpp>

#include "image/depth_statistics.h"
#include "support/text.h"

namespace enhance_depth_tool {

const cv::Vec3b kNoDepthColor(0, 0, 0);

namespace {

constexpr int kDarkest = 24;  // beyond these, TURBO is so dark that it could be taken for "no depth"
constexpr int kLast = 240;

// The 8-bit level of every depth value.
std::vector<std::uint8_t> depth_levels(ValueRange range) {
  std::vector<std::uint8_t> levels(65536);
  for (std::size_t depth = 1; depth < levels.size(); ++depth) {
    levels[depth] =
        cv::saturate_cast<std::uint8_t>(255.0 * depth_position(static_cast<double>(depth), range));
  }
  return levels;
}

cv::Mat turbo(const cv::Mat& levels) {
  cv::Mat trimmed;
  levels.convertTo(trimmed, CV_8UC1, (kLast - kDarkest) / 255.0, kDarkest);
  cv::Mat colors;
  cv::applyColorMap(trimmed, colors, cv::COLORMAP_TURBO);
  return colors;
}

cv::Mat cividis(const cv::Mat& levels) {
  cv::Mat colors;
  cv::applyColorMap(levels, colors, cv::COLORMAP_CIVIDIS);
  return colors;
}

cv::Mat ramp(cv::Size size) {
  cv::Mat row(1, size.width, CV_8UC1);
  for (int x = 0; x < size.width; ++x) {
    row.at<std::uint8_t>(x) = cv::saturate_cast<std::uint8_t>(255.0 * x / std::max(1, size.width - 1));
  }
  return cv::repeat(row, size.height, 1);
}

}  // namespace

ValueRange depth_range(const std::vector<cv::Mat>& depths) {
  const auto histogram = std::make_unique<DepthHistogram>();
  for (const cv::Mat& depth : depths) {
    histogram->add(depth);
  }
  const double low = std::max<double>(1.0, histogram->quantile(0.01));
  const double high = histogram->quantile(0.99);
  return {low, std::max(high, low + 1.0)};
}

ValueRange confidence_range(const cv::Mat& confidence) {
  const cv::Mat finite = cv::abs(confidence) <= 3.402823466e38;
  double low = 0.0;
  double high = 1.0;
  if (cv::countNonZero(finite) > 0) {
    cv::minMaxLoc(confidence, &low, &high, nullptr, nullptr, finite);
  }
  if (low >= 0.0 && high <= 1.0) {
    return {0.0, 1.0};
  }
  return {low, high > low ? high : low + 1.0};
}

double depth_position(double depth, ValueRange range) {
  return (1.0 / range.low - 1.0 / depth) / (1.0 / range.low - 1.0 / range.high);
}

cv::Mat colorize_depth(const cv::Mat& depth, ValueRange range) {
  const std::vector<std::uint8_t> level_of = depth_levels(range);
  cv::Mat levels(depth.size(), CV_8UC1);
  for (int row = 0; row < depth.rows; ++row) {
    const auto* values = depth.ptr<std::uint16_t>(row);
    std::transform(values, values + depth.cols, levels.ptr<std::uint8_t>(row),
                   [&](std::uint16_t value) { return level_of[value]; });
  }
  cv::Mat colors = turbo(levels);
  colors.setTo(kNoDepthColor, depth == 0);
  return colors;
}

cv::Mat colorize_confidence(const cv::Mat& confidence, ValueRange range) {
  // Infinities and NaN would not survive the conversion to integers.
  cv::Mat bounded = cv::max(cv::min(confidence, range.high), range.low);
  cv::patchNaNs(bounded, range.low);
  const double scale = 255.0 / (range.high - range.low);
  cv::Mat levels;
  bounded.convertTo(levels, CV_8UC1, scale, -range.low * scale);
  return cividis(levels);
}

cv::Mat depth_color_bar(cv::Size size) { return turbo(ramp(size)); }

cv::Mat confidence_color_bar(cv::Size size) { return cividis(ramp(size)); }

std::vector<Tick> depth_ticks(ValueRange metres, int length, int spacing) {
  // From coarse steps to fine ones, adds each multiple for which there is room.
  std::vector<Tick> ticks;
  const auto has_room = [&](double position) {
    return std::none_of(ticks.begin(), ticks.end(), [&](const Tick& tick) {
      return std::abs(tick.position - position) * length < spacing;
    });
  };
  const int largest = static_cast<int>(std::ceil(std::log10(metres.high)));
  // Finer steps would fill the gaps with numbers that are no longer round.
  const double finest = std::min((metres.high - metres.low) / 8.0, metres.low / 15.0);
  const int smallest = static_cast<int>(std::floor(std::log10(finest)));
  constexpr double kRounding = 1e-6;
  constexpr double kMost = 100.0;  // fine steps have room at the near end only
  for (int exponent = largest; exponent >= smallest; --exponent) {
    for (double factor : {5.0, 2.0, 1.0}) {
      const double step = factor * std::pow(10.0, exponent);
      if (step < finest) {
        break;
      }
      const double first = std::max(1.0, std::ceil(metres.low / step - kRounding));
      for (double index = first; index < first + kMost && index * step <= metres.high + step * kRounding;
           ++index) {
        const double position = depth_position(index * step, metres);
        if (has_room(position)) {
          ticks.push_back({index * step, position, decimals(index * step, std::max(0, -exponent))});
        }
      }
    }
  }
  std::sort(ticks.begin(), ticks.end(), [](const Tick& a, const Tick& b) { return a.metres < b.metres; });
  return ticks;
}

}  // namespace enhance_depth_tool
