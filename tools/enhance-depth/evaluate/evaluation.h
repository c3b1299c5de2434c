// The quality of one engine's results, accumulated over frames.
#ifndef ENHANCE_DEPTH_TOOL_EVALUATION_H
#define ENHANCE_DEPTH_TOOL_EVALUATION_H

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>

#include "evaluate/confidence_quality.h"
#include "evaluate/depth_errors.h"
#include "image/depth_scale.h"

namespace enhance_depth_tool {

class Evaluation {
 public:
  explicit Evaluation(std::string engine) : engine_(std::move(engine)) {}

  // `prediction` is CV_16UC1; `confidence` is CV_32FC1, or empty if the engine has none. Returns the frame's
  // mean relative error, by which frames are ranked: at its hidden pixels, or at the visible ones if none is
  // hidden, or 0 if no truth is known.
  double add(const JudgedFrame& frame, const cv::Mat& prediction, const cv::Mat& confidence,
             double library_ms);

  const std::string& engine() const { return engine_; }
  const DepthErrors& errors(PixelKind kind) const { return errors_[static_cast<std::size_t>(kind)]; }
  const FlyingPixels& flying() const { return flying_; }
  const VisibleChange& change() const { return change_; }
  bool has_confidence() const { return has_confidence_; }
  const Sparsification& hidden_sparsification() const { return hidden_sparsification_; }
  const Sparsification& sparsification() const { return sparsification_; }  // of all pixels of known truth
  const Calibration& calibration() const { return calibration_; }
  double median_ms() const;  // of a library call; NaN without frames

 private:
  void add_confidence(const JudgedFrame& frame, const cv::Mat& prediction, const cv::Mat& confidence);

  std::string engine_;
  ErrorsByKind errors_{};
  FlyingPixels flying_;
  VisibleChange change_;
  bool has_confidence_ = false;
  Sparsification hidden_sparsification_;
  Sparsification sparsification_;
  Calibration calibration_;
  std::vector<double> library_ms_;
};

// One figure of an evaluation: a name that is the same in every table, and its value in millimetres, percent
// or without a unit.
struct Figure {
  std::string kind;     // of pixel, or "all"
  std::string measure;  // "mean absolute error [mm]", ...
  double value;         // NaN where there is nothing to measure
};
std::vector<Figure> figures(const Evaluation& evaluation, DepthScale scale);

// The figures, both curves and the calibration's bins.
nlohmann::ordered_json to_json(const Evaluation& evaluation, DepthScale scale);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_EVALUATION_H
