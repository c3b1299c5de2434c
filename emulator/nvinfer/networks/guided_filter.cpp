#include "guided_filter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "sliding_window.h"

namespace emulated_board::nvinfer {
namespace {

// Keeps the result defined for a pixel whose windows all fit badly.
constexpr double kLeastFit = 1e-4;

double square(double value) { return value * value; }

bool is_valid(float depth) { return depth > 0.0F; }  // NaN is not

// The luminance of each pixel (ITU-R BT.601), from -0.5 for black to 0.5 for white.
Plane luminance(const std::uint8_t* rgb, ColorLayout layout, std::size_t size) {
  const bool planar = layout == ColorLayout::kPlanar;
  const std::size_t pixel = planar ? 1 : 3;
  const std::size_t channel = planar ? size : 1;
  Plane result(size);
  for (std::size_t i = 0; i < size; ++i) {
    const std::uint8_t* red = rgb + i * pixel;
    result[i] = (0.299 * red[0] + 0.587 * red[channel] + 0.114 * red[2 * channel]) / 255.0 - 0.5;
  }
  return result;
}

// The fit of the window around each pixel.
struct WindowFits {
  Plane valid;       // the fraction of valid pixels: n / A
  Plane fillable;    // 1 or 0
  Plane mean_depth;  // 0 without a valid pixel
  Plane slope;       // a
  Plane offset;      // b
  Plane fit;         // f
};

WindowFits fit_windows(const GuidedFilterParameters& parameters, const Plane& guide, const float* depth,
                       SlidingWindow& window) {
  const std::size_t size = window.size();
  Plane count(size), i(size), d(size), ii(size), id(size), dd(size);
  for (std::size_t p = 0; p < size; ++p) {
    if (!is_valid(depth[p])) {
      continue;
    }
    count[p] = 1.0;
    i[p] = guide[p];
    d[p] = static_cast<double>(depth[p]);
    ii[p] = i[p] * i[p];
    id[p] = i[p] * d[p];
    dd[p] = d[p] * d[p];
  }
  for (Plane* plane : {&count, &i, &d, &ii, &id, &dd}) {
    window.sum(*plane, *plane);
  }

  WindowFits fits{Plane(size), Plane(size), Plane(size), Plane(size), Plane(size), Plane(size)};
  Plane area(size);
  window.area(area);
  for (std::size_t p = 0; p < size; ++p) {
    const double n = count[p];
    fits.fillable[p] = n > 0.0 && 100.0 * n >= parameters.fill_percent * area[p] ? 1.0 : 0.0;
    fits.valid[p] = n / area[p];
    if (n == 0.0) {
      continue;
    }
    const double mean_i = i[p] / n;
    const double mean_d = d[p] / n;
    const double var_i = std::max(ii[p] / n - mean_i * mean_i, 0.0);
    const double var_d = std::max(dd[p] / n - mean_d * mean_d, 0.0);
    const double cov = id[p] / n - mean_i * mean_d;
    const double a = cov / (var_i + parameters.epsilon);
    const double residual = std::max(var_d - 2.0 * a * cov + a * a * var_i, 0.0);
    fits.mean_depth[p] = mean_d;
    fits.slope[p] = a;
    fits.offset[p] = mean_d - a * mean_i;
    fits.fit[p] = 1.0 / (1.0 + residual / (square(parameters.fit_tolerance * fits.mean_depth[p]) + 1.0));
  }
  return fits;
}

// The weight of each window for valid pixels.
Plane fit_weights(const WindowFits& fits) {
  Plane weight(fits.fit.size());
  for (std::size_t p = 0; p < weight.size(); ++p) {
    weight[p] = fits.valid[p] * (square(square(fits.fit[p])) + kLeastFit);
  }
  return weight;
}

// The weight of each window for holes: `weight`, reduced where there is a farther surface nearby.
Plane far_weights(const GuidedFilterParameters& parameters, const WindowFits& fits, Plane weight, int height,
                  int width) {
  Plane farthest(weight.size());
  for (std::size_t p = 0; p < weight.size(); ++p) {
    farthest[p] = fits.fillable[p] * fits.mean_depth[p];
  }
  SlidingWindow(height, width, 2 * std::int64_t{parameters.radius}).maximum(farthest, farthest);
  for (std::size_t p = 0; p < weight.size(); ++p) {
    const double nearer = std::max(farthest[p] - fits.mean_depth[p], 0.0);
    // The 1 only avoids 0 / 0 where no window is fillable.
    const double x = nearer / (parameters.surface_tolerance * std::max(farthest[p], 1.0));
    weight[p] /= 1.0 + square(square(x));
  }
  return weight;
}

// Weighted means over the windows that contain a pixel; 0 where none of them has a valid pixel.
class WeightedMean {
 public:
  WeightedMean(const Plane& weight, SlidingWindow& window) : weight_(weight), window_(window) {
    window_.sum(weight_, total_weight_);
  }

  Plane of(const Plane& values) {
    Plane result(values.size());
    for (std::size_t p = 0; p < result.size(); ++p) {
      result[p] = weight_[p] * values[p];
    }
    window_.sum(result, result);
    for (std::size_t p = 0; p < result.size(); ++p) {
      if (total_weight_[p] > 0.0) {
        result[p] /= total_weight_[p];
      }
    }
    return result;
  }

  // The mean, at each pixel, of the values of the windows' lines.
  Plane of_lines(const WindowFits& fits, const Plane& guide) {
    Plane result = of(fits.slope);
    const Plane offset = of(fits.offset);
    for (std::size_t p = 0; p < result.size(); ++p) {
      result[p] = result[p] * guide[p] + offset[p];
    }
    return result;
  }

 private:
  const Plane& weight_;
  SlidingWindow& window_;
  Plane total_weight_;
};

}  // namespace

void guided_filter(const GuidedFilterParameters& parameters, const std::uint8_t* rgb, ColorLayout layout,
                   const float* depth, int height, int width, float* refined, float* confidence) {
  SlidingWindow window(height, width, parameters.radius);
  const std::size_t size = window.size();
  const Plane guide = luminance(rgb, layout, size);
  const WindowFits fits = fit_windows(parameters, guide, depth, window);
  const Plane weight = fit_weights(fits);
  WeightedMean mean(weight, window);
  const Plane filtered = mean.of_lines(fits, guide);
  const Plane weight_in_holes = far_weights(parameters, fits, weight, height, width);
  const Plane filled = WeightedMean(weight_in_holes, window).of_lines(fits, guide);
  const Plane mean_fit = confidence != nullptr ? mean.of(fits.fit) : Plane();

  for (std::size_t p = 0; p < size; ++p) {
    double result = 0.0;
    double trust = fits.fillable[p];
    if (is_valid(depth[p])) {
      const double measured = static_cast<double>(depth[p]);
      const double change = filtered[p] - measured;
      trust = 1.0 / (1.0 + square(change) / (square(parameters.move_tolerance * measured) + 1.0));
      result = measured + trust * change + 0.5;
    } else if (fits.fillable[p] > 0.0) {
      result = filled[p] + 0.5;
    }
    refined[p] = static_cast<float>(result);
    if (confidence != nullptr) {
      confidence[p] = static_cast<float>(trust * fits.valid[p] * mean_fit[p]);
    }
  }
}

}  // namespace emulated_board::nvinfer
