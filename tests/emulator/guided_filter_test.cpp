// The reference network compared with a direct evaluation of its formulas, and with what they imply.
#include "nvinfer/networks/guided_filter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace emulated_board::nvinfer {
namespace {

struct Image {
  int height;
  int width;
  std::vector<std::uint8_t> rgb;  // interleaved
  std::vector<float> depth;

  std::size_t index(int y, int x) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
  }
  float& at(int y, int x) { return depth[index(y, x)]; }
};

struct Result {
  std::vector<float> refined;
  std::vector<float> confidence;
};

Image make_image(int height, int width, const std::function<double(int, int)>& depth, unsigned seed = 1) {
  const std::size_t size = static_cast<std::size_t>(height) * static_cast<std::size_t>(width);
  Image image{height, width, std::vector<std::uint8_t>(3 * size), std::vector<float>(size)};
  std::mt19937 random(seed);
  for (std::uint8_t& value : image.rgb) {
    value = static_cast<std::uint8_t>(random());
  }
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      image.at(y, x) = static_cast<float>(depth(y, x));
    }
  }
  return image;
}

Result refine(const Image& image, const GuidedFilterParameters& parameters = {}) {
  Result result{std::vector<float>(image.depth.size(), -1.0F), std::vector<float>(image.depth.size(), -1.0F)};
  guided_filter(parameters, image.rgb.data(), ColorLayout::kInterleaved, image.depth.data(), image.height,
                image.width, result.refined.data(), result.confidence.data());
  return result;
}

int truncated(float value) { return static_cast<int>(std::min(std::max(value, 0.0F), 65535.0F)); }

// The formulas, window by window and in two passes: O(pixels * radius^2), with no sum shared between windows.
class DirectFilter {
 public:
  DirectFilter(const Image& image, const GuidedFilterParameters& parameters)
      : image_(image), parameters_(parameters) {
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        windows_.push_back(fit_window(y, x));
      }
    }
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        double farthest = 0.0;
        around(y, x, 2 * parameters.radius, [&](std::size_t j) {
          if (windows_[j].fillable) {
            farthest = std::max(farthest, windows_[j].mean);
          }
        });
        Window& k = windows_[image.index(y, x)];
        k.far_weight = k.weight;
        if (farthest > k.mean) {
          k.far_weight /= 1.0 + std::pow((farthest - k.mean) / (parameters.surface_tolerance * farthest), 4);
        }
      }
    }
  }

  void expect_equal(const Result& actual) const {
    for (int y = 0; y < image_.height; ++y) {
      for (int x = 0; x < image_.width; ++x) {
        const std::size_t i = image_.index(y, x);
        double refined = 0.0;
        double confidence = 0.0;
        evaluate(y, x, refined, confidence);
        ASSERT_NEAR(actual.refined[i], refined, 0.01) << "row " << y << ", column " << x;
        ASSERT_NEAR(actual.confidence[i], confidence, 1e-6) << "row " << y << ", column " << x;
      }
    }
  }

 private:
  struct Window {
    double share = 0, mean = 0, a = 0, b = 0, fit = 0, weight = 0, far_weight = 0;
    bool fillable = false;
  };

  double guide(std::size_t i) const {
    const std::uint8_t* rgb = &image_.rgb[3 * i];
    return (0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2]) / 255.0;
  }

  template <typename Visitor>
  void around(int y, int x, int radius, Visitor visit) const {
    for (int v = std::max(y - radius, 0); v <= std::min(y + radius, image_.height - 1); ++v) {
      for (int u = std::max(x - radius, 0); u <= std::min(x + radius, image_.width - 1); ++u) {
        visit(image_.index(v, u));
      }
    }
  }

  Window fit_window(int y, int x) const {
    std::vector<double> guides, depths;
    int area = 0;
    around(y, x, parameters_.radius, [&](std::size_t j) {
      ++area;
      if (!(image_.depth[j] > 0)) {
        return;
      }
      guides.push_back(guide(j));
      depths.push_back(static_cast<double>(image_.depth[j]));
    });
    Window k;
    const auto n = static_cast<double>(guides.size());
    k.share = n / area;
    if (guides.empty()) {
      return k;
    }
    double mean_guide = 0;
    for (std::size_t j = 0; j < guides.size(); ++j) {
      mean_guide += guides[j] / n;
      k.mean += depths[j] / n;
    }
    double variance = 0, covariance = 0, residual = 0;
    for (std::size_t j = 0; j < guides.size(); ++j) {
      variance += std::pow(guides[j] - mean_guide, 2) / n;
      covariance += (guides[j] - mean_guide) * (depths[j] - k.mean) / n;
    }
    k.a = covariance / (variance + parameters_.epsilon);
    k.b = k.mean - k.a * mean_guide;
    for (std::size_t j = 0; j < guides.size(); ++j) {
      residual += std::pow(depths[j] - (k.a * guides[j] + k.b), 2) / n;
    }
    k.fit = 1 / (1 + residual / (std::pow(parameters_.fit_tolerance * k.mean, 2) + 1));
    k.weight = k.share * (std::pow(k.fit, 4) + 1e-4);
    k.fillable = static_cast<int>(n) * 100 >= parameters_.fill_percent * area;
    return k;
  }

  void evaluate(int y, int x, double& refined, double& confidence) const {
    const std::size_t i = image_.index(y, x);
    double weights = 0, value = 0, far_weights = 0, far_value = 0, fit = 0;
    around(y, x, parameters_.radius, [&](std::size_t k) {
      const Window& window = windows_[k];
      const double line = window.a * guide(i) + window.b;
      weights += window.weight;
      value += window.weight * line;
      fit += window.weight * window.fit;
      far_weights += window.far_weight;
      far_value += window.far_weight * line;
    });
    const double depth = static_cast<double>(image_.depth[i]);
    if (depth > 0) {
      const double change = value / weights - depth;
      const double moved = 1 / (1 + change * change / (std::pow(parameters_.move_tolerance * depth, 2) + 1));
      refined = depth + moved * change + 0.5;
      confidence = windows_[i].share * fit / weights * moved;
    } else if (windows_[i].fillable) {
      refined = far_value / far_weights + 0.5;
      confidence = windows_[i].share * fit / weights;
    }
  }

  const Image& image_;
  const GuidedFilterParameters parameters_;
  std::vector<Window> windows_;
};

