#include "evaluate/depth_errors.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "evaluate/depth_edges.h"
#include "evaluate/hiding.h"

namespace enhance_depth_tool {
namespace {

double quotient(double sum, std::int64_t count) {
  return count == 0 ? std::numeric_limits<double>::quiet_NaN() : sum / static_cast<double>(count);
}

// Calls `visit(y, x)` for each pixel of `mask`.
template <typename Visit>
void for_each_pixel(const cv::Mat& mask, const Visit& visit) {
  for (int y = 0; y < mask.rows; ++y) {
    const auto* row = mask.ptr<std::uint8_t>(y);
    for (int x = 0; x < mask.cols; ++x) {
      if (row[x] != 0) {
        visit(y, x);
      }
    }
  }
}

}  // namespace

const char* name_of(PixelKind kind) {
  switch (kind) {
    case PixelKind::kVisible:
      return "visible";
    case PixelKind::kHidden:
      return "hidden";
    case PixelKind::kBlob:
      return "blob";
    case PixelKind::kBand:
      return "band";
    case PixelKind::kFarSideBand:
      return "far-side band";
    case PixelKind::kNearEdge:
      break;
  }
  return "near edges";
}

cv::Mat pixels_of_kind(const JudgedFrame& frame, PixelKind kind) {
  const cv::Mat known = frame.truth != 0;
  const auto hidden_as = [&](HiddenAs why) -> cv::Mat {
    if (frame.hidden_as.empty()) {
      return cv::Mat::zeros(frame.truth.size(), CV_8UC1);
    }
    return known & (frame.hidden_as == why);
  };
  switch (kind) {
    case PixelKind::kVisible:
      return known & (frame.input != 0);
    case PixelKind::kHidden:
      return known & (frame.input == 0);
    case PixelKind::kBlob:
      return hidden_as(kBlob);
    case PixelKind::kBand:
      return hidden_as(kBand);
    case PixelKind::kFarSideBand:
      return hidden_as(kFarSideBand);
    case PixelKind::kNearEdge:
      break;
  }
  return known & frame.near_edge;
}

void DepthErrors::add(int truth, int prediction) {
  ++pixels;
  if (prediction == 0) {
    return;
  }
  ++filled;
  const double error = std::abs(prediction - truth);
  absolute += error;
  relative += error / truth;
  squared += error * error;
  const double ratio = static_cast<double>(std::max(prediction, truth)) / std::min(prediction, truth);
  for (std::size_t i = 0; i < kRatios.size(); ++i) {
    within[i] += ratio <= kRatios[i] ? 1 : 0;
  }
}

DepthErrors& DepthErrors::operator+=(const DepthErrors& other) {
  pixels += other.pixels;
  filled += other.filled;
  absolute += other.absolute;
  relative += other.relative;
  squared += other.squared;
  for (std::size_t i = 0; i < within.size(); ++i) {
    within[i] += other.within[i];
  }
  return *this;
}

double DepthErrors::mean_absolute() const { return quotient(absolute, filled); }
double DepthErrors::mean_relative() const { return quotient(relative, filled); }
double DepthErrors::root_mean_square() const { return std::sqrt(quotient(squared, filled)); }
double DepthErrors::fraction_filled() const { return quotient(static_cast<double>(filled), pixels); }
double DepthErrors::fraction_within(std::size_t i) const {
  return quotient(static_cast<double>(within[i]), pixels);
}

double FlyingPixels::fraction() const { return quotient(static_cast<double>(flying), pixels); }

double VisibleChange::mean() const { return quotient(absolute, pixels); }

void add_errors(const JudgedFrame& frame, const cv::Mat& prediction, ErrorsByKind& errors) {
  for (std::size_t i = 0; i < kPixelKinds.size(); ++i) {
    for_each_pixel(pixels_of_kind(frame, kPixelKinds[i]), [&](int y, int x) {
      errors[i].add(frame.truth.at<std::uint16_t>(y, x), prediction.at<std::uint16_t>(y, x));
    });
  }
}

void add_flying_pixels(const JudgedFrame& frame, const cv::Mat& prediction, FlyingPixels& count) {
  const DepthBounds sides = depth_bounds(frame.truth, kEdgeRadius);
  for_each_pixel(pixels_of_kind(frame, PixelKind::kNearEdge), [&](int y, int x) {
    const int near_side = sides.nearest.at<std::uint16_t>(y, x);
    const int step = sides.farthest.at<std::uint16_t>(y, x) - near_side;
    const auto between = [&](int depth) {
      return 5 * (depth - near_side) > step && 5 * (near_side + step - depth) > step;
    };
    const int predicted = prediction.at<std::uint16_t>(y, x);
    if (predicted != 0 && !between(frame.truth.at<std::uint16_t>(y, x))) {
      ++count.pixels;
      count.flying += between(predicted) ? 1 : 0;
    }
  });
}

void add_visible_change(const JudgedFrame& frame, const cv::Mat& prediction, VisibleChange& change) {
  for_each_pixel((frame.input != 0) & (prediction != 0), [&](int y, int x) {
    ++change.pixels;
    change.absolute += std::abs(prediction.at<std::uint16_t>(y, x) - frame.input.at<std::uint16_t>(y, x));
  });
}

}  // namespace enhance_depth_tool
