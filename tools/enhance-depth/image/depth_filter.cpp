#include "image/depth_filter.h"

#include <sstream>

#include "support/text.h"

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

}  // namespace

RemovedPixels remove_pixels(cv::Mat& depth, const cv::Mat& confidence, const DepthFilter& filter,
                            DepthScale scale) {
  RemovedPixels removed;
  if (filter.least_confidence) {
    removed.unsure = remove_unsure(depth, confidence, *filter.least_confidence);
  }
  if (filter.clip) {
    removed.outside = remove_outside(depth, *filter.clip, scale);
  }
  return removed;
}

std::string removal_text(const DepthFilter& filter, const RemovedPixels& removed) {
  std::ostringstream text;
  if (filter.least_confidence) {
    text << "  unsure          " << count(removed.unsure, "pixel") << " below confidence "
         << *filter.least_confidence << " set to 0\n";
  }
  if (filter.clip) {
    text << "  clipped         " << count(removed.outside, "pixel") << " outside of " << filter.clip->nearest
         << " to " << filter.clip->farthest << " m set to 0\n";
  }
  return text.str();
}

}  // namespace enhance_depth_tool
