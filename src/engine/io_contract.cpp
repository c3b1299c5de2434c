// TrtEngineWrapper, the I/O contract: which named tensors an engine must have.
// Directions and element types are checked here, shapes when buffers are created for a resolution.
#include <cstring>

#include "engine/tensor_text.h"
#include "engine/trt_engine_wrapper.h"
#include "log/log_bridge.h"

namespace enhance_depth {
namespace {

struct TensorMeta {
  nvinfer1::TensorIOMode mode;
  nvinfer1::DataType type;
  nvinfer1::Dims64 shape;
};

// TensorRT's queries do not throw; if one ever does, its state is beyond repair and the process ends.
TensorMeta query_tensor_meta(const nvinfer1::ICudaEngine& engine, const char* name) noexcept {
  return {engine.getTensorIOMode(name), engine.getTensorDataType(name), engine.getTensorShape(name)};
}

}  // namespace

bool TrtEngineWrapper::validate_engine_io() {
  const int tensor_count = engine->getNbIOTensors();
  if (tensor_count != 3 && tensor_count != 4) {
    return fail(ENHANCE_DEPTH_ERROR_INVALID_ENGINE_IO, "Expected 3 or 4 IO tensors in the engine.");
  }
  if (!validate_tensor_meta(rgb_tensor_name, nvinfer1::TensorIOMode::kINPUT, nvinfer1::DataType::kUINT8) ||
      !validate_tensor_meta(depth_tensor_name, nvinfer1::TensorIOMode::kINPUT, nvinfer1::DataType::kFLOAT) ||
      !validate_tensor_meta(pred_tensor_name, nvinfer1::TensorIOMode::kOUTPUT, nvinfer1::DataType::kFLOAT)) {
    return false;
  }
  has_confidence_output = tensor_exists(conf_tensor_name);
  return !has_confidence_output ||
         validate_tensor_meta(conf_tensor_name, nvinfer1::TensorIOMode::kOUTPUT, nvinfer1::DataType::kFLOAT);
}

bool TrtEngineWrapper::validate_tensor_meta(const char* name, nvinfer1::TensorIOMode expected_mode,
                                            nvinfer1::DataType expected_type) {
  if (!tensor_exists(name)) {
    return fail(ENHANCE_DEPTH_ERROR_TENSOR_NOT_FOUND,
                std::string("Required tensor not found in engine: ") + name);
  }
  const TensorMeta meta = query_tensor_meta(*engine, name);
  log_orbbec_message(OB_LOG_SEVERITY_INFO,
                     std::string("TEST Tensor ") + name +
                         ": mode=" + (meta.mode == nvinfer1::TensorIOMode::kINPUT ? "INPUT" : "OUTPUT") +
                         ", shape=" + dims_to_string(meta.shape) + ", dtype=" + dtype_to_string(meta.type),
                     __FILE__, "validate_tensor_meta", __LINE__);
  if (meta.mode != expected_mode) {
    return fail(ENHANCE_DEPTH_ERROR_TENSOR_MODE_MISMATCH, std::string("Tensor mode mismatch for ") + name);
  }
  if (meta.type != expected_type) {
    return fail(ENHANCE_DEPTH_ERROR_TENSOR_DTYPE_MISMATCH,
                std::string("Tensor dtype mismatch for ") + name + ". Expected " +
                    dtype_to_string(expected_type) + ", got " + dtype_to_string(meta.type));
  }
  return true;
}

bool TrtEngineWrapper::tensor_exists(const char* name) const noexcept {
  if (engine == nullptr || name == nullptr) {
    return false;
  }
  const int tensor_count = engine->getNbIOTensors();
  for (int i = 0; i < tensor_count; ++i) {
    const char* candidate = engine->getIOTensorName(i);
    if (candidate != nullptr && std::strcmp(candidate, name) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace enhance_depth
