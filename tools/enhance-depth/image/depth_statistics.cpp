#include "image/depth_statistics.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace enhance_depth_tool {

void DepthHistogram::add(const cv::Mat& depth) {
  for (int row = 0; row < depth.rows; ++row) {
    const auto* values = depth.ptr<std::uint16_t>(row);
    for (int column = 0; column < depth.cols; ++column) {
      ++counts_[values[column]];
    }
  }
  pixels_ += static_cast<std::int64_t>(depth.total());
}

double DepthHistogram::valid_fraction() const {
  return pixels_ == 0 ? 0.0 : static_cast<double>(valid_pixels()) / static_cast<double>(pixels_);
}

std::uint16_t DepthHistogram::quantile(double fraction) const {
  if (valid_pixels() == 0) {
    return 0;
  }
  const auto wanted = std::max<std::int64_t>(
      1, static_cast<std::int64_t>(std::ceil(fraction * static_cast<double>(valid_pixels()))));
  std::int64_t passed = 0;
  std::size_t depth = 0;
  while (passed < wanted) {
    passed += counts_[++depth];
  }
  return static_cast<std::uint16_t>(depth);
}

DepthStatistics describe_depth(const cv::Mat& depth) {
  const auto histogram = std::make_unique<DepthHistogram>();  // too big for the stack of a small thread
  histogram->add(depth);
  return {histogram->valid_fraction(), histogram->quantile(0.0), histogram->quantile(0.5),
          histogram->quantile(1.0)};
}

}  // namespace enhance_depth_tool
