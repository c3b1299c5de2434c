// Whether a confidence map knows where the depth is wrong.
#ifndef ENHANCE_DEPTH_TOOL_CONFIDENCE_QUALITY_H
#define ENHANCE_DEPTH_TOOL_CONFIDENCE_QUALITY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace enhance_depth_tool {

struct JudgedPixel {
  float confidence;
  float error;  // relative: |prediction - truth| / truth
};

// Sparsification: the mean error of the pixels that remain after the least confident ones are removed,
// compared with an oracle that removes the worst. The area between both curves, AUSE, is 0 for a perfect
// order (Ilg et al., ECCV 2018).
class Sparsification {
 public:
  static constexpr std::size_t kSteps = 20;  // 0, 5, ..., 95 % removed

  // One frame's pixels; all frames have the same weight. Pixels of equal confidence keep their order; NaN
  // counts as the lowest.
  void add(std::vector<JudgedPixel> pixels);

  bool empty() const { return frames_ == 0; }

  // Mean relative error with i / kSteps of the pixels removed.
  double by_confidence(std::size_t i) const { return by_confidence_[i] / static_cast<double>(frames_); }
  double by_error(std::size_t i) const { return by_error_[i] / static_cast<double>(frames_); }

  // The mean over all steps of by_confidence - by_error, divided by the error of all pixels; 0 if that is 0.
  // NaN without pixels.
  double ause() const;

 private:
  std::int64_t frames_ = 0;
  std::array<double, kSteps> by_confidence_{};
  std::array<double, kSteps> by_error_{};
};

// Calibration: whether a confidence of 0.8 means that 80 % of such pixels are right, that is within 5 % of
// the truth. The expected calibration error (Guo et al., ICML 2017) over ten bins of equal width.
class Calibration {
 public:
  static constexpr std::size_t kBins = 10;

  // Confidence outside 0..1 is clamped, NaN counts as 0.
  void add(float confidence, bool right);

  std::int64_t pixels(std::size_t bin) const { return bins_[bin].pixels; }
  double mean_confidence(std::size_t bin) const;  // NaN without pixels
  double fraction_right(std::size_t bin) const;
  double expected_error() const;

 private:
  struct Bin {
    std::int64_t pixels = 0;
    std::int64_t right = 0;
    double confidence = 0.0;
  };
  std::array<Bin, kBins> bins_{};
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_CONFIDENCE_QUALITY_H
