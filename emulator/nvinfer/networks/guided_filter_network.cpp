// The reference network: binds the guided filter to the engine's tensors.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "nvinfer/networks/guided_filter.h"
#include "nvinfer/networks/registry.h"

namespace emulated_board::nvinfer {

namespace {

using nvinfer1::DataType;

class GuidedFilter final : public Network {
 public:
  explicit GuidedFilter(Parameters& parameters) {
    constexpr double kTiny = 1e-12;
    constexpr double kHuge = 1e6;
    parameters_.radius = parameters.take_integer("radius", parameters_.radius, 0, 1000);
    parameters_.epsilon = parameters.take("epsilon", parameters_.epsilon, kTiny, kHuge);
    parameters_.fit_tolerance = parameters.take("fit_tolerance", parameters_.fit_tolerance, 0, kHuge);
    parameters_.move_tolerance = parameters.take("move_tolerance", parameters_.move_tolerance, 0, kHuge);
    parameters_.surface_tolerance =
        parameters.take("surface_tolerance", parameters_.surface_tolerance, kTiny, kHuge);
    parameters_.fill_percent = parameters.take_integer("fill_percent", parameters_.fill_percent, 0, 100);
  }

  // Refines the first image of a batch; the rest of each output becomes 0.
  cudaError_t run(const std::vector<BoundTensor>& tensors) const override {
    const BoundTensor* rgb = find_input(tensors, "rgb", DataType::kUINT8);
    const BoundTensor* depth = find_input(tensors, "dep", DataType::kFLOAT);
    if (rgb == nullptr || depth == nullptr || depth->shape.nbDims < 2 || depth->elements == 0) {
      return cudaErrorInvalidValue;
    }
    const auto height = static_cast<int>(depth->shape.d[depth->shape.nbDims - 2]);
    const auto width = static_cast<int>(depth->shape.d[depth->shape.nbDims - 1]);
    const std::size_t pixels = static_cast<std::size_t>(height) * static_cast<std::size_t>(width);
    if (rgb->elements / 3 < pixels) {
      return cudaErrorInvalidValue;
    }
    const ColorLayout layout = rgb->shape.nbDims == 3 ? ColorLayout::kInterleaved : ColorLayout::kPlanar;

    Result refined;
    Result confidence;
    fill_outputs(tensors, [&](const BoundTensor& output, float* values) {
      if (output.name == "pred") {
        refined.bind(output, values, pixels);
      } else if (output.name == "confidence_output") {
        confidence.bind(output, values, pixels);
      } else {
        std::fill_n(values, output.elements, 0.0F);
      }
    });
    if (refined.values == nullptr) {
      refined.use_spare(pixels);
    }
    guided_filter(parameters_, elements_of<std::uint8_t>(*rgb), layout, elements_of<float>(*depth), height,
                  width, refined.values, confidence.values);
    refined.finish();
    confidence.finish();
    return cudaSuccess;
  }

 private:
  // The destination of one result of the filter: the output tensor itself, or a spare plane if the tensor has
  // a different size.
  struct Result {
    float* values = nullptr;
    std::vector<float> spare;
    float* output = nullptr;
    std::size_t elements = 0;

    void bind(const BoundTensor& tensor, float* tensor_values, std::size_t pixels) {
      output = values = tensor_values;
      elements = tensor.elements;
      if (elements < pixels) {
        use_spare(pixels);
      } else {
        std::fill(output + pixels, output + elements, 0.0F);
      }
    }
    void use_spare(std::size_t pixels) {
      spare.resize(pixels);
      values = spare.data();
    }
    void finish() const {
      if (!spare.empty()) {
        std::copy_n(spare.begin(), elements, output);
      }
    }
  };

  GuidedFilterParameters parameters_;
};

}  // namespace

std::unique_ptr<const Network> make_guided_filter(Parameters& parameters) {
  return std::make_unique<GuidedFilter>(parameters);
}

}  // namespace emulated_board::nvinfer
