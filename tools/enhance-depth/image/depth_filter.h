// Takes pixels out of a depth image that its consumer should not see: they become 0, no depth.
#ifndef ENHANCE_DEPTH_TOOL_DEPTH_FILTER_H
#define ENHANCE_DEPTH_TOOL_DEPTH_FILTER_H

#include <cstdint>

#include <opencv2/core.hpp>

#include "image/depth_scale.h"

namespace enhance_depth_tool {

// Both ends belong to it.
struct MetreRange {
  double nearest = 0.0;
  double farthest = 0.0;
};

// Both take CV_16UC1 and return how many pixels lost their depth. `confidence` is CV_32FC1; NaN is below
// everything.
std::int64_t remove_unsure(cv::Mat& depth, const cv::Mat& confidence, double least_confidence);
std::int64_t remove_outside(cv::Mat& depth, MetreRange range, DepthScale scale);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DEPTH_FILTER_H
