// The engine object.
#ifndef EMULATED_BOARD_NVINFER_ENGINE_H
#define EMULATED_BOARD_NVINFER_ENGINE_H

#include <atomic>
#include <memory>

#include <NvInferRuntime.h>

#include "core/live_objects.h"
#include "nvinfer/engine_description.h"

namespace emulated_board::nvinfer {

// What an engine and its contexts share.
struct EngineData {
  nvinfer1::ILogger& logger;
  EngineDescription description;
  std::atomic<int> contexts{0};

  EngineData(nvinfer1::ILogger& engine_logger, EngineDescription engine_description)
      : logger(engine_logger), description(std::move(engine_description)) {}

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
