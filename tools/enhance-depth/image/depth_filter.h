// Takes pixels out of a depth image that its consumer should not see: they become 0, no depth.
#ifndef ENHANCE_DEPTH_TOOL_DEPTH_FILTER_H
#define ENHANCE_DEPTH_TOOL_DEPTH_FILTER_H

#include <cstdint>
#include <optional>
#include <string>

#include <opencv2/core.hpp>

#include "image/depth_scale.h"

namespace enhance_depth_tool {

// Both ends belong to it.
struct MetreRange {
  double nearest = 0.0;
  double farthest = 0.0;
};

// What to take out; nothing unless told to.
struct DepthFilter {
  std::optional<double> least_confidence;
  std::optional<MetreRange> clip;
};

// How many pixels lost their depth: to least_confidence and, of the rest, to clip.
struct RemovedPixels {
  std::int64_t unsure = 0;
  std::int64_t outside = 0;
};

// Takes out of `depth`, CV_16UC1, what the filter says. `confidence` is CV_32FC1 and needed for
// least_confidence only; NaN is below everything.
RemovedPixels remove_pixels(cv::Mat& depth, const cv::Mat& confidence, const DepthFilter& filter,
                            DepthScale scale);

// A line of a summary for each part of the filter; none for one that takes out nothing.
std::string removal_text(const DepthFilter& filter, const RemovedPixels& removed);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DEPTH_FILTER_H
