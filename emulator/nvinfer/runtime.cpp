// The runtime object and the function that makes it.
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <NvInferRuntime.h>

#include "core/call.h"
#include "core/live_objects.h"
#include "core/network_runner.h"
#include "nvinfer/engine.h"
#include "nvinfer/engine_description.h"
#include "nvinfer/onnx/onnx_engine.h"
#include "nvinfer/report.h"
#include "onnx/onnx_model.h"

namespace emulated_board::nvinfer {

namespace {

// Device memory used by an engine in addition to the size of its serialized form.
constexpr std::size_t kEngineMemory = std::size_t{1} << 20;

// An engine of either kind that the emulated board loads.
std::variant<EngineDescription, DescriptionError> read_engine(std::string_view file) {
  constexpr std::size_t kBeginning = 4096;
  if (!enhance_depth_onnx::begins_like_a_model(file.substr(0, kBeginning))) {
    auto parsed = parse_engine_description(file);
    if (auto* error = std::get_if<DescriptionError>(&parsed)) {
      error->message.insert(0, "the engine was not understood: ");
    }
    return parsed;
  }
  try {
    return make_onnx_engine(file);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return DescriptionError{std::string("the ONNX model was not taken: ") + error.what()};
  }
}

class Runtime final : public nvinfer1::IRuntime, public nvinfer1::apiv::VRuntime {
 public:
  explicit Runtime(nvinfer1::ILogger& logger)
      : data_(std::make_shared<RuntimeData>(logger)), registered_logger_(logger) {
    mImpl = this;
  }

  ~Runtime() noexcept override {
    const InsideBoard inside_board;
    tensorrt_destructor(Function::kRuntimeDestroy, data_->logger);
    if (data_->engines != 0) {
      report_error(data_->logger, Function::kRuntimeDestroy, kApiUsageError,
                   "the runtime is destroyed before its engines");
    }
  }

  nvinfer1::IRuntime* getPImpl() noexcept override { return this; }

  nvinfer1::ICudaEngine* deserializeCudaEngine(void const* blob, std::size_t size) noexcept override {
    const auto describe = [&] { return std::to_string(size) + " bytes"; };
    return tensorrt_call(Function::kRuntimeDeserialize, data_->logger,
                         static_cast<nvinfer1::ICudaEngine*>(nullptr), describe,
                         [&] { return deserialize(static_cast<const char*>(blob), size); });
  }

 private:
  nvinfer1::ICudaEngine* deserialize(const char* blob, std::size_t size) const {
    check_driver();
    if (blob == nullptr) {
      throw ApiUsageError("the engine's address is null");
    }
    auto read = read_engine({blob, size});
    if (const auto* error = std::get_if<DescriptionError>(&read)) {
      throw Failure(kSerializationError, error->message);
    }
    auto description = std::get<EngineDescription>(std::move(read));
    set_network_runner(description.network->runner());
    auto engine = std::make_shared<EngineData>(data_, std::move(description));
    engine->take_memory(kEngineMemory + size);
    return std::make_unique<Engine>(std::move(engine)).release();
  }

  std::shared_ptr<RuntimeData> data_;
  RegisteredLogger registered_logger_;
  CountedObject counted_{ObjectKind::kRuntime};
};

// Used when the program passes no logger.
class StandardErrorLogger final : public nvinfer1::ILogger {
 public:
  void log(Severity /*severity*/, char const* message) noexcept override {
    std::fprintf(stderr, "%s\n", message);
  }
};

// The inline createInferRuntime() passes the version of its header as one number.
constexpr std::int32_t major_version(std::int32_t version) { return version / 10000; }

// Returned instead of a runtime when none can be created. The real function adds the offset of a base class
// to a null pointer.
void* const kNoRuntime = reinterpret_cast<void*>(0x228);  // NOLINT

}  // namespace

}  // namespace emulated_board::nvinfer

extern "C" void* createInferRuntime_INTERNAL(void* logger, std::int32_t version) noexcept {
  using namespace emulated_board;
  using namespace emulated_board::nvinfer;
  StandardErrorLogger standard_error;
  nvinfer1::ILogger& program_logger =
      *(logger != nullptr ? static_cast<nvinfer1::ILogger*>(logger) : &standard_error);
  const auto describe = [&] { return "version " + std::to_string(version); };
  return tensorrt_call(Function::kCreateInferRuntime, program_logger, kNoRuntime, describe, [&]() -> void* {
    if (logger == nullptr) {
      throw ApiUsageError("the logger is null");
    }
    if (major_version(version) != NV_TENSORRT_MAJOR) {
      throw ApiUsageError("the program was built for version " + std::to_string(version) +
                          "; this is TensorRT " + std::to_string(NV_TENSORRT_MAJOR));
    }
    check_driver();
    // The type to which createInferRuntime() casts the result.
    return static_cast<nvinfer1::IRuntime*>(std::make_unique<Runtime>(program_logger).release());
  });
}
