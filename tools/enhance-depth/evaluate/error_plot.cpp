#include "evaluate/error_plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include <fmt/format.h>
#include <opencv2/imgproc.hpp>

namespace enhance_depth_tool {
namespace {

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
const cv::Scalar kInk(60, 60, 60);
const cv::Scalar kGrid(225, 225, 225);
// The colours of Okabe and Ito (2008), which people with any colour vision can tell apart; as BGR.
const std::array<cv::Scalar, 6> kColors{
    {{178, 114, 0}, {0, 94, 213}, {115, 158, 0}, {167, 121, 204}, {0, 159, 230}, {233, 180, 86}}};

constexpr int kPanelWidth = 640;
constexpr int kPanelHeight = 520;
constexpr int kLegendLine = 26;

using Curve = const Sparsification& (Evaluation::*)() const;

// The smallest of 1, 2, 5 times a power of ten that is at least `value`.
double round_step(double value) {
  const double power = std::pow(10.0, std::floor(std::log10(value)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= value) {
      return factor * power;
    }
  }
  return 10.0 * power;
}

void write(cv::Mat& canvas, const std::string& text, cv::Point at, double size = 0.5) {
  cv::putText(canvas, text, at, kFont, size, kInk, 1, cv::LINE_AA);
}

class Axes {
 public:
  Axes(cv::Mat canvas, double highest)
      : canvas_(std::move(canvas)), step_(round_step(std::max(highest, 1e-6) / 5.0)) {
    top_ = step_ * std::ceil(std::max(highest, 1e-6) / step_);
  }

  void draw(const std::string& title) {
    write(canvas_, title, {kArea.x, 34}, 0.62);
    const int steps = static_cast<int>(std::lround(top_ / step_));
    for (int i = 0; i <= steps; ++i) {
      const double error = i * step_;
      const cv::Point left = place(0.0, error);
      cv::line(canvas_, left, place(1.0, error), kGrid);
      write(canvas_, fmt::format("{:g} %", error * 100.0), left - cv::Point(64, -5));
    }
    for (int kept = 0; kept <= 100; kept += 20) {
      const cv::Point below = place(kept / 100.0, 0.0);
      cv::line(canvas_, below, place(kept / 100.0, top_), kGrid);
      write(canvas_, fmt::format("{} %", kept), below + cv::Point(-16, 22));
    }
    write(canvas_, "pixels kept, most confident first", {kArea.x + kArea.width / 2 - 130, kPanelHeight - 12});
  }

  template <typename ErrorAt>
  void draw_curve(const ErrorAt& error_at, const cv::Scalar& color, int thickness) {
    std::vector<cv::Point> points;
    for (std::size_t i = 0; i < Sparsification::kSteps; ++i) {
      points.push_back(place(1.0 - static_cast<double>(i) / Sparsification::kSteps, error_at(i)));
    }
    cv::polylines(canvas_, points, false, color, thickness, cv::LINE_AA);
  }

 private:
  inline static const cv::Rect kArea{80, 56, kPanelWidth - 130, kPanelHeight - 120};

  cv::Point place(double kept, double error) const {
    return {kArea.x + static_cast<int>(std::lround(kept * kArea.width)),
            kArea.y + kArea.height - static_cast<int>(std::lround(error / top_ * kArea.height))};
  }

  cv::Mat canvas_;
  double step_;
  double top_;
};

void draw_panel(const cv::Mat& canvas, const std::string& title, const std::vector<Evaluation>& evaluations,
                Curve curve) {
  double highest = 0.0;
  for (const Evaluation& evaluation : evaluations) {
    const Sparsification& sparsification = (evaluation.*curve)();
    for (std::size_t i = 0; i < Sparsification::kSteps && !sparsification.empty(); ++i) {
      highest = std::max(highest, sparsification.by_confidence(i));
    }
  }
  Axes axes(canvas, highest);
  axes.draw(title);
  for (std::size_t engine = 0; engine < evaluations.size(); ++engine) {
    const Sparsification& sparsification = (evaluations[engine].*curve)();
    if (sparsification.empty()) {
      continue;
    }
    const cv::Scalar& color = kColors[engine % kColors.size()];
    axes.draw_curve([&](std::size_t i) { return sparsification.by_error(i); }, color, 1);
    axes.draw_curve([&](std::size_t i) { return sparsification.by_confidence(i); }, color, 3);
  }
}

}  // namespace

cv::Mat render_error_plot(const std::vector<Evaluation>& evaluations) {
  const int legend = kLegendLine * static_cast<int>(evaluations.size()) + 16;
  cv::Mat canvas(kPanelHeight + legend, 2 * kPanelWidth, CV_8UC3, cv::Scalar::all(255));
  draw_panel(canvas(cv::Rect(0, 0, kPanelWidth, kPanelHeight)), "Relative error, hidden pixels", evaluations,
             &Evaluation::hidden_sparsification);
  draw_panel(canvas(cv::Rect(kPanelWidth, 0, kPanelWidth, kPanelHeight)), "Relative error, all pixels",
             evaluations, &Evaluation::sparsification);
  for (std::size_t engine = 0; engine < evaluations.size(); ++engine) {
    const int y = kPanelHeight + kLegendLine * static_cast<int>(engine) + 14;
    cv::line(canvas, {80, y - 5}, {120, y - 5}, kColors[engine % kColors.size()], 3, cv::LINE_AA);
    const Evaluation& evaluation = evaluations[engine];
    const std::string remark =
        evaluation.has_confidence()
            ? fmt::format("AUSE {:.3f} hidden, {:.3f} all; thin: best possible order",
                          evaluation.hidden_sparsification().ause(), evaluation.sparsification().ause())
            : "no confidence";
    write(canvas, evaluation.engine() + ": " + remark, {132, y});
  }
  return canvas;
}

}  // namespace enhance_depth_tool
