// The virtual tables behind the public TensorRT classes, slot by slot as TensorRT 10 lays them out. All slots
// are present; those that enhance_depth does not use end the process when they are called.
#ifndef NV_INFER_IMPL_H
#define NV_INFER_IMPL_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "NvInferRuntimeBase.h"

namespace nvinfer1 {

class IRuntime;
class ICudaEngine;
class IExecutionContext;

namespace apiv {

namespace detail {

[[noreturn]] inline void unusedSlot(char const* table, int slot) noexcept {
  std::fprintf(stderr, "TensorRT interface: %s slot %d was called but is not described\n", table, slot);
  std::abort();
}

}  // namespace detail

// Slots 0 and 1 of every table are the complete and the deleting destructor.
class VRoot {
 public:
  virtual ~VRoot() noexcept = default;
};

// Behind IRuntime.
class VRuntime : public VRoot {
 public:
  virtual IRuntime* getPImpl() noexcept = 0;                                                    // slot 2
  virtual ICudaEngine* deserializeCudaEngine(void const* blob, std::size_t size) noexcept = 0;  // slot 3
  virtual void slot4() noexcept { detail::unusedSlot("VRuntime", 4); }
  virtual void slot5() noexcept { detail::unusedSlot("VRuntime", 5); }
  virtual void slot6() noexcept { detail::unusedSlot("VRuntime", 6); }
  virtual void slot7() noexcept { detail::unusedSlot("VRuntime", 7); }
  virtual void slot8() noexcept { detail::unusedSlot("VRuntime", 8); }
  virtual void slot9() noexcept { detail::unusedSlot("VRuntime", 9); }
  virtual void slot10() noexcept { detail::unusedSlot("VRuntime", 10); }
  virtual void slot11() noexcept { detail::unusedSlot("VRuntime", 11); }
  virtual void slot12() noexcept { detail::unusedSlot("VRuntime", 12); }
  virtual void slot13() noexcept { detail::unusedSlot("VRuntime", 13); }
  virtual void slot14() noexcept { detail::unusedSlot("VRuntime", 14); }
  virtual void slot15() noexcept { detail::unusedSlot("VRuntime", 15); }
  virtual void slot16() noexcept { detail::unusedSlot("VRuntime", 16); }
  virtual void slot17() noexcept { detail::unusedSlot("VRuntime", 17); }
  virtual void slot18() noexcept { detail::unusedSlot("VRuntime", 18); }
  virtual void slot19() noexcept { detail::unusedSlot("VRuntime", 19); }
  virtual void slot20() noexcept { detail::unusedSlot("VRuntime", 20); }
  virtual void slot21() noexcept { detail::unusedSlot("VRuntime", 21); }
  virtual void slot22() noexcept { detail::unusedSlot("VRuntime", 22); }
};

// Behind ICudaEngine.
class VCudaEngine : public VRoot {
 public:
  virtual ICudaEngine* getPImpl() noexcept = 0;  // slot 2
  virtual void slot3() noexcept { detail::unusedSlot("VCudaEngine", 3); }
  virtual void slot4() noexcept { detail::unusedSlot("VCudaEngine", 4); }
  virtual IExecutionContext* createExecutionContext(
      ExecutionContextAllocationStrategy strategy) noexcept = 0;  // slot 5
  virtual void slot6() noexcept { detail::unusedSlot("VCudaEngine", 6); }
  virtual void slot7() noexcept { detail::unusedSlot("VCudaEngine", 7); }
  virtual void slot8() noexcept { detail::unusedSlot("VCudaEngine", 8); }
  virtual void slot9() noexcept { detail::unusedSlot("VCudaEngine", 9); }
  virtual std::int32_t getNbOptimizationProfiles() const noexcept = 0;  // slot 10
  virtual void slot11() noexcept { detail::unusedSlot("VCudaEngine", 11); }
  virtual void slot12() noexcept { detail::unusedSlot("VCudaEngine", 12); }
  virtual void slot13() noexcept { detail::unusedSlot("VCudaEngine", 13); }
  virtual void slot14() noexcept { detail::unusedSlot("VCudaEngine", 14); }
  virtual void slot15() noexcept { detail::unusedSlot("VCudaEngine", 15); }
  virtual void slot16() noexcept { detail::unusedSlot("VCudaEngine", 16); }
  virtual void slot17() noexcept { detail::unusedSlot("VCudaEngine", 17); }
  virtual void slot18() noexcept { detail::unusedSlot("VCudaEngine", 18); }
  virtual Dims getTensorShape(char const* name) const noexcept = 0;         // slot 19
  virtual DataType getTensorDataType(char const* name) const noexcept = 0;  // slot 20
  virtual void slot21() noexcept { detail::unusedSlot("VCudaEngine", 21); }
  virtual void slot22() noexcept { detail::unusedSlot("VCudaEngine", 22); }
  virtual TensorIOMode getTensorIOMode(char const* name) const noexcept = 0;  // slot 23
  virtual void slot24() noexcept { detail::unusedSlot("VCudaEngine", 24); }
  virtual void slot25() noexcept { detail::unusedSlot("VCudaEngine", 25); }
  virtual void slot26() noexcept { detail::unusedSlot("VCudaEngine", 26); }
  virtual void slot27() noexcept { detail::unusedSlot("VCudaEngine", 27); }
  virtual void slot28() noexcept { detail::unusedSlot("VCudaEngine", 28); }
  virtual Dims getProfileShape(char const* name, std::int32_t profile,
                               OptProfileSelector select) const noexcept = 0;  // slot 29
  virtual std::int32_t getNbIOTensors() const noexcept = 0;                    // slot 30
  virtual char const* getIOTensorName(std::int32_t index) const noexcept = 0;  // slot 31
  virtual void slot32() noexcept { detail::unusedSlot("VCudaEngine", 32); }
  virtual void slot33() noexcept { detail::unusedSlot("VCudaEngine", 33); }
  virtual void slot34() noexcept { detail::unusedSlot("VCudaEngine", 34); }
  virtual void slot35() noexcept { detail::unusedSlot("VCudaEngine", 35); }
  virtual void slot36() noexcept { detail::unusedSlot("VCudaEngine", 36); }
  virtual void slot37() noexcept { detail::unusedSlot("VCudaEngine", 37); }
  virtual void slot38() noexcept { detail::unusedSlot("VCudaEngine", 38); }
  virtual void slot39() noexcept { detail::unusedSlot("VCudaEngine", 39); }
  virtual void slot40() noexcept { detail::unusedSlot("VCudaEngine", 40); }
  virtual void slot41() noexcept { detail::unusedSlot("VCudaEngine", 41); }
  virtual void slot42() noexcept { detail::unusedSlot("VCudaEngine", 42); }
  virtual void slot43() noexcept { detail::unusedSlot("VCudaEngine", 43); }
  virtual void slot44() noexcept { detail::unusedSlot("VCudaEngine", 44); }
  virtual void slot45() noexcept { detail::unusedSlot("VCudaEngine", 45); }
  virtual void slot46() noexcept { detail::unusedSlot("VCudaEngine", 46); }
  virtual void slot47() noexcept { detail::unusedSlot("VCudaEngine", 47); }
  virtual void slot48() noexcept { detail::unusedSlot("VCudaEngine", 48); }
  virtual void slot49() noexcept { detail::unusedSlot("VCudaEngine", 49); }
  virtual void slot50() noexcept { detail::unusedSlot("VCudaEngine", 50); }
  virtual void slot51() noexcept { detail::unusedSlot("VCudaEngine", 51); }
  virtual void slot52() noexcept { detail::unusedSlot("VCudaEngine", 52); }
  virtual void slot53() noexcept { detail::unusedSlot("VCudaEngine", 53); }
};

// Behind IExecutionContext.
class VExecutionContext : public VRoot {
 public:
  virtual IExecutionContext* getPImpl() noexcept = 0;  // slot 2
  virtual void slot3() noexcept { detail::unusedSlot("VExecutionContext", 3); }
  virtual void slot4() noexcept { detail::unusedSlot("VExecutionContext", 4); }
  virtual void slot5() noexcept { detail::unusedSlot("VExecutionContext", 5); }
  virtual void slot6() noexcept { detail::unusedSlot("VExecutionContext", 6); }
  virtual void slot7() noexcept { detail::unusedSlot("VExecutionContext", 7); }
  virtual void slot8() noexcept { detail::unusedSlot("VExecutionContext", 8); }
  virtual void slot9() noexcept { detail::unusedSlot("VExecutionContext", 9); }
  virtual void slot10() noexcept { detail::unusedSlot("VExecutionContext", 10); }
  virtual void slot11() noexcept { detail::unusedSlot("VExecutionContext", 11); }
  virtual void slot12() noexcept { detail::unusedSlot("VExecutionContext", 12); }
  virtual void slot13() noexcept { detail::unusedSlot("VExecutionContext", 13); }
  virtual void slot14() noexcept { detail::unusedSlot("VExecutionContext", 14); }
  virtual void slot15() noexcept { detail::unusedSlot("VExecutionContext", 15); }
  virtual void slot16() noexcept { detail::unusedSlot("VExecutionContext", 16); }
  virtual bool setOptimizationProfileAsync(std::int32_t profile,
                                           cudaStream_t stream) noexcept = 0;  // slot 17
  virtual void slot18() noexcept { detail::unusedSlot("VExecutionContext", 18); }
  virtual void slot19() noexcept { detail::unusedSlot("VExecutionContext", 19); }
  virtual void slot20() noexcept { detail::unusedSlot("VExecutionContext", 20); }
  virtual bool setInputShape(char const* name, Dims const& dims) noexcept = 0;  // slot 21
  virtual Dims getTensorShape(char const* name) const noexcept = 0;             // slot 22
  virtual void slot23() noexcept { detail::unusedSlot("VExecutionContext", 23); }
  virtual bool setTensorAddress(char const* name, void* data) noexcept = 0;  // slot 24
  virtual void slot25() noexcept { detail::unusedSlot("VExecutionContext", 25); }
  virtual void slot26() noexcept { detail::unusedSlot("VExecutionContext", 26); }
  virtual void slot27() noexcept { detail::unusedSlot("VExecutionContext", 27); }
  virtual void slot28() noexcept { detail::unusedSlot("VExecutionContext", 28); }
  virtual void slot29() noexcept { detail::unusedSlot("VExecutionContext", 29); }
  virtual void slot30() noexcept { detail::unusedSlot("VExecutionContext", 30); }
  virtual void slot31() noexcept { detail::unusedSlot("VExecutionContext", 31); }
  virtual void slot32() noexcept { detail::unusedSlot("VExecutionContext", 32); }
  virtual void slot33() noexcept { detail::unusedSlot("VExecutionContext", 33); }
  virtual void slot34() noexcept { detail::unusedSlot("VExecutionContext", 34); }
  virtual void slot35() noexcept { detail::unusedSlot("VExecutionContext", 35); }
  virtual void slot36() noexcept { detail::unusedSlot("VExecutionContext", 36); }
  virtual bool enqueueV3(cudaStream_t stream) noexcept = 0;  // slot 37
  virtual void slot38() noexcept { detail::unusedSlot("VExecutionContext", 38); }
  virtual void slot39() noexcept { detail::unusedSlot("VExecutionContext", 39); }
  virtual void slot40() noexcept { detail::unusedSlot("VExecutionContext", 40); }
  virtual void slot41() noexcept { detail::unusedSlot("VExecutionContext", 41); }
  virtual void slot42() noexcept { detail::unusedSlot("VExecutionContext", 42); }
  virtual void slot43() noexcept { detail::unusedSlot("VExecutionContext", 43); }
  virtual void slot44() noexcept { detail::unusedSlot("VExecutionContext", 44); }
  virtual void slot45() noexcept { detail::unusedSlot("VExecutionContext", 45); }
  virtual void slot46() noexcept { detail::unusedSlot("VExecutionContext", 46); }
  virtual void slot47() noexcept { detail::unusedSlot("VExecutionContext", 47); }
  virtual void slot48() noexcept { detail::unusedSlot("VExecutionContext", 48); }
  virtual void slot49() noexcept { detail::unusedSlot("VExecutionContext", 49); }
};

}  // namespace apiv
}  // namespace nvinfer1

#endif  // NV_INFER_IMPL_H
