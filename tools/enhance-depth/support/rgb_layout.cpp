#include "support/rgb_layout.h"

namespace enhance_depth_tool {

std::vector<std::uint8_t> arrange_rgb(const cv::Mat& bgr, RgbLayout layout) {
  std::vector<std::uint8_t> bytes(bgr.total() * 3);
  if (layout == RgbLayout::kInterleaved) {
    cv::Mat rgb(bgr.size(), CV_8UC3, bytes.data());
    constexpr int kSwapRedAndBlue[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&bgr, 1, &rgb, 1, kSwapRedAndBlue, 3);
    return bytes;
  }
  std::vector<cv::Mat> planes;
  planes.reserve(3);
  for (int plane = 0; plane < 3; ++plane) {
    planes.emplace_back(bgr.size(), CV_8UC1, bytes.data() + static_cast<std::size_t>(plane) * bgr.total());
  }
  constexpr int kRedGreenBlue[] = {2, 0, 1, 1, 0, 2};
  cv::mixChannels(&bgr, 1, planes.data(), planes.size(), kRedGreenBlue, 3);
  return bytes;
}

}  // namespace enhance_depth_tool
