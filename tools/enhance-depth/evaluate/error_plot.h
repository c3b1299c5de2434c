#ifndef ENHANCE_DEPTH_TOOL_ERROR_PLOT_H
#define ENHANCE_DEPTH_TOOL_ERROR_PLOT_H

#include <vector>

#include <opencv2/core.hpp>

#include "evaluate/evaluation.h"

namespace enhance_depth_tool {

// A BGR picture: relative error over the fraction of pixels kept, a thick line per engine with confidence and
// a thin one for its oracle; hidden pixels on the left, all pixels on the right.
cv::Mat render_error_plot(const std::vector<Evaluation>& evaluations);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_ERROR_PLOT_H
