// TrtEngineWrapper, initialisation: from an engine file to an object that is ready for 640 x 480.
// Runs every other phase once, in order, up to the first that fails.
#include "engine/cuda_check.h"
#include "engine/engine_file.h"
#include "engine/trt_engine_wrapper.h"
#include "log/trt_logger.h"

namespace enhance_depth {
bool TrtEngineWrapper::init(const char* engine_path) {
  if (initialized) {
    return true;
  }
  if (engine_path == nullptr) {
    return fail(ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT, "Engine path must not be null.");
  }
  if (!timer.initialized()) {
    check_cuda(timer.init_error(), "cudaEventCreate(timer)", error_detail);
    return fail(ENHANCE_DEPTH_ERROR_CUDA_RESOURCE_CREATE_FAILED, error_detail);
  }
  // The serialized engine is as large as the network and no longer needed once it is deserialized.
  struct EngineDataGuard {
    TrtEngineWrapper& wrapper;
    ~EngineDataGuard() {
      wrapper.engine_data.reset();
      wrapper.engine_size = 0;
    }
  };
  const EngineDataGuard engine_data_guard{*this};
  if (!read_engine_file(engine_path, engine_data, engine_size, error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT, error_detail);
  }
  runtime.reset(object_or_null(nvinfer1::createInferRuntime(g_logger)));
  if (runtime == nullptr) {
    return fail(ENHANCE_DEPTH_ERROR_RUNTIME_CREATE_FAILED, "Failed to create TensorRT runtime.");
  }
  engine.reset(object_or_null(runtime->deserializeCudaEngine(engine_data.get(), engine_size)));
  if (engine == nullptr) {
    return fail(ENHANCE_DEPTH_ERROR_ENGINE_DESERIALIZE_FAILED, "Failed to deserialize TensorRT engine.");
  }
  context.reset(
      object_or_null(engine->createExecutionContext(nvinfer1::ExecutionContextAllocationStrategy::kSTATIC)));
  if (context == nullptr) {
    return fail(ENHANCE_DEPTH_ERROR_CONTEXT_CREATE_FAILED, "Failed to create TensorRT execution context.");
  }
  if (!validate_engine_io() || !allocate() || !warmup()) {
    return false;
  }
  initialized = true;
  clear_error();
  return true;
}

}  // namespace enhance_depth
