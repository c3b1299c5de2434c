#include "image/depth_filter.h"

namespace enhance_depth_tool {
namespace {

template <typename Keep>
std::int64_t remove_unless(cv::Mat& depth, const Keep& keep) {
  std::int64_t removed = 0;
  for (int row = 0; row < depth.rows; ++row) {
    auto* values = depth.ptr<std::uint16_t>(row);
    for (int column = 0; column < depth.cols; ++column) {
      if (values[column] == 0 || keep(values[column], row, column)) {
        continue;
      }
      values[column] = 0;
      ++removed;
    }
  }
  return removed;
}

}  // namespace

std::int64_t remove_unsure(cv::Mat& depth, const cv::Mat& confidence, double least_confidence) {
  return remove_unless(depth, [&](std::uint16_t, int row, int column) {
    return static_cast<double>(confidence.at<float>(row, column)) >= least_confidence;
  });
}

std::int64_t remove_outside(cv::Mat& depth, MetreRange range, DepthScale scale) {
  return remove_unless(depth, [&](std::uint16_t value, int, int) {
    const double metres = scale.metres(value);
    return metres >= range.nearest && metres <= range.farthest;
  });
}

}  // namespace enhance_depth_tool
