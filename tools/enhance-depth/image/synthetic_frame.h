// Frames that resemble a camera's, for measuring without a recording.
#ifndef ENHANCE_DEPTH_TOOL_SYNTHETIC_FRAME_H
#define ENHANCE_DEPTH_TOOL_SYNTHETIC_FRAME_H

#include <cstdint>

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

struct SyntheticFrame {
  cv::Mat color;  // CV_8UC3, BGR: shaded, textured, noisy
  cv::Mat depth;  // CV_16UC1, millimetres: a floor that recedes and a box, with noise and holes
};

// The same frame for the same size and seed.
SyntheticFrame make_synthetic_frame(cv::Size size, std::uint64_t seed);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_SYNTHETIC_FRAME_H