GuidedFilterParameters with_radius(int radius, int fill_percent = 10) {
  GuidedFilterParameters parameters;
  parameters.radius = radius;
  parameters.fill_percent = fill_percent;
  return parameters;
}

// Reproducible noise in 0..1 that depends on the pixel only.
double noise(int y, int x) {
  std::uint32_t h = static_cast<std::uint32_t>(y) * 73856093U ^ static_cast<std::uint32_t>(x) * 19349663U;
  h = (h ^ (h >> 13)) * 1274126177U;
  return static_cast<double>(h >> 8) / static_cast<double>(1U << 24);
}

double full_range(int y, int x) { return std::floor(noise(y, x) * 65536.0); }
double half_holes(int y, int x) { return noise(x, y) < 0.5 ? 0.0 : full_range(y, x); }
double noisy_step(int y, int x) {
  if (x >= 16 && x < 20) {
    return 0.0;
  }
  return std::round((x < 18 ? 1000.0 : 3000.0) + 30.0 * noise(y, x));
}
double single_pixel(int y, int x) { return y == 4 && x == 6 ? 1234.0 : 0.0; }

GuidedFilterParameters unusual_parameters() {
  GuidedFilterParameters parameters;
  parameters.radius = 2;
  parameters.epsilon = 0.1;
  parameters.fit_tolerance = 0.3;
  parameters.move_tolerance = 0.0;
  parameters.surface_tolerance = 0.5;
  parameters.fill_percent = 37;
  return parameters;
}

