// The execution context: shapes and addresses of one user of an engine.
#ifndef EMULATED_BOARD_NVINFER_CONTEXT_H
#define EMULATED_BOARD_NVINFER_CONTEXT_H

#include <memory>
#include <vector>

#include <NvInferRuntime.h>

#include "core/live_objects.h"
#include "nvinfer/engine.h"

namespace emulated_board::nvinfer {

class ExecutionContext final : public nvinfer1::IExecutionContext, public nvinfer1::apiv::VExecutionContext {
 public:
  explicit ExecutionContext(std::shared_ptr<EngineData> engine);
  ~ExecutionContext() noexcept override;

  nvinfer1::IExecutionContext* getPImpl() noexcept override { return this; }
  bool setOptimizationProfileAsync(std::int32_t profile, cudaStream_t stream) noexcept override;
  bool setInputShape(char const* name, nvinfer1::Dims const& dims) noexcept override;
  nvinfer1::Dims getTensorShape(char const* name) const noexcept override;
  bool setTensorAddress(char const* name, void* data) noexcept override;
  bool enqueueV3(cudaStream_t stream) noexcept override;

 private:
  // The state of one tensor; beside the engine's list of tensors.
  struct Binding {
    nvinfer1::Dims shape{};  // of an input: as set, else as the engine declares it
    void* address = nullptr;
  };
  std::size_t index_of(const char* name) const;
  nvinfer1::Dims current_shape(std::size_t index) const;
  void forget_shapes();
  void check_input_shape(const TensorDescription& tensor, const nvinfer1::Dims& shape) const;
  BoundTensor bind(std::size_t index) const;

  std::shared_ptr<EngineData> engine_;
  std::vector<Binding> bindings_;
  std::int32_t profile_ = 0;
  CountedObject counted_{ObjectKind::kContext};
};

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_CONTEXT_H
