// One picture that shows what the refinement did: colour, confidence, depth before and depth after, with
// titles, one colour scale for both depths and a legend in metres.
#ifndef ENHANCE_DEPTH_TOOL_PREVIEW_H
#define ENHANCE_DEPTH_TOOL_PREVIEW_H

#include <opencv2/core.hpp>

#include "image/color_scale.h"
#include "image/depth_scale.h"

namespace enhance_depth_tool {

struct PreviewImages {
  cv::Mat color;         // CV_8UC3, BGR
  cv::Mat depth_before;  // CV_16UC1
  cv::Mat depth_after;   // CV_16UC1
  cv::Mat confidence;    // CV_32FC1, or empty
};

// Renders a BGR picture. With confidence the panels form a square, without they form a row. Large images are
// scaled down and small ones up, so that the texts are always readable; the picture's size depends only on
// the images' size and on whether there is confidence.
cv::Mat render_preview(const PreviewImages& images, ValueRange depth_range, DepthScale scale);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PREVIEW_H
