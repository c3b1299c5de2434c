#include "nvinfer/context.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "device/device_access.h"
#include "device/driver.h"
#include "nvinfer/report.h"
#include "nvinfer/tensors.h"

namespace emulated_board::nvinfer {

using nvinfer1::Dims;
using nvinfer1::TensorIOMode;

namespace {

// Height and width are the last two dimensions.
constexpr int kPlaneRank = 2;

std::string address_text(const void* address) { return address == nullptr ? "null" : "an address"; }

// Device memory used by a context, whatever its shapes.
constexpr std::size_t kContextMemory = std::size_t{8} << 20;

// Tensor addresses must be multiples of this.
constexpr std::uintptr_t kAlignment = 256;

void check_stream(cudaStream_t stream) {
  if (!stream_exists(stream)) {
    throw ApiUsageError("there is no such stream");
  }
}

bool share_memory(const BoundTensor& one, const BoundTensor& other) {
  return one.data < other.data + other.bytes && other.data < one.data + one.bytes;
}

}  // namespace

ExecutionContext::ExecutionContext(std::shared_ptr<EngineData> engine) : engine_(std::move(engine)) {
  mImpl = this;
  bindings_.resize(engine_->description.tensors.size());
  forget_shapes();
  engine_->take_memory(kContextMemory);
  ++engine_->contexts;
}

ExecutionContext::~ExecutionContext() noexcept {
  const InsideBoard inside_board;
  tensorrt_destructor(Function::kContextDestroy, engine_->logger);
  if (run_pending()) {
    report_error(engine_->logger, Function::kContextDestroy, kApiUsageError,
                 "the context is destroyed while a run of it is queued: wait for its stream first");
  }
  state_->destroyed = true;
  engine_->memory.give_back(kContextMemory);
  --engine_->contexts;
}

ExecutionContext::Use::Use(ExecutionContext& context) : context_(context) {
  check_driver();
  if (context_.in_use_.exchange(true)) {
    context_.state_->corrupted = true;
    throw ApiUsageError("the context is used by two threads at once");
  }
  std::this_thread::yield();  // gives a second thread a chance to collide, even on a single core
}

ExecutionContext::Use::~Use() { context_.in_use_ = false; }

bool ExecutionContext::run_pending() const {
  return driver_status() == cudaSuccess && last_run_ && !waited_for(*last_run_);
}

std::size_t ExecutionContext::index_of(const char* name) const {
  return static_cast<std::size_t>(&engine_->tensor(name) - engine_->description.tensors.data());
}

void ExecutionContext::forget_shapes() {
  for (std::size_t i = 0; i < bindings_.size(); ++i) {
    bindings_[i].shape = engine_->description.tensors[i].shape;
  }
}

bool ExecutionContext::setOptimizationProfileAsync(std::int32_t profile, cudaStream_t stream) noexcept {
  const auto describe = [&] { return "profile " + std::to_string(profile) + ", " + stream_name(stream); };
  return tensorrt_call(Function::kContextSetProfile, engine_->logger, false, describe, [&] {
    const Use use(*this);
    const std::size_t profiles = engine_->description.profiles.size();
    if (profile < 0 || static_cast<std::size_t>(profile) >= profiles) {
      throw ApiUsageError("profile " + std::to_string(profile) + " of " + std::to_string(profiles) +
                          " does not exist");
    }
    check_stream(stream);
    if (profile != profile_) {
      forget_shapes();  // shapes belong to the profile they were set under
    }
    profile_ = profile;
    profile_set_ = mark_stream(stream);
    return true;
  });
}

void ExecutionContext::check_input_shape(const TensorDescription& tensor, const Dims& shape) const {
  const std::string what = "shape " + to_text(shape) + " for input \"" + tensor.name + "\" ";
  if (shape.nbDims != tensor.shape.nbDims) {
    throw ApiUsageError(what + "has another rank than the engine's " + to_text(tensor.shape));
  }
  for (int i = 0; i < shape.nbDims; ++i) {
    if (shape.d[i] < 0 || (tensor.shape.d[i] != -1 && tensor.shape.d[i] != shape.d[i])) {
      throw ApiUsageError(what + "does not fit the engine's " + to_text(tensor.shape));
    }
  }
  if (is_concrete(tensor.shape)) {
    return;
  }

  const auto& profiles = engine_->description.profiles;
  const std::string profile_name = "profile " + std::to_string(profile_);
  if (static_cast<std::size_t>(profile_) >= profiles.size()) {
    throw ApiUsageError(what + "needs a profile; there is none");
  }
  const ProfileDescription& ranges = profiles[static_cast<std::size_t>(profile_)];
  const auto range = ranges.find(tensor.name);
  if (range == ranges.end()) {
    throw ApiUsageError(what + "has no range in " + profile_name);
  }
  const Dims& min = range->second.min;
  const Dims& max = range->second.max;
  bool admitted = min.nbDims == shape.nbDims;
  for (int i = 0; admitted && i < shape.nbDims; ++i) {
    admitted = min.d[i] <= shape.d[i] && shape.d[i] <= max.d[i];
  }
  if (!admitted) {
    throw ApiUsageError(what + "is not within " + profile_name + ", from " + to_text(min) + " to " +
                        to_text(max));
  }
}

bool ExecutionContext::setInputShape(char const* name, Dims const& dims) noexcept {
  const auto describe = [&] { return name_text(name) + " " + to_text(dims); };
  return tensorrt_call(Function::kContextSetInputShape, engine_->logger, false, describe, [&] {
    const Use use(*this);
    const std::size_t index = index_of(name);
    const TensorDescription& tensor = engine_->description.tensors[index];
    if (tensor.mode != TensorIOMode::kINPUT) {
      throw ApiUsageError("\"" + tensor.name + "\" is not an input tensor");
    }
    check_input_shape(tensor, dims);
    Dims& shape = bindings_[index].shape;
    if (!std::equal(dims.d, dims.d + dims.nbDims, shape.d) && run_pending()) {
      throw ApiUsageError("the shape of \"" + tensor.name +
                          "\" is changed while a run of the context is queued: wait for its stream first");
    }
    shape = dims;
    return true;
  });
}

Dims ExecutionContext::current_shape(std::size_t index) const {
  const auto& tensors = engine_->description.tensors;
  Dims shape = bindings_[index].shape;
  if (tensors[index].mode == TensorIOMode::kINPUT) {
    return shape;
  }

  std::vector<InputShape> inputs;
  for (std::size_t i = 0; i < tensors.size(); ++i) {
    if (tensors[i].mode != TensorIOMode::kINPUT) {
      continue;
    }
    if (!is_concrete(bindings_[i].shape)) {
      return shape;
    }
    inputs.push_back({tensors[i].name, bindings_[i].shape});
  }
  if (const auto settled = engine_->description.network->output_shape(tensors[index].name, inputs)) {
    return *settled;
  }

  // Height and width of an output are those of the depth image.
  const auto depth =
      std::find_if(inputs.begin(), inputs.end(), [](const InputShape& input) { return input.name == "dep"; });
  if (depth == inputs.end() || depth->shape.nbDims < kPlaneRank || shape.nbDims < kPlaneRank) {
    return shape;
  }
  for (int from_end = 1; from_end <= kPlaneRank; ++from_end) {
    auto& dimension = shape.d[shape.nbDims - from_end];
    if (dimension == -1) {
      dimension = depth->shape.d[depth->shape.nbDims - from_end];
    }
  }
  return shape;
}

Dims ExecutionContext::getTensorShape(char const* name) const noexcept {
  return tensorrt_call(
      Function::kContextTensorShape, engine_->logger, no_shape(), [&] { return name_text(name); },
      [&] { return current_shape(index_of(name)); });
}

bool ExecutionContext::setTensorAddress(char const* name, void* data) noexcept {
  const auto describe = [&] { return name_text(name) + ", " + address_text(data); };
  return tensorrt_call(Function::kContextSetTensorAddress, engine_->logger, false, describe, [&] {
    const Use use(*this);
    const std::size_t index = index_of(name);
    if (data == nullptr && engine_->description.tensors[index].mode == TensorIOMode::kINPUT) {
      throw ApiUsageError("the address for input \"" + name_text(name) + "\" is null");
    }
    if (reinterpret_cast<std::uintptr_t>(data) % kAlignment != 0) {
      throw ApiUsageError("the address for \"" + name_text(name) + "\" is not aligned to " +
                          std::to_string(kAlignment) + " bytes");
    }
    bindings_[index].address = data;
    return true;
  });
}

BoundTensor ExecutionContext::bind(std::size_t index) const {
  const TensorDescription& tensor = engine_->description.tensors[index];
  const std::string what = "tensor \"" + tensor.name + "\"";
  BoundTensor bound;
  bound.name = tensor.name;
  bound.output = tensor.mode == TensorIOMode::kOUTPUT;
  bound.type = tensor.type;
  bound.shape = current_shape(index);
  if (!is_concrete(bound.shape)) {
    throw ApiUsageError(what + " has no complete shape: " + to_text(bound.shape));
  }
  const auto elements = element_count(bound.shape);
  const auto bytes = byte_count(bound.shape, bound.type);
  if (!elements || !bytes) {
    throw ApiUsageError(what + " is too large: " + to_text(bound.shape));
  }
  bound.elements = *elements;
  bound.bytes = *bytes;
  if (bound.bytes == 0) {
    return bound;  // an empty tensor needs no memory
  }

  const void* address = bindings_[index].address;
  if (address == nullptr) {
    throw ApiUsageError(what + " has no address");
  }
  const DeviceRange range = device_range(address);
  if (range.contents == nullptr) {
    throw ApiUsageError("the address of " + what + " is not device memory");
  }
  if (range.size < bound.bytes) {
    throw ApiUsageError(what + " needs " + std::to_string(bound.bytes) + " bytes; at its address there are " +
                        std::to_string(range.size));
  }
  bound.data = range.contents;
  return bound;
}

void ExecutionContext::check_overlap(const std::vector<BoundTensor>& tensors) {
  for (const BoundTensor& output : tensors) {
    if (!output.output || output.bytes == 0) {
      continue;
    }
    for (const BoundTensor& other : tensors) {
      if (&other != &output && other.bytes != 0 && share_memory(output, other)) {
        throw ApiUsageError("output \"" + std::string(output.name) + "\" shares memory with \"" +
                            std::string(other.name) + "\"");
      }
    }
  }
}

void ExecutionContext::check_order(cudaStream_t stream) const {
  if (engine_->destroyed) {
    throw ApiUsageError("the engine of the context is destroyed");
  }
  if (profile_set_ && !runs_after(*profile_set_, stream)) {
    throw ApiUsageError("the profile was set on another stream, which nobody has waited for since");
  }
  if (last_run_ && !runs_after(*last_run_, stream)) {
    throw ApiUsageError("a run of the context is queued on another stream: wait for that first");
  }
}

bool ExecutionContext::enqueueV3(cudaStream_t stream) noexcept {
  const auto describe = [&] { return stream_name(stream); };
  return tensorrt_call(Function::kContextEnqueue, engine_->logger, false, describe, [&] {
    const Use use(*this);
    check_stream(stream);
    check_order(stream);
    std::vector<BoundTensor> tensors;
    tensors.reserve(bindings_.size());
    for (std::size_t i = 0; i < bindings_.size(); ++i) {
      tensors.push_back(bind(i));
    }
    check_overlap(tensors);
    const auto queued = queue_work(stream, [engine = engine_, state = state_, bound = std::move(tensors)] {
      if (state->destroyed || engine->destroyed) {
        return cudaErrorIllegalAddress;  // the memory of the run is gone
      }
      if (state->corrupted) {
        return cudaErrorLaunchFailure;
      }
      try {
        return engine->description.network->run(bound);
      } catch (const std::exception& error) {
        report_error(engine->logger, Function::kContextEnqueue, kInternalError, error.what());
        return cudaErrorLaunchFailure;
      }
    });
    if (queued) {
      last_run_ = queued;
    }
    return queued.has_value();
  });
}

}  // namespace emulated_board::nvinfer
