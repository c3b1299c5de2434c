#include "inspect/engine.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <mutex>

#include <NvInferRuntime.h>

#include "inspect/onnx.h"
#include "support/input_file.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

// Keeps TensorRT's errors, which it may report from several threads; drops warnings and information.
class MessageCollector final : public nvinfer1::ILogger {
 public:
  void log(Severity severity, const char* message) noexcept override {
    constexpr std::size_t kMost = 10;
    constexpr std::size_t kLongest = 500;
    if (severity > Severity::kERROR || message == nullptr) {
      return;
    }
    try {
      const std::lock_guard lock(mutex_);
      if (messages_.size() == kMost) {
        return;
      }
      const std::size_t size = std::char_traits<char>::length(message);
      messages_.push_back(printable({message, std::min(size, kLongest)}) + (size > kLongest ? "..." : ""));
    } catch (const std::exception&) {
      // Out of memory: the message is lost.
    }
  }

  std::vector<std::string> take() {
    const std::lock_guard lock(mutex_);
    return std::move(messages_);
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> messages_;
};

// For an object that it could not create, TensorRT returns null plus the offset of a base class: an address
// in the first page is not an object.
template <typename Object>
std::unique_ptr<Object> owned(Object* made) {
  constexpr std::uintptr_t kFirstPage = 4096;
  return std::unique_ptr<Object>(reinterpret_cast<std::uintptr_t>(made) < kFirstPage ? nullptr : made);
}

std::string type_name(nvinfer1::DataType type) {
  constexpr std::array kNames{"FLOAT", "HALF", "INT8", "INT32", "BOOL",
                              "UINT8", "FP8",  "BF16", "INT64", "INT4"};
  static_assert(kNames.size() == static_cast<std::size_t>(nvinfer1::DataType::kINT4) + 1);
  const auto number = static_cast<std::size_t>(type);
  if (number < kNames.size()) {
    return kNames[number];
  }
  return "UNKNOWN (TensorRT type " + std::to_string(static_cast<int>(type)) +
         ")";  // newer than these headers
}

// None when TensorRT does not know the tensor.
std::optional<Shape> to_shape(const nvinfer1::Dims& dims) {
  if (dims.nbDims < 0 || dims.nbDims > nvinfer1::Dims::MAX_DIMS) {
    return std::nullopt;
  }
  return Shape(dims.d, dims.d + dims.nbDims);
}

ProfileInfo describe_profile(const nvinfer1::ICudaEngine& engine, int index,
                             const std::vector<TensorInfo>& tensors) {
  ProfileInfo profile;
  for (const TensorInfo& tensor : tensors) {
    if (tensor.direction != Direction::kInput) {
      continue;
    }
    const char* name = tensor.name.c_str();
    const auto min = to_shape(engine.getProfileShape(name, index, nvinfer1::OptProfileSelector::kMIN));
    const auto max = to_shape(engine.getProfileShape(name, index, nvinfer1::OptProfileSelector::kMAX));
    if (min && max) {
      profile[tensor.name] = {*min, *max};
    }
  }
  return profile;
}

ModelInfo describe(const nvinfer1::ICudaEngine& engine) {
  ModelInfo model;
  model.format = "engine, as TensorRT reads it";
  for (int i = 0; i < engine.getNbIOTensors(); ++i) {
    const char* name = engine.getIOTensorName(i);
    if (name == nullptr) {
      continue;
    }
    TensorInfo tensor;
    tensor.name = name;
    tensor.direction = engine.getTensorIOMode(name) == nvinfer1::TensorIOMode::kINPUT ? Direction::kInput
                                                                                      : Direction::kOutput;
    tensor.type = type_name(engine.getTensorDataType(name));
    tensor.shape = to_shape(engine.getTensorShape(name));
    model.tensors.push_back(tensor);
  }
  model.profiles.emplace();
  for (int i = 0; i < engine.getNbOptimizationProfiles(); ++i) {
    model.profiles->push_back(describe_profile(engine, i, model.tensors));
  }
  return model;
}

}  // namespace

LoadedEngine load_engine(const std::filesystem::path& path) {
  constexpr std::uintmax_t kMostBytes = std::uintmax_t{16} << 30;
  const Bytes file = read_file(path, "engine", kMostBytes);
  MessageCollector collector;  // outlives everything that reports to it
  LoadedEngine loaded;
  const auto runtime = owned(nvinfer1::createInferRuntime(collector));
  const auto engine = runtime ? owned(runtime->deserializeCudaEngine(file.data(), file.size())) : nullptr;
  if (engine) {
    loaded.model = describe(*engine);
  }
  loaded.messages = collector.take();
  return loaded;
}

std::optional<RgbLayout> rgb_layout_of(const std::filesystem::path& engine) {
  std::optional<ModelInfo> model = read_onnx_file(engine);
  if (!model) {
    model = load_engine(engine).model;
  }
  if (!model) {
    return std::nullopt;
  }
  for (const TensorInfo& tensor : model->tensors) {
    if (tensor.name != "rgb" || !tensor.shape) {
      continue;
    }
    if (tensor.shape->size() == 4) {
      return RgbLayout::kPlanar;
    }
    if (tensor.shape->size() == 3) {
      return RgbLayout::kInterleaved;
    }
  }
  return std::nullopt;
}

}  // namespace enhance_depth_tool
