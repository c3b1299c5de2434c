// TrtEngineWrapper, device buffers: from a resolution to a bound execution context.
// Afterwards the object holds either all of them or none.
#include "engine/host_image.h"
#include "engine/tensor_shape.h"
#include "engine/tensor_text.h"
#include "engine/trt_engine_wrapper.h"
#include "log/log_bridge.h"

namespace enhance_depth {
namespace {

// Unless dismissed, releases what allocate() has created so far; the last error stays.
class AllocateCleanupGuard {
 public:
  explicit AllocateCleanupGuard(TrtEngineWrapper* wrapper) : wrapper_(wrapper) {}
  ~AllocateCleanupGuard() {
    if (active_ && wrapper_ != nullptr) {
      wrapper_->delete_buffer(false);
    }
  }
  AllocateCleanupGuard(const AllocateCleanupGuard&) = delete;
  AllocateCleanupGuard& operator=(const AllocateCleanupGuard&) = delete;
  void dismiss() { active_ = false; }

 private:
  TrtEngineWrapper* wrapper_;
  bool active_ = true;
};

}  // namespace

bool TrtEngineWrapper::allocate() {
  if (input_width < 1 || input_height < 1) {
    return fail(ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT,
                "Invalid dynamic input shape. Width and height must be positive.");
  }
  AllocateCleanupGuard guard(this);
  if (!create_stream() || !apply_input_shapes() || !read_back_shapes() || !create_buffers() ||
      !bind_buffers()) {
    return false;
  }
  buffers_ready = true;
  log_orbbec_message(OB_LOG_SEVERITY_INFO,
                     "Configured dynamic TensorRT profile=" + std::to_string(profile_index) +
                         ", rgb=" + dims_to_string(rgb_dims) + ", depth=" + dims_to_string(depth_dims) +
                         ", pred=" + dims_to_string(pred_dims) +
                         ", conf=" + (has_confidence_output ? dims_to_string(conf_dims) : "<none>"),
                     __FILE__, "allocate", __LINE__);
  guard.dismiss();
  return true;
}

bool TrtEngineWrapper::create_stream() {
  const cudaError status = cudaStreamCreate(&stream);
  if (status != cudaSuccess) {
    stream = nullptr;  // the failed call may have written to it; reset before check(), which can throw
  }
  return check(status, "cudaStreamCreate", ENHANCE_DEPTH_ERROR_CUDA_RESOURCE_CREATE_FAILED);
}

// The rank of the engine's colour tensor determines its layout: four dimensions (with a batch) are planar,
// three are interleaved.
bool TrtEngineWrapper::apply_input_shapes() {
  const nvinfer1::Dims64 declared = engine->getTensorShape(rgb_tensor_name);
  nvinfer1::Dims64 rgb_shape{};
  if (declared.nbDims == 4) {
    rgb_shape = {4, {batch_size, rgb_channels, input_height, input_width}};
  } else if (declared.nbDims == 3) {
    rgb_shape = {3, {input_height, input_width, rgb_channels}};
  } else {
    return fail(ENHANCE_DEPTH_ERROR_INVALID_ENGINE_IO,
                "Unexpected rgb tensor rank: " + dims_to_string(declared));
  }
  const nvinfer1::Dims64 depth_shape{4, {batch_size, depth_channels, input_height, input_width}};

  const int profile = find_compatible_profile(rgb_shape, depth_shape);
  if (profile < 0) {
    return false;
  }
  profile_index = profile;
  if (!context->setOptimizationProfileAsync(profile_index, stream)) {
    return fail(ENHANCE_DEPTH_ERROR_SET_PROFILE_FAILED,
                "Failed to set TensorRT optimization profile " + std::to_string(profile_index) + ".");
  }
  if (!context->setInputShape(rgb_tensor_name, rgb_shape)) {
    return fail(ENHANCE_DEPTH_ERROR_SET_INPUT_SHAPE_FAILED,
                "Failed to set rgb input shape to " + dims_to_string(rgb_shape));
  }
  if (!context->setInputShape(depth_tensor_name, depth_shape)) {
    return fail(ENHANCE_DEPTH_ERROR_SET_INPUT_SHAPE_FAILED,
                "Failed to set depth input shape to " + dims_to_string(depth_shape));
  }
  return true;
}

bool TrtEngineWrapper::read_back_shapes() {
  rgb_dims = context->getTensorShape(rgb_tensor_name);
  depth_dims = context->getTensorShape(depth_tensor_name);
  pred_dims = context->getTensorShape(pred_tensor_name);
  conf_dims = has_confidence_output ? context->getTensorShape(conf_tensor_name) : nvinfer1::Dims64{};
  return validate_concrete_tensor_shape(rgb_tensor_name, rgb_dims) &&
         validate_concrete_tensor_shape(depth_tensor_name, depth_dims) &&
         validate_concrete_tensor_shape(pred_tensor_name, pred_dims) &&
         (!has_confidence_output || validate_concrete_tensor_shape(conf_tensor_name, conf_dims));
}

bool TrtEngineWrapper::create_buffers() {
  const std::uint64_t rgb_count = volume_from_dims(rgb_dims);
  const std::uint64_t depth_count = volume_from_dims(depth_dims);
  const std::uint64_t pred_count = volume_from_dims(pred_dims);
  const std::uint64_t conf_count = has_confidence_output ? volume_from_dims(conf_dims) : 0;

  h_rgb.resize(rgb_count);
  h_depth.resize(depth_count);
  h_pred.resize(pred_count);
  if (has_confidence_output) {
    resize_host_image(h_conf, conf_count, pixel_count());
  } else {
    h_conf.clear();
  }
  return allocate_device_buffer(d_rgb, rgb_count, "rgb") &&
         allocate_device_buffer(d_depth, depth_count * sizeof(float), "dep") &&
         allocate_device_buffer(d_pred, pred_count * sizeof(float), "pred") &&
         (!has_confidence_output ||
          allocate_device_buffer(d_conf, conf_count * sizeof(float), "confidence_output"));
}

bool TrtEngineWrapper::bind_buffers() {
  if (!context->setTensorAddress(rgb_tensor_name, d_rgb)) {
    return fail(ENHANCE_DEPTH_ERROR_BIND_TENSOR_ADDRESS_FAILED, "Failed to bind tensor address for rgb.");
  }
  if (!context->setTensorAddress(depth_tensor_name, d_depth)) {
    return fail(ENHANCE_DEPTH_ERROR_BIND_TENSOR_ADDRESS_FAILED, "Failed to bind tensor address for dep.");
  }
  if (!context->setTensorAddress(pred_tensor_name, d_pred)) {
    return fail(ENHANCE_DEPTH_ERROR_BIND_TENSOR_ADDRESS_FAILED, "Failed to bind tensor address for pred.");
  }
  if (has_confidence_output && !context->setTensorAddress(conf_tensor_name, d_conf)) {
    return fail(ENHANCE_DEPTH_ERROR_BIND_TENSOR_ADDRESS_FAILED, "Failed to bind tensor address for conf.");
  }
  return true;
}

bool TrtEngineWrapper::allocate_device_buffer(void*& buffer, std::uint64_t bytes, const std::string& label) {
  const cudaError status = cudaMalloc(&buffer, bytes);
  if (status == cudaSuccess) {
    return true;
  }
  buffer = nullptr;  // the failed call may have written to it; reset before building a text, which can throw
  return check(status, ("cudaMalloc(" + label + ")").c_str(), ENHANCE_DEPTH_ERROR_DEVICE_ALLOC_FAILED);
}

}  // namespace enhance_depth
