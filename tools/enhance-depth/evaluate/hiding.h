// Ground truth without a second sensor: hides measured pixels of a depth image, so that the depth that a
// network fills in can be compared with the measurement.
#ifndef ENHANCE_DEPTH_TOOL_HIDING_H
#define ENHANCE_DEPTH_TOOL_HIDING_H

#include <cstdint>
#include <string>

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

// Why a pixel was hidden.
enum HiddenAs : std::uint8_t {
  kNotHidden = 0,
  kBlob = 1,         // in a disc of 3 to 15 pixels radius
  kBand = 2,         // within 2 to 6 pixels of a depth edge, on either side
  kFarSideBand = 3,  // within 4 to 12 pixels of a depth edge, where the depth is that of the farther side:
                     // the shadow that the baseline of a stereo or structured-light sensor casts
};

struct HiddenPixels {
  cv::Mat depth;   // CV_16UC1: the input without the hidden pixels
  cv::Mat hidden;  // CV_8UC1: HiddenAs of every pixel; only pixels that were measured are ever hidden
};

// The image is divided into tiles of 64 x 64 pixels, and each tile draws what is hidden in it: bands (1 in
// 4), far-side bands (1 in 4), one to three blobs (1 in 4) or nothing. The draw depends only on `seed` and on
// `name`, the frame's name, and uses only integer arithmetic, so that a frame loses the same pixels in any
// recording and on any machine.
HiddenPixels hide_pixels(const cv::Mat& depth, std::uint64_t seed, const std::string& name);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_HIDING_H
