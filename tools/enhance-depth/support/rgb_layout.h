// Arranges the bytes of a colour image as an engine needs them.
#ifndef ENHANCE_DEPTH_TOOL_RGB_LAYOUT_H
#define ENHANCE_DEPTH_TOOL_RGB_LAYOUT_H

#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

enum class RgbLayout {
  kPlanar,       // all red, all green, all blue
  kInterleaved,  // red, green, blue of the first pixel, then of the next
};

// `bgr` (CV_8UC3, OpenCV's channel order) as height * width * 3 bytes in `layout`.
std::vector<std::uint8_t> arrange_rgb(const cv::Mat& bgr, RgbLayout layout);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RGB_LAYOUT_H
