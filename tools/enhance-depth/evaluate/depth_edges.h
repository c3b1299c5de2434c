// Where a depth image jumps from one surface to another.
#ifndef ENHANCE_DEPTH_TOOL_DEPTH_EDGES_H
#define ENHANCE_DEPTH_TOOL_DEPTH_EDGES_H

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

// CV_8UC1, 255 where `depth` (CV_16UC1, 0 unknown) has an edge: at two known pixels of a row or column, and
// at those between them, if their depths differ by more than a tenth of the smaller one and at most eight
// unknown pixels lie between. Integer arithmetic, with the same result on every machine.
cv::Mat depth_edges(const cv::Mat& depth);

// The smallest and the largest known depth within `radius` pixels to each side of every pixel (CV_16UC1); 0
// and 0 where nothing is known.
struct DepthBounds {
  cv::Mat nearest;
  cv::Mat farthest;
};
DepthBounds depth_bounds(const cv::Mat& depth, int radius);

// `mask` (CV_8UC1) grown by `radius` pixels to each side.
cv::Mat grown(const cv::Mat& mask, int radius);

// Pixels of known depth are near an edge if they are at most this far from it.
inline constexpr int kEdgeRadius = 3;

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DEPTH_EDGES_H
