// Small networks with predictable results, for tests.
#include <algorithm>
#include <array>
#include <limits>

#include "nvinfer/networks/registry.h"

namespace emulated_board::nvinfer {

namespace {

using nvinfer1::DataType;

constexpr std::string_view kConfidence = "confidence_output";

// Every float output is depth * scale + offset, the confidence a constant. Where there is no
// depth pixel, depth is 0.
class ScaleOffset final : public Network {
 public:
  explicit ScaleOffset(Parameters& parameters)
      : scale_(parameters.take_float("scale", 1.0F)),
        offset_(parameters.take_float("offset", 0.0F)),
        confidence_(parameters.take_float("confidence", 1.0F)) {}

  cudaError_t run(const std::vector<BoundTensor>& tensors) const override {
    const BoundTensor* depth = find_input(tensors, "dep", DataType::kFLOAT);
    fill_outputs(tensors, [&](const BoundTensor& output, float* values) {
      if (output.name == kConfidence) {
        std::fill_n(values, output.elements, confidence_);
        return;
      }
      const std::size_t given = depth == nullptr ? 0 : std::min(depth->elements, output.elements);
      for (std::size_t i = 0; i < given; ++i) {
        values[i] = elements_of<float>(*depth)[i] * scale_ + offset_;
      }
      std::fill(values + given, values + output.elements, offset_);
    });
    return cudaSuccess;
  }

 private:
  float scale_;
  float offset_;
  float confidence_;
};

class Constant final : public Network {
 public:
  explicit Constant(Parameters& parameters)
      : value_(parameters.take_float("value", 0.0F)),
        confidence_(parameters.take_float("confidence", 1.0F)) {}

  cudaError_t run(const std::vector<BoundTensor>& tensors) const override {
    fill_outputs(tensors, [this](const BoundTensor& output, float* values) {
      std::fill_n(values, output.elements, output.name == kConfidence ? confidence_ : value_);
    });
    return cudaSuccess;
  }

 private:
  float value_;
  float confidence_;
};

// Every float output cycles through edge cases of the conversion to 16 bits.
class SpecialValues final : public Network {
 public:
  cudaError_t run(const std::vector<BoundTensor>& tensors) const override {
    using Limits = std::numeric_limits<float>;
    constexpr std::array kValues{Limits::quiet_NaN(),
                                 Limits::infinity(),
                                 -Limits::infinity(),
                                 0.0F,
                                 -0.0F,
                                 -1.0F,
                                 -70000.0F,
                                 0.7F,
                                 1.5F,
                                 Limits::denorm_min(),
                                 1000.999F,
                                 32768.0F,
                                 65534.0F,
                                 65534.99F,
                                 65535.0F,
                                 65536.0F,
                                 70000.0F,
                                 4294967296.0F,
                                 Limits::max(),
                                 Limits::lowest()};
    fill_outputs(tensors, [&](const BoundTensor& output, float* values) {
      for (std::size_t i = 0; i < output.elements; ++i) {
        values[i] = kValues[i % kValues.size()];
      }
    });
    return cudaSuccess;
  }
};

// Every float output is R + 2 G + 4 B + depth, so that any wrong, misplaced or missing byte shows. A colour
// tensor of rank 3 is interleaved (H, W, 3), any other planar. The confidence is B / 255.
class RgbSum final : public Network {
 public:
  cudaError_t run(const std::vector<BoundTensor>& tensors) const override {
    const BoundTensor* rgb = find_input(tensors, "rgb", DataType::kUINT8);
    const BoundTensor* depth = find_input(tensors, "dep", DataType::kFLOAT);
    const std::size_t pixels = rgb == nullptr ? 0 : rgb->elements / 3;
    const bool interleaved = rgb != nullptr && rgb->shape.nbDims == 3;
    const std::size_t pixel_step = interleaved ? 3 : 1;
    const std::size_t channel_step = interleaved ? 1 : pixels;
    const auto channel = [&](std::size_t pixel, std::size_t index) {
      if (pixel >= pixels) {
        return 0.0F;
      }
      return static_cast<float>(elements_of<unsigned char>(*rgb)[pixel * pixel_step + index * channel_step]);
    };
    fill_outputs(tensors, [&](const BoundTensor& output, float* values) {
      for (std::size_t i = 0; i < output.elements; ++i) {
        const float blue = channel(i, 2);
        const float depth_here =
            depth != nullptr && i < depth->elements ? elements_of<float>(*depth)[i] : 0.0F;
        values[i] = output.name == kConfidence
                        ? blue / 255.0F
                        : channel(i, 0) + 2.0F * channel(i, 1) + 4.0F * blue + depth_here;
      }
    });
    return cudaSuccess;
  }
};

// Leaves the outputs as they are and takes no time.
class Nothing final : public Network {
 public:
  cudaError_t run(const std::vector<BoundTensor>&) const override { return cudaSuccess; }
};

// Fails while it runs, as a fault inside a real network does.
class Fail final : public Network {
 public:
  cudaError_t run(const std::vector<BoundTensor>&) const override { return cudaErrorLaunchFailure; }
};

}  // namespace

std::unique_ptr<const Network> make_scale_offset(Parameters& parameters) {
  return std::make_unique<ScaleOffset>(parameters);
}
std::unique_ptr<const Network> make_constant(Parameters& parameters) {
  return std::make_unique<Constant>(parameters);
}
std::unique_ptr<const Network> make_special_values(Parameters&) { return std::make_unique<SpecialValues>(); }
std::unique_ptr<const Network> make_rgb_sum(Parameters&) { return std::make_unique<RgbSum>(); }
std::unique_ptr<const Network> make_nothing(Parameters&) { return std::make_unique<Nothing>(); }
std::unique_ptr<const Network> make_fail(Parameters&) { return std::make_unique<Fail>(); }

}  // namespace emulated_board::nvinfer
