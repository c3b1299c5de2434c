#include "evaluate/contact_sheet.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

#include "image/color_scale.h"

namespace enhance_depth_tool {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kTitle = 26;
constexpr int kGap = 6;

// Scales a picture to fit a cell, keeping its aspect ratio.
cv::Mat thumbnail(const cv::Mat& picture) {
  const double factor =
      std::min(static_cast<double>(kWidth) / picture.cols, static_cast<double>(kHeight) / picture.rows);
  cv::Mat small;
  cv::resize(picture, small,
             {std::max(1, static_cast<int>(std::lround(picture.cols * factor))),
              std::max(1, static_cast<int>(std::lround(picture.rows * factor)))},
             0, 0, factor < 1.0 ? cv::INTER_AREA : cv::INTER_NEAREST);
  cv::Mat cell(kHeight, kWidth, CV_8UC3, cv::Scalar::all(40));
  small.copyTo(cell(cv::Rect({(kWidth - small.cols) / 2, (kHeight - small.rows) / 2}, small.size())));
  return cell;
}

void write_title(cv::Mat& canvas, const std::string& text, cv::Point at) {
  cv::putText(canvas, text, at, cv::FONT_HERSHEY_SIMPLEX, 0.45, cv::Scalar::all(235), 1, cv::LINE_AA);
}

}  // namespace

void ContactSheet::offer(double error, const std::string& name, const cv::Mat& color,
                         const JudgedFrame& frame, const std::vector<cv::Mat>& predictions) {
  if (worst_.size() == rows_ && (rows_ == 0 || error <= worst_.back().error)) {
    return;
  }
  std::vector<cv::Mat> depths{frame.truth, frame.input};
  depths.insert(depths.end(), predictions.begin(), predictions.end());
  const ValueRange range = depth_range({frame.truth});
  std::vector<cv::Mat> pictures{color};
  std::transform(depths.begin(), depths.end(), std::back_inserter(pictures),
                 [&](const cv::Mat& depth) { return colorize_depth(depth, range); });

  cv::Mat row(kTitle + kHeight, static_cast<int>(pictures.size()) * (kWidth + kGap), CV_8UC3,
              cv::Scalar::all(27));
  write_title(row, fmt::format("{}: relative error {:.2f} %", name, 100.0 * error), {4, kTitle - 8});
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    thumbnail(pictures[i])
        .copyTo(row(cv::Rect(static_cast<int>(i) * (kWidth + kGap), kTitle, kWidth, kHeight)));
  }
  const auto place = std::upper_bound(worst_.begin(), worst_.end(), error,
                                      [](double value, const Row& other) { return value > other.error; });
  worst_.insert(place, {error, row});
  worst_.resize(std::min(worst_.size(), rows_));
}

cv::Mat ContactSheet::render() const {
  if (worst_.empty()) {
    return {};
  }
  std::vector<cv::Mat> parts;
  cv::Mat head(kTitle, worst_[0].picture.cols, CV_8UC3, cv::Scalar::all(27));
  std::vector<std::string> titles{"colour", "truth", "input"};
  titles.insert(titles.end(), columns_.begin(), columns_.end());
  for (std::size_t i = 0; i < titles.size(); ++i) {
    write_title(head, titles[i], {static_cast<int>(i) * (kWidth + kGap) + 4, kTitle - 8});
  }
  parts.push_back(head);
  std::transform(worst_.begin(), worst_.end(), std::back_inserter(parts),
                 [](const Row& row) { return row.picture; });
  cv::Mat sheet;
  cv::vconcat(parts, sheet);
  return sheet;
}

}  // namespace enhance_depth_tool
