// The execution context: shapes, addresses and queued runs of one user of an engine. It reports misuse that
// gives wrong results on a real board: a context may be used by one thread and its runs by one stream at a
// time, and while a run is queued the context must not be destroyed or given other shapes.
#ifndef EMULATED_BOARD_NVINFER_CONTEXT_H
#define EMULATED_BOARD_NVINFER_CONTEXT_H

#include <atomic>
#include <memory>
#include <optional>
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
  // The state of one tensor.
  struct Binding {
    nvinfer1::Dims shape{};  // of an input: as set, else as the engine declares it
    void* address = nullptr;
  };
  // What a queued run checks when it is executed.
  struct State {
    std::atomic<bool> destroyed{false};
    std::atomic<bool> corrupted{false};  // two threads used it at once
  };
  // Held by every function that changes the context. Throws Failure if another thread holds one, or if this
  // process cannot use the device.
  class Use {
   public:
    explicit Use(ExecutionContext& context);
    ~Use();
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

   private:
    ExecutionContext& context_;
  };
  bool run_pending() const;
  std::size_t index_of(const char* name) const;
  nvinfer1::Dims current_shape(std::size_t index) const;
  void forget_shapes();
  void check_input_shape(const TensorDescription& tensor, const nvinfer1::Dims& shape) const;
  BoundTensor bind(std::size_t index) const;
  void check_order(cudaStream_t stream) const;
  static void check_overlap(const std::vector<BoundTensor>& tensors);

  std::shared_ptr<EngineData> engine_;
  std::vector<Binding> bindings_;
  std::int32_t profile_ = 0;
  std::optional<QueueMark> profile_set_;  // where the profile was chosen
  std::optional<QueueMark> last_run_;
  std::atomic<bool> in_use_{false};
  std::shared_ptr<State> state_ = std::make_shared<State>();
  CountedObject counted_{ObjectKind::kContext};
};

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_CONTEXT_H
