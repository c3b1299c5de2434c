#include "evaluate/evaluation.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

#include <nlohmann/json.hpp>

#include "support/percentiles.h"

namespace enhance_depth_tool {
namespace {

// JSON has no NaN.
nlohmann::ordered_json number(double value) {
  return std::isfinite(value) ? nlohmann::ordered_json(value) : nlohmann::ordered_json();
}

nlohmann::ordered_json curves(const Sparsification& sparsification) {
  if (sparsification.empty()) {
    return nullptr;
  }
  nlohmann::ordered_json json = {{"by_confidence", nlohmann::ordered_json::array()},
                                 {"by_error", nlohmann::ordered_json::array()}};
  for (std::size_t i = 0; i < Sparsification::kSteps; ++i) {
    json["by_confidence"].push_back(sparsification.by_confidence(i));
    json["by_error"].push_back(sparsification.by_error(i));
  }
  return json;
}

nlohmann::ordered_json bins(const Calibration& calibration) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (std::size_t bin = 0; bin < Calibration::kBins; ++bin) {
    json.push_back({{"pixels", calibration.pixels(bin)},
                    {"mean_confidence", number(calibration.mean_confidence(bin))},
                    {"fraction_right", number(calibration.fraction_right(bin))}});
  }
  return json;
}

}  // namespace

double Evaluation::add(const JudgedFrame& frame, const cv::Mat& prediction, const cv::Mat& confidence,
                       double library_ms) {
  ErrorsByKind frame_errors{};
  add_errors(frame, prediction, frame_errors);
  for (std::size_t i = 0; i < errors_.size(); ++i) {
    errors_[i] += frame_errors[i];
  }
  add_flying_pixels(frame, prediction, flying_);
  add_visible_change(frame, prediction, change_);
  if (!confidence.empty()) {
    add_confidence(frame, prediction, confidence);
  }
  library_ms_.push_back(library_ms);
  const DepthErrors& hidden = frame_errors[static_cast<std::size_t>(PixelKind::kHidden)];
  const DepthErrors& visible = frame_errors[static_cast<std::size_t>(PixelKind::kVisible)];
  const double error = hidden.filled > 0 ? hidden.mean_relative() : visible.mean_relative();
  return std::isnan(error) ? 0.0 : error;
}

void Evaluation::add_confidence(const JudgedFrame& frame, const cv::Mat& prediction,
                                const cv::Mat& confidence) {
  has_confidence_ = true;
  std::vector<JudgedPixel> all;
  std::vector<JudgedPixel> hidden;
  for (int y = 0; y < prediction.rows; ++y) {
    for (int x = 0; x < prediction.cols; ++x) {
      const int truth = frame.truth.at<std::uint16_t>(y, x);
      const int predicted = prediction.at<std::uint16_t>(y, x);
      if (truth == 0 || predicted == 0) {
        continue;
      }
      DepthErrors error;
      error.add(truth, predicted);
      const JudgedPixel pixel{confidence.at<float>(y, x), static_cast<float>(error.relative)};
      calibration_.add(pixel.confidence, error.within[0] != 0);
      all.push_back(pixel);
      if (frame.input.at<std::uint16_t>(y, x) == 0) {
        hidden.push_back(pixel);
      }
    }
  }
  sparsification_.add(std::move(all));
  hidden_sparsification_.add(std::move(hidden));
}

double Evaluation::median_ms() const {
  return library_ms_.empty() ? std::numeric_limits<double>::quiet_NaN() : percentiles(library_ms_).median;
}

std::vector<Figure> figures(const Evaluation& evaluation, DepthScale scale) {
  const auto millimetres = [&](double depth) { return 1000.0 * scale.metres(depth); };
  std::vector<Figure> all;
  for (const PixelKind kind : kPixelKinds) {
    const DepthErrors& errors = evaluation.errors(kind);
    if (errors.pixels == 0) {
      continue;
    }
    const std::string name = name_of(kind);
    all.push_back({name, "mean absolute error [mm]", millimetres(errors.mean_absolute())});
    all.push_back({name, "relative error [%]", 100.0 * errors.mean_relative()});
    all.push_back({name, "root mean square error [mm]", millimetres(errors.root_mean_square())});
    all.push_back({name, "within 1.05 [%]", 100.0 * errors.fraction_within(0)});
    all.push_back({name, "within 1.10 [%]", 100.0 * errors.fraction_within(1)});
    all.push_back({name, "within 1.25 [%]", 100.0 * errors.fraction_within(2)});
    all.push_back({name, "filled [%]", 100.0 * errors.fraction_filled()});
    if (kind == PixelKind::kVisible) {
      all.push_back({name, "change [mm]", millimetres(evaluation.change().mean())});
    }
    if (kind == PixelKind::kHidden && evaluation.has_confidence()) {
      all.push_back({name, "AUSE", evaluation.hidden_sparsification().ause()});
    }
    if (kind == PixelKind::kNearEdge) {
      all.push_back({name, "flying pixels [%]", 100.0 * evaluation.flying().fraction()});
    }
  }
  if (evaluation.has_confidence()) {
    all.push_back({"all", "AUSE", evaluation.sparsification().ause()});
    all.push_back({"all", "expected calibration error", evaluation.calibration().expected_error()});
  }
  all.push_back({"all", "time per frame [ms]", evaluation.median_ms()});
  return all;
}

nlohmann::ordered_json to_json(const Evaluation& evaluation, DepthScale scale) {
  nlohmann::ordered_json json = {{"engine", evaluation.engine()}};
  for (const Figure& figure : figures(evaluation, scale)) {
    json["figures"][figure.kind][figure.measure] = number(figure.value);
  }
  for (const PixelKind kind : kPixelKinds) {
    json["pixels"][name_of(kind)] = evaluation.errors(kind).pixels;
  }
  json["sparsification"] = {{"hidden", curves(evaluation.hidden_sparsification())},
                            {"all", curves(evaluation.sparsification())}};
  json["calibration"] = evaluation.has_confidence() ? bins(evaluation.calibration()) : nullptr;
  return json;
}

}  // namespace enhance_depth_tool
