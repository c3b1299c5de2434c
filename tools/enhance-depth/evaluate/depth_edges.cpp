#include "evaluate/depth_edges.h"

#include <algorithm>
#include <cstdint>

#include <opencv2/imgproc.hpp>

namespace enhance_depth_tool {
namespace {

constexpr int kWidestGap = 8;

bool is_jump(int a, int b) { return 10 * std::abs(a - b) > std::min(a, b); }

// Marks the edges along one line of `length` pixels, each `depth_step` and `mask_step` elements after the
// last.
void mark_line(const std::uint16_t* depth, std::size_t depth_step, std::uint8_t* mask, std::size_t mask_step,
               int length) {
  int last_known = -1;
  for (int i = 0; i < length; ++i) {
    const int here = depth[static_cast<std::size_t>(i) * depth_step];
    if (here == 0) {
      continue;
    }
    if (last_known >= 0 && i - last_known - 1 <= kWidestGap &&
        is_jump(depth[static_cast<std::size_t>(last_known) * depth_step], here)) {
      for (int between = last_known; between <= i; ++between) {
        mask[static_cast<std::size_t>(between) * mask_step] = 255;
      }
    }
    last_known = i;
  }
}

cv::Mat square(int radius) { return cv::Mat::ones(2 * radius + 1, 2 * radius + 1, CV_8UC1); }

}  // namespace

cv::Mat depth_edges(const cv::Mat& depth) {
  cv::Mat edges = cv::Mat::zeros(depth.size(), CV_8UC1);
  for (int row = 0; row < depth.rows; ++row) {
    mark_line(depth.ptr<std::uint16_t>(row), 1, edges.ptr(row), 1, depth.cols);
  }
  for (int column = 0; column < depth.cols; ++column) {
    mark_line(depth.ptr<std::uint16_t>(0) + column, depth.step1(), edges.ptr(0) + column, edges.step1(),
              depth.rows);
  }
  return edges;
}

DepthBounds depth_bounds(const cv::Mat& depth, int radius) {
  DepthBounds bounds;
  cv::dilate(depth, bounds.farthest, square(radius));
  // Unknown pixels must not become the minimum: they get the largest value, which no known depth exceeds.
  cv::Mat unknown_last = depth.clone();
  unknown_last.setTo(65535, depth == 0);
  cv::erode(unknown_last, bounds.nearest, square(radius));
  bounds.nearest.setTo(0, bounds.farthest == 0);
  return bounds;
}

cv::Mat grown(const cv::Mat& mask, int radius) {
  cv::Mat result;
  cv::dilate(mask, result, square(radius));
  return result;
}

}  // namespace enhance_depth_tool
