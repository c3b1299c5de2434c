// TrtEngineWrapper, inference: one timed run of the network per frame, and the warm-up.
// All device work goes to the object's own stream; the host waits on the timer and at the end.
#include <cstring>

#include "convert/depth_conversion.h"
#include "engine/cuda_check.h"
#include "engine/host_image.h"
#include "engine/trt_engine_wrapper.h"

namespace enhance_depth {
namespace {

constexpr char kBuffersNotConfigured[] =
    "TensorRT buffers are not configured. Call enhance_depth_reset(width, height) first.";

template <typename T>
std::size_t byte_size(const std::vector<T>& buffer) {
  return buffer.size() * sizeof(T);
}

}  // namespace

bool TrtEngineWrapper::infer(const std::uint8_t* rgb, float* depth, std::uint16_t** pred_out,
                             float** conf_out, int height, int width) {
  if (!initialized) {
    return fail(ENHANCE_DEPTH_ERROR_NOT_INITIALIZED, "Engine is not initialized.");
  }
  if (!buffers_ready) {
    return fail(ENHANCE_DEPTH_ERROR_BUFFERS_NOT_CONFIGURED, kBuffersNotConfigured);
  }
  if (pred_out == nullptr || conf_out == nullptr) {
    return fail(ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT, "Output pred/conf pointer arguments must not be null.");
  }
  if (rgb == nullptr || depth == nullptr) {
    return fail(ENHANCE_DEPTH_ERROR_NULL_INPUT_DATA, "Input RGB and depth data must not be null.");
  }
  if (height != input_height || width != input_width) {
    return fail(ENHANCE_DEPTH_ERROR_RESOLUTION_MISMATCH,
                "Input resolution mismatch. Expected configured reset(width, height).");
  }
  std::memcpy(h_rgb.data(), rgb, byte_size(h_rgb));
  std::memcpy(h_depth.data(), depth, byte_size(h_depth));
  if (!copy_inputs_to_device() || !run_network() || !copy_outputs_to_host()) {
    return false;
  }
  if (pred_u16.size() != h_pred.size() || pred_u16.capacity() < pixel_count()) {
    resize_host_image(pred_u16, h_pred.size(), pixel_count());
  }
  convert_pred_f32_to_u16_neon(h_pred.data(), pred_u16.data(), h_pred.size());
  *pred_out = pred_u16.data();
  *conf_out = has_confidence_output ? h_conf.data() : nullptr;
  clear_error();
  return true;
}

bool TrtEngineWrapper::copy_inputs_to_device() {
  if (!check_cuda(cudaMemcpyAsync(d_rgb, h_rgb.data(), byte_size(h_rgb), cudaMemcpyHostToDevice, stream),
                  "cudaMemcpyAsync(rgb)", error_detail) ||
      !check_cuda(
          cudaMemcpyAsync(d_depth, h_depth.data(), byte_size(h_depth), cudaMemcpyHostToDevice, stream),
          "cudaMemcpyAsync(dep)", error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_MEMCPY_FAILED, error_detail);
  }
  return true;
}

// Times the network alone: the span opens behind the uploads and closes before the downloads.
bool TrtEngineWrapper::run_network() {
  if (!timer.start(stream, error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, error_detail);
  }
  if (!context->enqueueV3(stream)) {
    return fail(ENHANCE_DEPTH_ERROR_ENQUEUE_FAILED, "TensorRT enqueueV3 failed.");
  }
  if (!timer.stop(stream, &last_inference_time_, error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, error_detail);
  }
  return true;
}

bool TrtEngineWrapper::copy_outputs_to_host() {
  if (!check_cuda(cudaMemcpyAsync(h_pred.data(), d_pred, byte_size(h_pred), cudaMemcpyDeviceToHost, stream),
                  "cudaMemcpyAsync(pred)", error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_MEMCPY_FAILED, error_detail);
  }
  if (has_confidence_output &&
      !check_cuda(cudaMemcpyAsync(h_conf.data(), d_conf, byte_size(h_conf), cudaMemcpyDeviceToHost, stream),
                  "cudaMemcpyAsync(conf)", error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_MEMCPY_FAILED, error_detail);
  }
  if (!check_cuda(cudaStreamSynchronize(stream), "cudaStreamSynchronize", error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, error_detail);
  }
  return true;
}

bool TrtEngineWrapper::warmup() {
  if (!buffers_ready) {
    return fail(ENHANCE_DEPTH_ERROR_BUFFERS_NOT_CONFIGURED, kBuffersNotConfigured);
  }
  if (!clear_device_buffers()) {
    return false;
  }
  for (std::int32_t i = 0; i < warmup_iterations; ++i) {
    if (!context->enqueueV3(stream)) {
      return fail(ENHANCE_DEPTH_ERROR_ENQUEUE_FAILED, "TensorRT warmup enqueueV3 failed.");
    }
  }
  if (!check_cuda(cudaStreamSynchronize(stream), "cudaStreamSynchronize(warmup)", error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, error_detail);
  }
  return true;
}

bool TrtEngineWrapper::clear_device_buffers() {
  if (!check_cuda(cudaMemset(d_rgb, 0, byte_size(h_rgb)), "cudaMemset(rgb)", error_detail) ||
      !check_cuda(cudaMemset(d_depth, 0, byte_size(h_depth)), "cudaMemset(dep)", error_detail) ||
      !check_cuda(cudaMemset(d_pred, 0, byte_size(h_pred)), "cudaMemset(pred)", error_detail) ||
      (has_confidence_output &&
       !check_cuda(cudaMemset(d_conf, 0, byte_size(h_conf)), "cudaMemset(conf)", error_detail))) {
    return fail(ENHANCE_DEPTH_ERROR_MEMSET_FAILED, error_detail);
  }
  return true;
}

}  // namespace enhance_depth
