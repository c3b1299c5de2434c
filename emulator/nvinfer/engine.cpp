#include "nvinfer/engine.h"

#include <utility>

#include "nvinfer/context.h"
#include "nvinfer/report.h"
#include "nvinfer/tensors.h"

namespace emulated_board::nvinfer {

using nvinfer1::DataType;
using nvinfer1::Dims;
using nvinfer1::OptProfileSelector;
using nvinfer1::TensorIOMode;

namespace {

std::string no_arguments() { return {}; }

// The result of a failed query for a data type. TensorRT returns kFLOAT, which a caller cannot tell from a
// valid answer.
constexpr auto kNoType = static_cast<DataType>(-1);

const char* selector_name(OptProfileSelector select) {
  switch (select) {
    case OptProfileSelector::kMIN:
      return "min";
    case OptProfileSelector::kOPT:
      return "opt";
    case OptProfileSelector::kMAX:
      break;
  }
  return "max";
}

}  // namespace

const TensorDescription& EngineData::tensor(const char* name) const {
  const TensorDescription* found = name == nullptr ? nullptr : description.find_tensor(name);
  if (found == nullptr) {
    throw ApiUsageError("the engine has no input or output tensor \"" + name_text(name) + "\"");
  }
  return *found;
}

void EngineData::take_memory(std::size_t size) {
  if (!memory.take(size)) {
    throw Failure(kOutOfMemory, "Requested size was " + std::to_string(size) + " bytes.");
  }
}

Engine::Engine(std::shared_ptr<EngineData> data) : data_(std::move(data)) {
  mImpl = this;
  ++data_->runtime->engines;
}

Engine::~Engine() noexcept {
  const InsideBoard inside_board;
  tensorrt_destructor(Function::kEngineDestroy, data_->logger);
  data_->destroyed = true;
  data_->memory.release();
  --data_->runtime->engines;
  if (data_->contexts != 0) {
    report_error(data_->logger, Function::kEngineDestroy, kApiUsageError,
                 "the engine is destroyed before its execution contexts");
  }
}

nvinfer1::IExecutionContext* Engine::createExecutionContext(
    nvinfer1::ExecutionContextAllocationStrategy strategy) noexcept {
  return tensorrt_call(
      Function::kEngineCreateContext, data_->logger, static_cast<nvinfer1::IExecutionContext*>(nullptr),
      [&] { return "strategy " + std::to_string(static_cast<int>(strategy)); },
      [&]() -> nvinfer1::IExecutionContext* {
        check_driver();
        return std::make_unique<ExecutionContext>(data_).release();
      });
}

std::int32_t Engine::getNbOptimizationProfiles() const noexcept {
  return tensorrt_call(Function::kEngineNbProfiles, data_->logger, std::int32_t{0}, no_arguments,
                       [&] { return static_cast<std::int32_t>(data_->description.profiles.size()); });
}

Dims Engine::getTensorShape(char const* name) const noexcept {
  return tensorrt_call(
      Function::kEngineTensorShape, data_->logger, no_shape(), [&] { return name_text(name); },
      [&] { return data_->tensor(name).shape; });
}

DataType Engine::getTensorDataType(char const* name) const noexcept {
  return tensorrt_call(
      Function::kEngineTensorDataType, data_->logger, kNoType, [&] { return name_text(name); },
      [&] { return data_->tensor(name).type; });
}

TensorIOMode Engine::getTensorIOMode(char const* name) const noexcept {
  return tensorrt_call(
      Function::kEngineTensorIOMode, data_->logger, TensorIOMode::kNONE, [&] { return name_text(name); },
      [&] { return data_->tensor(name).mode; });
}

Dims Engine::getProfileShape(char const* name, std::int32_t profile,
                             OptProfileSelector select) const noexcept {
  const auto describe = [&] {
    return name_text(name) + ", profile " + std::to_string(profile) + ", " + selector_name(select);
  };
  return tensorrt_call(Function::kEngineProfileShape, data_->logger, no_shape(), describe, [&] {
    const TensorDescription& tensor = data_->tensor(name);
    const auto& profiles = data_->description.profiles;
    if (profile < 0 || static_cast<std::size_t>(profile) >= profiles.size()) {
      throw ApiUsageError("profile " + std::to_string(profile) + " of " + std::to_string(profiles.size()) +
                          " does not exist");
    }
    const ProfileDescription& ranges = profiles[static_cast<std::size_t>(profile)];
    const auto range = ranges.find(tensor.name);
    if (range == ranges.end()) {
      throw ApiUsageError("profile " + std::to_string(profile) + " has no range for \"" + tensor.name + "\"");
    }
    if (select == OptProfileSelector::kMIN) {
      return range->second.min;
    }
    return select == OptProfileSelector::kOPT ? range->second.opt : range->second.max;
  });
}

std::int32_t Engine::getNbIOTensors() const noexcept {
  return tensorrt_call(Function::kEngineNbIOTensors, data_->logger, std::int32_t{0}, no_arguments,
                       [&] { return static_cast<std::int32_t>(data_->description.tensors.size()); });
}

char const* Engine::getIOTensorName(std::int32_t index) const noexcept {
  return tensorrt_call(
      Function::kEngineIOTensorName, data_->logger, static_cast<const char*>(nullptr),
      [&] { return std::to_string(index); },
      [&] {
        const auto& tensors = data_->description.tensors;
        if (index < 0 || static_cast<std::size_t>(index) >= tensors.size()) {
          throw ApiUsageError("tensor " + std::to_string(index) + " of " + std::to_string(tensors.size()) +
                              " does not exist");
        }
        return tensors[static_cast<std::size_t>(index)].name.c_str();
      });
}

}  // namespace emulated_board::nvinfer
