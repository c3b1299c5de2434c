// A model set up for given input shapes, and a cache of the shapes used last.
#ifndef EMULATED_BOARD_ONNX_RUNNER_COMPILED_SHAPE_H
#define EMULATED_BOARD_ONNX_RUNNER_COMPILED_SHAPE_H

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <NvInferRuntimeBase.h>
#include <openvino/openvino.hpp>

#include "nvinfer/networks/network.h"

namespace emulated_board::nvinfer {

// What all shapes of a model have in common.
struct LoadedModel {
  std::shared_ptr<ov::Core> core;
  std::shared_ptr<const ov::Model> model;  // with dynamic dimensions, never compiled
  std::vector<std::string> inputs;         // their names; empty for one that the model does not use
  std::vector<std::string> outputs;
  ov::AnyMap options;  // for the compiler
};

// The dimensions of all inputs, one after the other.
using ShapeKey = std::vector<std::int64_t>;

// Cheap to construct; compiled when it first runs. Threads may share it.
class CompiledShape {
 public:
  // Throws ov::Exception when the model cannot have these shapes.
  CompiledShape(const LoadedModel& loaded, const std::vector<nvinfer1::Dims>& input_shapes);

  // Of the output with this number; throws std::out_of_range for another.
  nvinfer1::Dims output_shape(std::size_t output) const { return output_shapes_.at(output); }

  // `tensors` are all inputs and then all outputs; their memory is used directly. Throws ov::Exception.
  void run(const std::vector<BoundTensor>& tensors);

 private:
  ov::InferRequest take_request();
  void compile();

  const LoadedModel& loaded_;
  std::vector<nvinfer1::Dims> output_shapes_;
  std::shared_ptr<ov::Model> model_;  // until it is compiled
  std::once_flag compiled_once_;
  ov::CompiledModel compiled_;
  // Indexed as the tensors; std::nullopt for an input that the model does not use.
  std::vector<std::optional<ov::Output<const ov::Node>>> ports_;
  std::mutex mutex_;
  std::vector<ov::InferRequest> idle_;  // one for each thread that ever ran it at the same time
};

// The shapes of a model that were used last. Each holds the compiled model's buffers, so only a few are kept:
// a program that keeps changing its size needs no more memory than one that uses a few sizes.
class CompiledShapes {
 public:
  static constexpr std::size_t kKept = 4;

  explicit CompiledShapes(LoadedModel loaded) : loaded_(std::move(loaded)) {}

  // The shape for these inputs, in the model's order. Throws as CompiledShape does.
  std::shared_ptr<CompiledShape> get(const std::vector<nvinfer1::Dims>& input_shapes);

 private:
  LoadedModel loaded_;
  std::mutex mutex_;
  std::list<std::pair<ShapeKey, std::shared_ptr<CompiledShape>>> latest_first_;
};

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_ONNX_RUNNER_COMPILED_SHAPE_H
