// Errors of depth against the truth, over any number of frames, for each kind of pixel.
#ifndef ENHANCE_DEPTH_TOOL_DEPTH_ERRORS_H
#define ENHANCE_DEPTH_TOOL_DEPTH_ERRORS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

// The kinds overlap: every pixel of known truth is visible or hidden, and may also be one of the others.
enum class PixelKind { kVisible, kHidden, kBlob, kBand, kFarSideBand, kNearEdge };
inline constexpr std::array<PixelKind, 6> kPixelKinds{PixelKind::kVisible,     PixelKind::kHidden,
                                                      PixelKind::kBlob,        PixelKind::kBand,
                                                      PixelKind::kFarSideBand, PixelKind::kNearEdge};
const char* name_of(PixelKind kind);

// One frame to evaluate; all images have the same size.
struct JudgedFrame {
  cv::Mat truth;      // CV_16UC1, 0 unknown
  cv::Mat input;      // CV_16UC1, the network's input
  cv::Mat hidden_as;  // CV_8UC1, HiddenAs; empty if nothing was hidden on purpose
  cv::Mat near_edge;  // CV_8UC1, 255 where the truth has an edge at most kEdgeRadius away
};

// 255 where a pixel of `frame` is of `kind`.
cv::Mat pixels_of_kind(const JudgedFrame& frame, PixelKind kind);

// Errors are those of pixels with a prediction; the fractions within a ratio are of all pixels, so that
// leaving a pixel empty never looks better than a good value. Ratios as in Eigen et al., NIPS 2014:
// max(prediction / truth, truth / prediction).
struct DepthErrors {
  std::int64_t pixels = 0;
  std::int64_t filled = 0;
  double absolute = 0.0;  // sums over the filled pixels, in depth units
  double relative = 0.0;  // of |prediction - truth| / truth
  double squared = 0.0;
  std::array<std::int64_t, 3> within{};  // ratio at most kRatios[i]

  void add(int truth, int prediction);
  DepthErrors& operator+=(const DepthErrors& other);

  // NaN without filled pixels (the fractions: without pixels).
  double mean_absolute() const;
  double mean_relative() const;
  double root_mean_square() const;
  double fraction_filled() const;
  double fraction_within(std::size_t i) const;
};
inline constexpr std::array<double, 3> kRatios{1.05, 1.10, 1.25};

// The errors of `prediction` (CV_16UC1) at the pixels of each kind, added to `errors`, in the order of
// kPixelKinds.
using ErrorsByKind = std::array<DepthErrors, kPixelKinds.size()>;
void add_errors(const JudgedFrame& frame, const cv::Mat& prediction, ErrorsByKind& errors);

// Pixels near an edge, and those of them that fly: predicted strictly between both sides, more than a fifth
// of the step away from each, where the truth is not.
struct FlyingPixels {
  std::int64_t pixels = 0;
  std::int64_t flying = 0;
  double fraction() const;  // NaN without pixels
};
void add_flying_pixels(const JudgedFrame& frame, const cv::Mat& prediction, FlyingPixels& count);

// The change of measured depth: the sum of |prediction - input| over the visible pixels that kept a value.
struct VisibleChange {
  std::int64_t pixels = 0;
  double absolute = 0.0;
  double mean() const;  // depth units; NaN without pixels
};
void add_visible_change(const JudgedFrame& frame, const cv::Mat& prediction, VisibleChange& change);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_DEPTH_ERRORS_H
