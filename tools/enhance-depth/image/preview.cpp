#include "image/preview.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "image/depth_statistics.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

const cv::Scalar kBackground(32, 28, 27);
const cv::Scalar kText(235, 235, 235);
const cv::Scalar kQuietText(170, 170, 170);
const cv::Scalar kFrame(105, 100, 98);

constexpr int kMargin = 18;
constexpr int kTitleHeight = 40;
constexpr int kLegendHeight = 74;
constexpr int kSmallestPanel = 480;  // width that holds the longest title
constexpr int kLargestPanel = 960;

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
constexpr double kTitleSize = 0.68;
constexpr double kLabelSize = 0.55;

int text_width(const std::string& text, double size) {
  int baseline = 0;
  return cv::getTextSize(text, kFont, size, 1, &baseline).width;
}

// `left` and `baseline` are where the text starts.
void draw_text(cv::Mat& canvas, const std::string& text, int left, int baseline, double size,
               const cv::Scalar& color) {
  cv::putText(canvas, text, {left, baseline}, kFont, size, color, 1, cv::LINE_AA);
}

// The size at which images of `size` are shown.
cv::Size panel_size(cv::Size size) {
  const double longest = std::max(size.width, size.height);
  double factor = 1.0;
  if (longest > kLargestPanel) {
    factor = kLargestPanel / longest;
  }
  if (longest * 2 <= kSmallestPanel) {
    factor = std::floor(kSmallestPanel / longest);
  }
  return {std::max(1, static_cast<int>(std::lround(size.width * factor))),
          std::max(1, static_cast<int>(std::lround(size.height * factor)))};
}

cv::Mat scaled(const cv::Mat& picture, cv::Size size) {
  if (picture.size() == size) {
    return picture;
  }
  cv::Mat result;
  cv::resize(picture, result, size, 0, 0, size.width < picture.cols ? cv::INTER_AREA : cv::INTER_NEAREST);
  return result;
}

struct Panel {
  cv::Mat picture;
  std::string title;
  std::string remark;  // shown after the title, less prominently
};

// Draws a panel whose cell starts at `corner`; the picture is centred in a cell that is wider than it.
void draw_panel(cv::Mat& canvas, const Panel& panel, cv::Point corner, int cell_width) {
  const int left = corner.x + (cell_width - panel.picture.cols) / 2;
  const int baseline = corner.y + kTitleHeight - 13;
  draw_text(canvas, panel.title, left, baseline, kTitleSize, kText);
  draw_text(canvas, panel.remark, left + text_width(panel.title, kTitleSize) + 16, baseline, kLabelSize,
            kQuietText);
  const cv::Rect place({left, corner.y + kTitleHeight}, panel.picture.size());
  panel.picture.copyTo(canvas(place));
  cv::rectangle(canvas, place + cv::Size(2, 2) - cv::Point(1, 1), kFrame);
}

// The legend of the depth panels from `left` to `right`: a sample of "no depth", then the bar with its
// metres.
void draw_depth_legend(cv::Mat& canvas, int left, int right, int top, ValueRange metres) {
  constexpr int kBarHeight = 18;
  const cv::Rect sample(left, top, 30, kBarHeight);
  cv::rectangle(canvas, sample, cv::Scalar(kNoDepthColor), cv::FILLED);
  cv::rectangle(canvas, sample + cv::Size(2, 2) - cv::Point(1, 1), kFrame);
  draw_text(canvas, "no depth", left + 42, top + 15, kLabelSize, kText);

  const int bar_left = left + 42 + text_width("no depth", kLabelSize) + 34;
  const cv::Rect bar(bar_left, top, right - bar_left, kBarHeight);
  depth_color_bar(bar.size()).copyTo(canvas(bar));
  cv::rectangle(canvas, bar + cv::Size(2, 2) - cv::Point(1, 1), kFrame);
  const int spacing = text_width("0.00 m", kLabelSize) + 24;
  for (const Tick& tick : depth_ticks(metres, bar.width, spacing)) {
    const int x = bar.x + static_cast<int>(std::lround(tick.position * (bar.width - 1)));
    cv::line(canvas, {x, top + kBarHeight}, {x, top + kBarHeight + 6}, kText);
    const std::string text = tick.text + " m";
    const int width = text_width(text, kLabelSize);
    draw_text(canvas, text, std::min(x - width / 2, canvas.cols - width - 2), top + kBarHeight + 25,
              kLabelSize, kText);
  }
}

// The legend of the confidence panel: in its title line, at the right.
void draw_confidence_legend(cv::Mat& canvas, int right, int title_top, ValueRange range) {
  constexpr int kBarWidth = 110;
  constexpr int kBarHeight = 14;
  const bool unit = range.low == 0.0 && range.high == 1.0;
  const std::string low = unit ? "0" : decimals(range.low, 2);
  const std::string high = unit ? "1" : decimals(range.high, 2);
  const int baseline = title_top + kTitleHeight - 13;
  const int high_left = right - text_width(high, kLabelSize);
  const cv::Rect place(high_left - 10 - kBarWidth, baseline - kBarHeight + 1, kBarWidth, kBarHeight);
  draw_text(canvas, high, high_left, baseline, kLabelSize, kText);
  draw_text(canvas, low, place.x - 10 - text_width(low, kLabelSize), baseline, kLabelSize, kText);
  confidence_color_bar(place.size()).copyTo(canvas(place));
  cv::rectangle(canvas, place + cv::Size(2, 2) - cv::Point(1, 1), kFrame);
}

}  // namespace

cv::Mat render_preview(const PreviewImages& images, ValueRange depth_range, DepthScale scale) {
  const cv::Size panel = panel_size(images.color.size());
  const int cell_width = std::max(panel.width, kSmallestPanel);
  const int cell_height = kTitleHeight + panel.height;
  const bool square = !images.confidence.empty();
  const int columns = square ? 2 : 3;
  const int rows = square ? 2 : 1;

  cv::Mat canvas(rows * cell_height + kMargin + kLegendHeight, columns * (cell_width + kMargin) + kMargin,
                 CV_8UC3, kBackground);
  const auto corner = [&](int row, int column) {
    return cv::Point(kMargin + column * (cell_width + kMargin), row * cell_height);
  };
  const auto depth_panel = [&](const cv::Mat& depth, const char* title) {
    return Panel{scaled(colorize_depth(depth, depth_range), panel), title,
                 percent(describe_depth(depth).valid_fraction) + " valid"};
  };

  const int depth_row = rows - 1;
  draw_panel(canvas,
             {scaled(images.color, panel), "Colour", image_size(images.color.cols, images.color.rows)},
             corner(0, 0), cell_width);
  draw_panel(canvas, depth_panel(images.depth_before, "Depth before"), corner(depth_row, columns - 2),
             cell_width);
  draw_panel(canvas, depth_panel(images.depth_after, "Depth after"), corner(depth_row, columns - 1),
             cell_width);
  if (square) {
    const ValueRange range = confidence_range(images.confidence);
    draw_panel(canvas, {scaled(colorize_confidence(images.confidence, range), panel), "Confidence", ""},
               corner(0, 1), cell_width);
    draw_confidence_legend(canvas, corner(0, 1).x + (cell_width + panel.width) / 2, 0, range);
  }
  const int side = (cell_width - panel.width) / 2;
  draw_depth_legend(canvas, corner(0, columns - 2).x + side, corner(0, columns - 1).x + side + panel.width,
                    rows * cell_height + kMargin,
                    {scale.metres(depth_range.low), scale.metres(depth_range.high)});
  return canvas;
}

}  // namespace enhance_depth_tool
