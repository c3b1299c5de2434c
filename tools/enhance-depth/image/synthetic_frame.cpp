#include "image/synthetic_frame.h"

#include <opencv2/imgproc.hpp>

namespace enhance_depth_tool {

SyntheticFrame make_synthetic_frame(cv::Size size, std::uint64_t seed) {
  cv::RNG random(seed + 1);  // 0 is no seed
  cv::Mat depth(size, CV_32FC1);
  cv::Mat color(size, CV_32FC3);
  for (int y = 0; y < size.height; ++y) {
    const float lower = static_cast<float>(y) / static_cast<float>(size.height);  // 0 at the top
    depth.row(y).setTo(4500.0F - 3500.0F * lower);
    const double shade = 90.0 + 110.0 * static_cast<double>(lower);
    color.row(y).setTo(cv::Scalar(shade * 0.6, shade * 0.8, shade));
  }
  const cv::Rect box(size.width / 3, size.height / 3, size.width / 3 + 1, size.height / 3 + 1);
  depth(box).setTo(1400.0F);
  color(box).setTo(cv::Scalar(160, 70, 60));

  cv::Mat noise(size, CV_32FC1);
  random.fill(noise, cv::RNG::NORMAL, 0.0, 1.0);
  // The noise of structured light grows with the square of the distance.
  const cv::Mat deviation = depth.mul(depth, 1.5e-6);
  depth += noise.mul(deviation);
  cv::Mat color_noise(size, CV_32FC3);
  random.fill(color_noise, cv::RNG::NORMAL, 0.0, 6.0);
  color += color_noise;

  SyntheticFrame frame;
  color.convertTo(frame.color, CV_8UC3);
  depth.convertTo(frame.depth, CV_16UC1);
  const int holes = static_cast<int>(size.area() / 4000) + 1;
  for (int i = 0; i < holes; ++i) {
    const cv::Point center(random.uniform(0, size.width), random.uniform(0, size.height));
    cv::circle(frame.depth, center, random.uniform(1, 8), 0, cv::FILLED);
  }
  return frame;
}

}  // namespace enhance_depth_tool
