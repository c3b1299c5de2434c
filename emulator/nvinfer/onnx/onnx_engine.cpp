#include "nvinfer/onnx/onnx_engine.h"

#include <charconv>
#include <cstdlib>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "nvinfer/onnx/network_library.h"
#include "nvinfer/onnx/onnx_network.h"
#include "nvinfer/onnx/profiles.h"
#include "onnx/onnx_model.h"

namespace emulated_board::nvinfer {

namespace {

constexpr int kMostThreads = 1024;

OnnxSettings settings_of_environment() {
  OnnxSettings settings;
  if (const char* threads = std::getenv("EMULATED_BOARD_THREADS")) {
    const std::string_view text = threads;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), settings.threads);
    if (error != std::errc() || end != text.data() + text.size() || settings.threads < 0 ||
        settings.threads > kMostThreads) {
      throw std::invalid_argument(
          "the environment variable EMULATED_BOARD_THREADS must be a number from 0 to " +
          std::to_string(kMostThreads));
    }
  }
  if (const char* folder = std::getenv("EMULATED_BOARD_CACHE")) {
    settings.cache_folder = folder;
  }
  return settings;
}

void check_names(const enhance_depth_onnx::Model& model) {
  std::set<std::string_view> names;
  for (const auto* tensors : {&model.inputs, &model.outputs}) {
    for (const enhance_depth_onnx::Tensor& tensor : *tensors) {
      if (tensor.name.empty()) {
        throw std::invalid_argument("an input or output has no name");
      }
      if (!names.insert(tensor.name).second) {
        throw std::invalid_argument("two inputs or outputs are called \"" + tensor.name + "\"");
      }
    }
  }
}

}  // namespace

EngineDescription make_onnx_engine(std::string_view file) {
  const enhance_depth_onnx::Model model = enhance_depth_onnx::read_model(file);
  check_names(model);
  if (!model.external_data.empty()) {
    throw std::invalid_argument("weights are in \"" + model.external_data +
                                "\", and an engine is one file: save the model with its weights inside");
  }
  std::shared_ptr<const OnnxNetwork> network(load_onnx_network(file, model, settings_of_environment()));
  EngineDescription engine;
  engine.tensors = network->tensors();
  engine.profiles = make_profiles(engine.tensors, model.metadata);
  engine.network = std::move(network);
  return engine;
}

}  // namespace emulated_board::nvinfer
