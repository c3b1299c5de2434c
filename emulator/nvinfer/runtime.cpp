// The runtime object and the function that makes it.
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include <NvInferRuntime.h>

#include "core/call.h"
#include "core/live_objects.h"
#include "nvinfer/engine.h"
#include "nvinfer/engine_description.h"
#include "nvinfer/report.h"

namespace emulated_board::nvinfer {

namespace {

class Runtime final : public nvinfer1::IRuntime, public nvinfer1::apiv::VRuntime {
 public:
  explicit Runtime(nvinfer1::ILogger& logger) : logger_(logger) { mImpl = this; }
  ~Runtime() noexcept override {
    const InsideBoard inside_board;
    tensorrt_destructor(Function::kRuntimeDestroy, logger_.get());
  }

  nvinfer1::IRuntime* getPImpl() noexcept override { return this; }

  nvinfer1::ICudaEngine* deserializeCudaEngine(void const* blob, std::size_t size) noexcept override {
    nvinfer1::ILogger& logger = logger_.get();
    const auto describe = [&] { return std::to_string(size) + " bytes"; };
    return tensorrt_call(Function::kRuntimeDeserialize, logger, static_cast<nvinfer1::ICudaEngine*>(nullptr),
                         describe, [&]() -> nvinfer1::ICudaEngine* {
                           if (blob == nullptr) throw ApiUsageError("the engine's address is null");
                           auto parsed = parse_engine_description({static_cast<const char*>(blob), size});
                           if (const auto* error = std::get_if<DescriptionError>(&parsed)) {
                             report_error(logger, Function::kRuntimeDeserialize, ErrorCode::kSerialization,
                                          "the engine was not understood: " + error->message);
                             return nullptr;
                           }
                           auto data = std::make_shared<EngineData>(
                               logger, std::get<EngineDescription>(std::move(parsed)));
                           return std::make_unique<Engine>(std::move(data)).release();
                         });
  }

 private:
  RegisteredLogger logger_;
  CountedObject counted_{ObjectKind::kRuntime};
};

// Takes the complaint of a program that gives no logger.
class StandardErrorLogger final : public nvinfer1::ILogger {
 public:
  void log(Severity /*severity*/, char const* message) noexcept override {
    std::fprintf(stderr, "%s\n", message);
  }
};

// The inline createInferRuntime() passes its headers' version as one number.
constexpr std::int32_t major_version(std::int32_t version) { return version / 10000; }

}  // namespace

}  // namespace emulated_board::nvinfer

extern "C" void* createInferRuntime_INTERNAL(void* logger, std::int32_t version) noexcept {
  using namespace emulated_board;
  using namespace emulated_board::nvinfer;
  StandardErrorLogger standard_error;
  nvinfer1::ILogger& program_logger =
      *(logger != nullptr ? static_cast<nvinfer1::ILogger*>(logger) : &standard_error);
  const auto describe = [&] { return "version " + std::to_string(version); };
  return tensorrt_call(
      Function::kCreateInferRuntime, program_logger, static_cast<void*>(nullptr), describe, [&]() -> void* {
        if (logger == nullptr) throw ApiUsageError("the logger is null");
        if (major_version(version) != NV_TENSORRT_MAJOR) {
          throw ApiUsageError("the program was built for version " + std::to_string(version) +
                              "; this is TensorRT " + std::to_string(NV_TENSORRT_MAJOR));
        }
        // As the pointer to which createInferRuntime() casts it back.
        return static_cast<nvinfer1::IRuntime*>(std::make_unique<Runtime>(program_logger).release());
      });
}
