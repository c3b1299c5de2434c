// Runs ONNX models with OpenVINO, on the processor and in 32-bit floats.
#include <algorithm>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <openvino/frontend/manager.hpp>
#include <openvino/openvino.hpp>

#include "nvinfer/onnx/onnx_network.h"
#include "onnx_runner/compiled_shape.h"
#include "onnx_runner/openvino_text.h"

namespace emulated_board::nvinfer {

namespace {

using nvinfer1::Dims;
using nvinfer1::TensorIOMode;

// Lives only as long as a model does: OpenVINO does not work after the static objects of its libraries are
// destroyed.
std::shared_ptr<ov::Core> shared_core() {
  static std::mutex mutex;
  static std::weak_ptr<ov::Core> latest;
  const std::lock_guard lock(mutex);
  std::shared_ptr<ov::Core> core = latest.lock();
  if (core == nullptr) {
    latest = core = std::make_shared<ov::Core>();
  }
  return core;
}

// Uses only OpenVINO's reader of ONNX, so that none of its other readers sees the file.
std::shared_ptr<ov::Model> read_model(std::string_view file) {
  ov::frontend::FrontEndManager readers;
  const auto reader = readers.load_by_framework("onnx");
  if (reader == nullptr) {
    throw std::runtime_error("this OpenVINO has no reader of ONNX models");
  }
  std::istringstream content{std::string(file)};
  return reader->convert(reader->load(static_cast<std::istream*>(&content)));
}

TensorDescription describe(const std::string& name, TensorIOMode mode, const ov::element::Type& element_type,
                           const ov::PartialShape& partial_shape) {
  const auto type = to_data_type(element_type);
  const auto shape = to_dims(partial_shape);
  const std::string what = (mode == TensorIOMode::kINPUT ? "input \"" : "output \"") + name + "\" ";
  if (!type) {
    throw std::invalid_argument(what + "has the element type " + element_type.to_string() +
                                ", which TensorRT has not");
  }
  if (!shape) {
    throw std::invalid_argument(what + "does not settle its number of dimensions, or has more than " +
                                std::to_string(Dims::MAX_DIMS));
  }
  return {name, mode, *type, *shape};
}

// An input as the file declares it: OpenVINO drops inputs that nothing uses.
TensorDescription describe(const enhance_depth_onnx::Tensor& input) {
  ov::PartialShape shape = ov::PartialShape::dynamic();
  if (input.shape) {
    shape = std::vector<ov::Dimension>(input.shape->begin(), input.shape->end());
  }
  return describe(input.name, TensorIOMode::kINPUT, to_element_type(input.element_type), shape);
}

// An output as OpenVINO computes it, whatever the file declares.
TensorDescription describe(const ov::Output<ov::Node>& output, const std::string& name) {
  return describe(name, TensorIOMode::kOUTPUT, output.get_element_type(), output.get_partial_shape());
}

bool has_input(const ov::Model& model, const std::string& name) {
  const auto& inputs = model.inputs();
  return std::any_of(inputs.begin(), inputs.end(),
                     [&name](const auto& input) { return input.get_names().count(name) != 0; });
}

ov::AnyMap compiler_options(const OnnxSettings& settings) {
  ov::AnyMap options{ov::hint::inference_precision(ov::element::f32),
                     ov::hint::execution_mode(ov::hint::ExecutionMode::ACCURACY),
                     ov::hint::performance_mode(ov::hint::PerformanceMode::LATENCY), ov::num_streams(1),
                     // Otherwise several processes would be pinned to the same cores.
                     ov::hint::enable_cpu_pinning(false)};
  if (settings.threads > 0) {
    options.insert(ov::inference_num_threads(settings.threads));
  }
  if (!settings.cache_folder.empty()) {
    options.insert(ov::cache_dir(settings.cache_folder));
  }
  return options;
}

class OpenVinoNetwork final : public OnnxNetwork {
 public:
  OpenVinoNetwork(std::vector<TensorDescription> tensors, const LoadedModel& loaded, int threads)
      : tensors_(std::move(tensors)), inputs_(loaded.inputs.size()), threads_(threads), shapes_(loaded) {}

  const std::vector<TensorDescription>& tensors() const override { return tensors_; }

  std::string runner() const override {
    return "OpenVINO " + std::string(ov::get_openvino_version().buildNumber) + ", " +
           (threads_ == 0 ? "all cores"
                          : std::to_string(threads_) + (threads_ == 1 ? " thread" : " threads"));
  }

  std::optional<Dims> output_shape(std::string_view output,
                                   const std::vector<InputShape>& inputs) const override {
    const auto named = [output](const TensorDescription& tensor) { return tensor.name == output; };
    const auto found = std::find_if(tensors_.begin(), tensors_.end(), named);
    std::vector<Dims> shapes;
    shapes.reserve(inputs.size());
    for (const InputShape& input : inputs) {
      shapes.push_back(input.shape);
    }
    try {
      return shapes_.get(shapes)->output_shape(static_cast<std::size_t>(found - tensors_.begin()) - inputs_);
    } catch (const ov::Exception& error) {
      throw std::runtime_error("OpenVINO: " + one_line(error.what()));
    }
  }

  cudaError_t run(const std::vector<BoundTensor>& tensors) const override {
    std::vector<Dims> shapes;
    for (std::size_t i = 0; i < inputs_; ++i) {
      shapes.push_back(tensors.at(i).shape);
    }
    try {
      shapes_.get(shapes)->run(tensors);
    } catch (const ov::Exception& error) {
      throw std::runtime_error("OpenVINO: " + one_line(error.what()));
    }
    return cudaSuccess;
  }

 private:
  std::vector<TensorDescription> tensors_;
  std::size_t inputs_;
  int threads_;
  mutable CompiledShapes shapes_;
};

OnnxNetwork* load(std::string_view file, const enhance_depth_onnx::Model& account,
                  const OnnxSettings& settings) {
  LoadedModel loaded;
  loaded.core = shared_core();
  loaded.options = compiler_options(settings);
  const auto model = read_model(file);
  std::vector<TensorDescription> tensors;
  for (const auto& input : account.inputs) {
    tensors.push_back(describe(input));
    loaded.inputs.push_back(has_input(*model, input.name) ? input.name : "");
  }
  for (const auto& output : account.outputs) {
    tensors.push_back(describe(model->output(output.name), output.name));
    loaded.outputs.push_back(output.name);
  }
  loaded.model = model;
  return std::make_unique<OpenVinoNetwork>(std::move(tensors), loaded, settings.threads).release();
}

}  // namespace

}  // namespace emulated_board::nvinfer

extern "C" __attribute__((visibility("default"))) emulated_board::nvinfer::OnnxNetwork*
emulated_board_load_onnx_network(std::string_view file, const enhance_depth_onnx::Model& model,
                                 const emulated_board::nvinfer::OnnxSettings& settings) {
  try {
    return emulated_board::nvinfer::load(file, model, settings);
  } catch (const ov::Exception& error) {
    throw std::runtime_error("OpenVINO: " + emulated_board::nvinfer::one_line(error.what()));
  }
}
