// Colours for numbers, and the legend that explains them.
#ifndef ENHANCE_DEPTH_TOOL_COLOR_SCALE_H
#define ENHANCE_DEPTH_TOOL_COLOR_SCALE_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

// The values at the two ends of a scale; values beyond get the colour of the end.
struct ValueRange {
  double low = 0.0;
  double high = 1.0;
};

// From the 1st to the 99th percentile of the valid pixels of all `depths` together, so that a few outliers do
// not cost everything else its contrast. Never empty: high > low.
ValueRange depth_range(const std::vector<cv::Mat>& depths);

// 0..1 if all finite values of `confidence` are in that range, otherwise from the smallest to the largest.
ValueRange confidence_range(const cv::Mat& confidence);

// Where `depth` lies on the scale: 0 at range.low, 1 at range.high, and linear in 1 / depth between, as a
// depth camera measures. Near objects then keep their contrast in front of a far background, and the camera's
// noise looks the same at all distances. Needs range.low > 0 and depth > 0.
double depth_position(double depth, ValueRange range);

// The colour of pixels without depth, which does not occur in the scale.
extern const cv::Vec3b kNoDepthColor;

// `depth` (CV_16UC1) as a BGR picture: blue is near, red is far, kNoDepthColor where there is none.
cv::Mat colorize_depth(const cv::Mat& depth, ValueRange range);

// `confidence` (CV_32FC1) as a BGR picture: dark is low, bright is high; NaN is dark.
cv::Mat colorize_confidence(const cv::Mat& confidence, ValueRange range);

// A horizontal bar of the colours of colorize_depth() or colorize_confidence().
cv::Mat depth_color_bar(cv::Size size);
cv::Mat confidence_color_bar(cv::Size size);

// The round values to label a bar of `range` in metres that is `length` pixels long: as many as fit if each
// needs `spacing` pixels. Sorted; at least one.
struct Tick {
  double metres;
  double position;  // see depth_position()
  std::string text;
};
std::vector<Tick> depth_ticks(ValueRange metres, int length, int spacing);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_COLOR_SCALE_H