TEST(GuidedFilter, EvaluatesItsFormulas) {
  const struct {
    const char* name;
    int height, width;
    GuidedFilterParameters parameters;
    std::function<double(int, int)> depth;
  } kCases[] = {
      {"OnePixel", 1, 1, with_radius(8), full_range},
      {"OneRow", 1, 37, with_radius(3), half_holes},
      {"OneColumn", 41, 1, with_radius(8), half_holes},
      {"NoiseOverTheFullRange", 33, 29, with_radius(4), full_range},
      {"NoiseWithHoles", 35, 36, with_radius(8), half_holes},
      {"RadiusZero", 9, 8, with_radius(0), half_holes},
      {"RadiusOfTheImage", 12, 17, with_radius(16), half_holes},
      {"RadiusBeyondTheImage", 10, 7, with_radius(50), half_holes},
      {"ImageOfWholeBlocks", 10, 15, with_radius(2), half_holes},
      {"StepWithShadow", 21, 40, with_radius(5), noisy_step},
      {"SinglePixelFillsItsReach", 16, 18, with_radius(3, 0), single_pixel},
      {"EveryHoleTooLarge", 16, 18, with_radius(3, 100), half_holes},
      {"ExactlyEnoughToFill", 1, 2, with_radius(1, 50), [](int, int x) { return 1000.0 * x; }},
      {"OtherParameters", 24, 25, unusual_parameters(), half_holes},
  };
  for (const auto& example : kCases) {
    SCOPED_TRACE(example.name);
    const Image image = make_image(example.height, example.width, example.depth);
    DirectFilter(image, example.parameters).expect_equal(refine(image, example.parameters));
  }
}

TEST(GuidedFilter, KeepsConstantDepthExactlyWhateverTheColour) {
  for (const int value : {1, 2, 777, 32767, 40001, 65535}) {
    const Image image = make_image(
        30, 41, [&](int y, int x) { return noise(y, x) < 0.3 ? 0.0 : static_cast<double>(value); });
    const Result result = refine(image);
    for (const float refined : result.refined) {
      ASSERT_EQ(truncated(refined), value);
    }
  }
}

TEST(GuidedFilter, KeepsABorderInDepthWhereTheColourShowsNone) {
  Image image = make_image(40, 60, [](int y, int x) {
    return std::round((x < 30 ? 1000.0 : 1500.0) + 6.0 * (noise(y, x) - 0.5));
  });
  std::fill(image.rgb.begin(), image.rgb.end(), std::uint8_t{128});
  const Result result = refine(image);
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 60; ++x) {
      ASSERT_NEAR(truncated(result.refined[image.index(y, x)]), x < 30 ? 1000 : 1500, 5) << y << ", " << x;
    }
  }
}

TEST(GuidedFilter, FillsAShadowFromTheSurfaceBehind) {
  Image image = make_image(40, 60, [](int y, int x) {
    return x >= 28 && x < 34 ? 0.0 : std::round((x < 30 ? 1000.0 : 1500.0) + 6.0 * (noise(y, x) - 0.5));
  });
  const Result result = refine(image);
  for (int y = 0; y < 40; ++y) {
    for (int x = 28; x < 34; ++x) {
      ASSERT_NEAR(truncated(result.refined[image.index(y, x)]), 1500, 8) << y << ", " << x;
    }
  }
}

TEST(GuidedFilter, TakesBothLayoutsAndNoConfidence) {
  const Image image = make_image(23, 31, half_holes);
  const std::size_t size = image.depth.size();
  std::vector<std::uint8_t> planes(3 * size);
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      planes[c * size + i] = image.rgb[3 * i + c];
    }
  }
  std::vector<float> refined(size);
  guided_filter({}, planes.data(), ColorLayout::kPlanar, image.depth.data(), image.height, image.width,
                refined.data(), nullptr);
  EXPECT_EQ(refined, refine(image).refined);
}

TEST(GuidedFilter, TakesWhatIsNoDepthAsAHole) {
  Image image = make_image(20, 20, [](int, int) { return 700.0; });
  const Result whole = refine(image);
  image.at(3, 3) = std::numeric_limits<float>::quiet_NaN();
  image.at(12, 9) = -5.0F;
  const Result result = refine(image);
  EXPECT_EQ(result.refined, whole.refined);
  EXPECT_LT(result.confidence[image.index(3, 3)], whole.confidence[image.index(3, 3)]);
}

}  // namespace
}  // namespace emulated_board::nvinfer
