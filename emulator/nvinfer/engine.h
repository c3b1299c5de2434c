// The engine object.
#ifndef EMULATED_BOARD_NVINFER_ENGINE_H
#define EMULATED_BOARD_NVINFER_ENGINE_H

#include <atomic>
#include <memory>

#include <NvInferRuntime.h>

#include "core/live_objects.h"
#include "device/device_access.h"
#include "nvinfer/engine_description.h"

namespace emulated_board::nvinfer {

// Shared by a runtime and its engines.
struct RuntimeData {
  nvinfer1::ILogger& logger;
  std::atomic<int> engines{0};

  explicit RuntimeData(nvinfer1::ILogger& runtime_logger) : logger(runtime_logger) {}
};

// Shared by an engine, its contexts and their queued runs.
struct EngineData {
  std::shared_ptr<RuntimeData> runtime;
  nvinfer1::ILogger& logger;
  EngineDescription description;
  std::atomic<int> contexts{0};
  std::atomic<bool> destroyed{false};
  MemoryInUse memory;  // of the engine and its contexts; released as a whole with the engine

  EngineData(std::shared_ptr<RuntimeData> engine_runtime, EngineDescription engine_description)
      : runtime(std::move(engine_runtime)),
        logger(runtime->logger),
        description(std::move(engine_description)) {}

  // Takes device memory. Throws Failure if that much is not free.
  void take_memory(std::size_t size);

  // Throws ApiUsageError for an unknown or null name.
  const TensorDescription& tensor(const char* name) const;
};

class Engine final : public nvinfer1::ICudaEngine, public nvinfer1::apiv::VCudaEngine {
 public:
  explicit Engine(std::shared_ptr<EngineData> data);
  ~Engine() noexcept override;

  nvinfer1::ICudaEngine* getPImpl() noexcept override { return this; }
  nvinfer1::IExecutionContext* createExecutionContext(
      nvinfer1::ExecutionContextAllocationStrategy strategy) noexcept override;
  std::int32_t getNbOptimizationProfiles() const noexcept override;
  nvinfer1::Dims getTensorShape(char const* name) const noexcept override;
  nvinfer1::DataType getTensorDataType(char const* name) const noexcept override;
  nvinfer1::TensorIOMode getTensorIOMode(char const* name) const noexcept override;
  nvinfer1::Dims getProfileShape(char const* name, std::int32_t profile,
                                 nvinfer1::OptProfileSelector select) const noexcept override;
  std::int32_t getNbIOTensors() const noexcept override;
  char const* getIOTensorName(std::int32_t index) const noexcept override;

 private:
  std::shared_ptr<EngineData> data_;
  CountedObject counted_{ObjectKind::kEngine};
};

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_ENGINE_H
