// A depth image as points in space.
#ifndef ENHANCE_DEPTH_TOOL_POINT_CLOUD_H
#define ENHANCE_DEPTH_TOOL_POINT_CLOUD_H

#include <opencv2/core.hpp>

#include "image/depth_scale.h"
#include "support/input_file.h"

namespace enhance_depth_tool {

// Of a camera without distortion, in pixels.
struct Intrinsics {
  double fx = 0.0;
  double fy = 0.0;
  double cx = 0.0;
  double cy = 0.0;
};

// A binary PLY file of the pixels that have depth, row by row: x to the right, y down and z ahead as 32-bit
// floats in metres, then red, green and blue. `depth` is CV_16UC1, `color` CV_8UC3 in BGR order and of the
// same size.
Bytes encode_point_cloud(const cv::Mat& depth, const cv::Mat& color, Intrinsics camera, DepthScale scale);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_POINT_CLOUD_H
