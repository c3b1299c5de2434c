// Interface of the TensorRT 10 runtime: what enhance_depth uses of it, for building where TensorRT is not
// installed. Binary compatible with libnvinfer.so.10: every operation is an inline call through a slot of the
// object's virtual table (NvInferImpl.h).
#ifndef NV_INFER_RUNTIME_H
#define NV_INFER_RUNTIME_H

#include "NvInferImpl.h"
#include "NvInferRuntimeBase.h"
#include "NvInferVersion.h"

namespace nvinfer1 {

class IExecutionContext : public INoCopy {
 public:
  ~IExecutionContext() noexcept override = default;

  bool setOptimizationProfileAsync(std::int32_t profileIndex, cudaStream_t stream) noexcept {
    return mImpl->setOptimizationProfileAsync(profileIndex, stream);
  }
  bool setInputShape(char const* tensorName, Dims const& dims) noexcept {
    return mImpl->setInputShape(tensorName, dims);
  }
  Dims getTensorShape(char const* tensorName) const noexcept { return mImpl->getTensorShape(tensorName); }
  bool setTensorAddress(char const* tensorName, void* data) noexcept {
    return mImpl->setTensorAddress(tensorName, data);
  }
  bool enqueueV3(cudaStream_t stream) noexcept { return mImpl->enqueueV3(stream); }

 protected:
  apiv::VExecutionContext* mImpl;
};

class ICudaEngine : public INoCopy {
 public:
  ~ICudaEngine() noexcept override = default;

  IExecutionContext* createExecutionContext(
      ExecutionContextAllocationStrategy strategy = ExecutionContextAllocationStrategy::kSTATIC) noexcept {
    return mImpl->createExecutionContext(strategy);
  }
  std::int32_t getNbOptimizationProfiles() const noexcept { return mImpl->getNbOptimizationProfiles(); }
  Dims getTensorShape(char const* tensorName) const noexcept { return mImpl->getTensorShape(tensorName); }
  DataType getTensorDataType(char const* tensorName) const noexcept {
    return mImpl->getTensorDataType(tensorName);
  }
  TensorIOMode getTensorIOMode(char const* tensorName) const noexcept {
    return mImpl->getTensorIOMode(tensorName);
  }
  Dims getProfileShape(char const* tensorName, std::int32_t profileIndex,
                       OptProfileSelector select) const noexcept {
    return mImpl->getProfileShape(tensorName, profileIndex, select);
  }
  std::int32_t getNbIOTensors() const noexcept { return mImpl->getNbIOTensors(); }
  char const* getIOTensorName(std::int32_t index) const noexcept { return mImpl->getIOTensorName(index); }

 protected:
  apiv::VCudaEngine* mImpl;
};

class IRuntime : public INoCopy {
 public:
  ~IRuntime() noexcept override = default;

  ICudaEngine* deserializeCudaEngine(void const* blob, std::size_t size) noexcept {
    return mImpl->deserializeCudaEngine(blob, size);
  }

 protected:
  apiv::VRuntime* mImpl;
};

}  // namespace nvinfer1

extern "C" void* createInferRuntime_INTERNAL(void* logger, std::int32_t version) noexcept;

namespace nvinfer1 {

// A new runtime that reports to `logger`, or null. Release it with `delete`, after all that it made.
inline IRuntime* createInferRuntime(ILogger& logger) noexcept {
  return static_cast<IRuntime*>(createInferRuntime_INTERNAL(&logger, NV_TENSORRT_VERSION));
}

}  // namespace nvinfer1

#endif  // NV_INFER_RUNTIME_H
