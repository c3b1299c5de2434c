// Statistics of a depth image, in its own unit. 0 means "no depth" and counts as invalid.
#ifndef ENHANCE_DEPTH_TOOL_DEPTH_STATISTICS_H
#define ENHANCE_DEPTH_TOOL_DEPTH_STATISTICS_H

#include <array>
#include <cstdint>

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

// Counts of every depth value over one or more images.
class DepthHistogram {
 public:
  void add(const cv::Mat& depth);  // CV_16UC1

  std::int64_t valid_pixels() const { return pixels_ - counts_[0]; }
  double valid_fraction() const;  // 0..1; 0 without pixels

  // The smallest depth that at least `fraction` (0..1) of the valid pixels do not exceed; 0 without valid
  // pixels.
  std::uint16_t quantile(double fraction) const;

 private:
  std::array<std::int64_t, 65536> counts_{};
  std::int64_t pixels_ = 0;
};

struct DepthStatistics {
  double valid_fraction = 0.0;
  std::uint16_t nearest = 0;  // these three over the valid pixels; 0 if there are none
  std::uint16_t median = 0;
  std::uint16_t farthest = 0;
};
DepthStatistics describe_depth(const cv::Mat& depth);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DEPTH_STATISTICS_H
