#include "evaluate/confidence_quality.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace enhance_depth_tool {
namespace {

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

// Adds to `sums` the mean errors of the first pixels, from all of them down to the first twentieth.
void add_curve(const std::vector<JudgedPixel>& sorted, std::array<double, Sparsification::kSteps>& sums) {
  std::vector<double> up_to(sorted.size() + 1, 0.0);
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    up_to[i + 1] = up_to[i] + static_cast<double>(sorted[i].error);
  }
  for (std::size_t step = 0; step < sums.size(); ++step) {
    const std::size_t taken_away = sorted.size() * step / sums.size();
    const std::size_t left = sorted.size() - taken_away;
    sums[step] += up_to[left] / static_cast<double>(left);
  }
}

}  // namespace

void Sparsification::add(std::vector<JudgedPixel> pixels) {
  if (pixels.empty()) {
    return;
  }
  ++frames_;
  for (JudgedPixel& pixel : pixels) {
    if (std::isnan(pixel.confidence)) {
      pixel.confidence = -std::numeric_limits<float>::infinity();
    }
  }
  std::stable_sort(pixels.begin(), pixels.end(),
                   [](const JudgedPixel& a, const JudgedPixel& b) { return a.confidence > b.confidence; });
  add_curve(pixels, by_confidence_);
  std::sort(pixels.begin(), pixels.end(),
            [](const JudgedPixel& a, const JudgedPixel& b) { return a.error < b.error; });
  add_curve(pixels, by_error_);
}

double Sparsification::ause() const {
  if (empty()) {
    return kNothing;
  }
  if (by_confidence_[0] == 0.0) {
    return 0.0;
  }
  const double area = std::accumulate(by_confidence_.begin(), by_confidence_.end(), 0.0) -
                      std::accumulate(by_error_.begin(), by_error_.end(), 0.0);
  return area / static_cast<double>(kSteps) / by_confidence_[0];
}

void Calibration::add(float confidence, bool right) {
  const double bounded = std::isnan(confidence) ? 0.0 : std::clamp(static_cast<double>(confidence), 0.0, 1.0);
  Bin& bin = bins_[std::min(kBins - 1, static_cast<std::size_t>(bounded * kBins))];
  ++bin.pixels;
  bin.right += right ? 1 : 0;
  bin.confidence += bounded;
}

double Calibration::mean_confidence(std::size_t bin) const {
  return bins_[bin].pixels == 0 ? kNothing : bins_[bin].confidence / static_cast<double>(bins_[bin].pixels);
}

double Calibration::fraction_right(std::size_t bin) const {
  return bins_[bin].pixels == 0
             ? kNothing
             : static_cast<double>(bins_[bin].right) / static_cast<double>(bins_[bin].pixels);
}

double Calibration::expected_error() const {
  double sum = 0.0;
  std::int64_t total = 0;
  for (const Bin& bin : bins_) {
    sum += std::abs(bin.confidence - static_cast<double>(bin.right));
    total += bin.pixels;
  }
  return total == 0 ? kNothing : sum / static_cast<double>(total);
}

}  // namespace enhance_depth_tool
