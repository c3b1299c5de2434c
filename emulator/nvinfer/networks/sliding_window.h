// Sums and maxima over square windows of an image, in a time per pixel that does not depend on the window's
// size.
//
// The method is van Herk's (A fast algorithm for local minimum and maximum filters on rectangular and
// octagonal kernels, Pattern Recognition Letters 1992), first along rows and then along columns: a line is
// cut into blocks as long as the window, so that every window is the end of one block followed by the start
// of the next. It works for sums as well, and unlike a running sum it never subtracts, so that a small value
// next to a large one keeps its precision.
#ifndef EMULATED_BOARD_NVINFER_NETWORKS_SLIDING_WINDOW_H
#define EMULATED_BOARD_NVINFER_NETWORKS_SLIDING_WINDOW_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace emulated_board::nvinfer {

// One value per pixel, row by row.
using Plane = std::vector<double>;

// Windows of (2 radius + 1) x (2 radius + 1) pixels, clipped to an image of height x width pixels.
class SlidingWindow {
 public:
  // height, width >= 1; radius >= 0, which may exceed the image.
  SlidingWindow(int height, int width, std::int64_t radius)
      : height_(static_cast<std::size_t>(height)),
        width_(static_cast<std::size_t>(width)),
        radius_(static_cast<std::size_t>(radius)),
        rows_(height_ * width_) {}

  std::size_t size() const { return height_ * width_; }

  // output = the sum of input over the window around each pixel; both may be the same plane.
  void sum(const Plane& input, Plane& output) {
    reduce(input, output, 0.0, [](double a, double b) { return a + b; });
  }

  // output = the largest input in the window around each pixel; both may be the same plane. Needs input >= 0.
  void maximum(const Plane& input, Plane& output) {
    reduce(input, output, 0.0, [](double a, double b) { return std::max(a, b); });
  }

  // output = the number of pixels in the window around each pixel.
  void area(Plane& output) const {
    output.resize(size());
    for (std::size_t y = 0; y < height_; ++y) {
      for (std::size_t x = 0; x < width_; ++x) {
        output[y * width_ + x] = static_cast<double>(extent(y, height_) * extent(x, width_));
      }
    }
  }

 private:
  using OneValue = std::integral_constant<std::size_t, 1>;

  std::size_t extent(std::size_t position, std::size_t length) const {
    return std::min(position + radius_, length - 1) + 1 - (position - std::min(position, radius_));
  }

  template <typename Operation>
  void reduce(const Plane& input, Plane& output, double identity, Operation operation) {
    for (std::size_t y = 0; y < height_; ++y) {
      reduce_line(&input[y * width_], &rows_[y * width_], width_, OneValue(), identity, operation);
    }
    output.resize(size());
    reduce_line(rows_.data(), output.data(), height_, width_, identity, operation);
  }

  // Reduces windows along a line of `length` elements, each of `depth` neighbouring values: a row of pixels,
  // or a column of rows. For rows, Depth is a constant, so that the compiler removes the loops over a single
  // value.
  template <typename Depth, typename Operation>
  void reduce_line(const double* input, double* output, std::size_t length, Depth depth, double identity,
                   Operation operation) {
    const std::size_t radius = std::min(radius_, length - 1);
    const std::size_t window = 2 * radius + 1;
    suffix_.resize(window * depth);
    prefix_.resize(depth);
    double* const prefix = prefix_.data();
    // Adds an element of the line to `sum`. Block b begins at element b * window - radius; elements outside
    // the line are skipped.
    const auto accumulate = [&](double* sum, std::size_t element) {
      if (element < radius || element - radius >= length) {
        return;
      }
      const double* const values = input + (element - radius) * depth;
      for (std::size_t i = 0; i < depth; ++i) {
        sum[i] = operation(sum[i], values[i]);
      }
    };
    for (std::size_t block = 0; block < length; block += window) {
      double* suffix = suffix_.data() + window * depth;
      for (std::size_t t = window; t-- > 0;) {
        suffix -= depth;
        for (std::size_t i = 0; i < depth; ++i) {
          suffix[i] = t + 1 < window ? suffix[i + depth] : identity;
        }
        accumulate(suffix, block + t);
      }
      for (std::size_t i = 0; i < depth; ++i) {
        prefix[i] = identity;
      }
      double* result = output + block * depth;
      for (std::size_t t = 0; t < std::min(window, length - block); ++t) {
        for (std::size_t i = 0; i < depth; ++i) {
          result[i] = operation(suffix[i], prefix[i]);
        }
        accumulate(prefix, block + window + t);
        suffix += depth;
        result += depth;
      }
    }
  }

  std::size_t height_;
  std::size_t width_;
  std::size_t radius_;
  Plane rows_;  // reduced along rows, not yet along columns
  Plane suffix_;
  Plane prefix_;
};

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_NETWORKS_SLIDING_WINDOW_H
