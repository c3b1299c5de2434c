#ifndef ENHANCE_DEPTH_TOOL_ERROR_PLOT_H
#define ENHANCE_DEPTH_TOOL_ERROR_PLOT_H

#include <vector>

#include <opencv2/core.hpp>

#include "evaluate/evaluation.h"

namespace enhance_depth_tool {

// A BGR picture: relative error over the share of pixels kept, one line per engine with confidence, its
// oracle's thin beside it; hidden pixels at the left, all pixels at the right.
cv::Mat render_error_plot(const std::vector<Evaluation>& evaluations);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_ERROR_PLOT_H
