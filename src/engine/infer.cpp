// TrtEngineWrapper, inference: one timed run of the network per frame, and the warm-up.
// All device work goes to the object's own stream; the host waits on the timer and at the end.
#include <cstring>

#include "convert/depth_conversion.h"
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

float* TrtEngineWrapper::depth_as_floats(const std::uint16_t* depth) {
  if (buffers_ready) {  // otherwise the size was refused and may be anything
    const std::size_t count = pixel_count();
    if (depth_f32.size() != count) {
      depth_f32.clear();  // so that growing copies nothing
      depth_f32.resize(count);
    }
    convert_depth_u16_to_f32_neon(depth, depth_f32.data(), count);
  }
  return depth_f32.data();
}

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
  return check(cudaMemcpyAsync(d_rgb, h_rgb.data(), byte_size(h_rgb), cudaMemcpyHostToDevice, stream),
               "cudaMemcpyAsync(rgb)", ENHANCE_DEPTH_ERROR_MEMCPY_FAILED) &&
         check(cudaMemcpyAsync(d_depth, h_depth.data(), byte_size(h_depth), cudaMemcpyHostToDevice, stream),
               "cudaMemcpyAsync(dep)", ENHANCE_DEPTH_ERROR_MEMCPY_FAILED);
}

// Times the network alone: the span begins after the uploads and ends before the downloads.
bool TrtEngineWrapper::run_network() {
  if (!timer.start(stream, error_detail)) {
    return fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, error_detail);
  }
  if (!context->enqueueV3(stream)) {
    return fail(ENHANCE_DEPTH_ERROR_ENQUEUE_FAILED, "TensorRT enqueueV3 failed.");
  }
  return timer.stop(stream, &last_inference_time_, error_detail) ||
         fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, error_detail);
}

bool TrtEngineWrapper::copy_outputs_to_host() {
  return check(cudaMemcpyAsync(h_pred.data(), d_pred, byte_size(h_pred), cudaMemcpyDeviceToHost, stream),
               "cudaMemcpyAsync(pred)", ENHANCE_DEPTH_ERROR_MEMCPY_FAILED) &&
         (!has_confidence_output ||
          check(cudaMemcpyAsync(h_conf.data(), d_conf, byte_size(h_conf), cudaMemcpyDeviceToHost, stream),
                "cudaMemcpyAsync(conf)", ENHANCE_DEPTH_ERROR_MEMCPY_FAILED)) &&
         check(cudaStreamSynchronize(stream), "cudaStreamSynchronize", ENHANCE_DEPTH_ERROR_SYNC_FAILED);
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
  return check(cudaStreamSynchronize(stream), "cudaStreamSynchronize(warmup)",
               ENHANCE_DEPTH_ERROR_SYNC_FAILED);
}

bool TrtEngineWrapper::clear_device_buffers() {
  constexpr EnhanceDepthErrorCode kCode = ENHANCE_DEPTH_ERROR_MEMSET_FAILED;
  return check(cudaMemset(d_rgb, 0, byte_size(h_rgb)), "cudaMemset(rgb)", kCode) &&
         check(cudaMemset(d_depth, 0, byte_size(h_depth)), "cudaMemset(dep)", kCode) &&
         check(cudaMemset(d_pred, 0, byte_size(h_pred)), "cudaMemset(pred)", kCode) &&
         (!has_confidence_output ||
          check(cudaMemset(d_conf, 0, byte_size(h_conf)), "cudaMemset(conf)", kCode));
}

}  // namespace enhance_depth
