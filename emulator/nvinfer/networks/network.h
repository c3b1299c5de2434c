// A network of the emulated board: a computation from the input tensors to the output tensors of an engine.
#ifndef EMULATED_BOARD_NVINFER_NETWORKS_NETWORK_H
#define EMULATED_BOARD_NVINFER_NETWORKS_NETWORK_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <NvInferRuntimeBase.h>

namespace emulated_board::nvinfer {

// A tensor as it is bound for one run.
struct BoundTensor {
  std::string_view name;
  bool output = false;
  nvinfer1::DataType type{};
  nvinfer1::Dims shape{};
  std::byte* data = nullptr;  // `bytes` bytes, aligned as device memory is
  std::size_t elements = 0;
  std::size_t bytes = 0;
};

// The shape of an input as it is set.
struct InputShape {
  std::string_view name;
  nvinfer1::Dims shape{};
};

class Network {
 public:
  virtual ~Network() = default;

  // What computes it, in words.
  virtual std::string runner() const { return "the emulated board's own network"; }

  // The shape of an output for inputs of these shapes, with -1 for a dimension that they do not determine.
  // std::nullopt: the shape that the engine declares, with the depth image's height and width. Throws
  // std::exception for inputs that the network cannot take.
  virtual std::optional<nvinfer1::Dims> output_shape(std::string_view /*output*/,
                                                     const std::vector<InputShape>& /*inputs*/) const {
    return std::nullopt;
  }

  // Called on any thread, even on several at once. Must accept any number of tensors of any name, type and
  // shape, because unsuitable engines can be described. The next synchronisation returns any status other
  // than cudaSuccess.
  virtual cudaError_t run(const std::vector<BoundTensor>& tensors) const = 0;
};

// The tensor of this name, type and direction, or null.
const BoundTensor* find_input(const std::vector<BoundTensor>& tensors, std::string_view name,
                              nvinfer1::DataType type);

// The elements of a tensor whose type is known.
template <typename Element>
Element* elements_of(const BoundTensor& tensor) {
  return reinterpret_cast<Element*>(tensor.data);
}

// Calls `fill(tensor, floats)` for the float outputs and zeroes all others.
template <typename Fill>
void fill_outputs(const std::vector<BoundTensor>& tensors, const Fill& fill) {
  for (const BoundTensor& tensor : tensors) {
    if (!tensor.output) {
      continue;
    }
    if (tensor.type == nvinfer1::DataType::kFLOAT) {
      fill(tensor, elements_of<float>(tensor));
    } else {
      for (std::size_t i = 0; i < tensor.bytes; ++i) {
        tensor.data[i] = std::byte{0};
      }
    }
  }
}

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_NETWORKS_NETWORK_H
