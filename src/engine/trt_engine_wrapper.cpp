// TrtEngineWrapper, the object itself: its last error and its release.
// Everything that it can hold is released here, in the reverse order of acquisition.
#include "engine/trt_engine_wrapper.h"

#include "engine/cuda_check.h"
#include "log/log_bridge.h"

namespace enhance_depth {

TrtEngineWrapper::~TrtEngineWrapper() { deinit(); }

void TrtEngineWrapper::deinit() noexcept {
  delete_buffer(true);
  context.reset();
  engine.reset();
  runtime.reset();
  has_confidence_output = false;
  buffers_ready = false;
  profile_index = 0;
  initialized = false;
  last_inference_time_ = -1.0F;
}

void TrtEngineWrapper::delete_buffer(bool clear_error) noexcept {
  if (stream != nullptr) {
    cudaStreamDestroy(stream);
    stream = nullptr;
  }
  free_device_buffer(d_rgb);
  free_device_buffer(d_depth);
  free_device_buffer(d_pred);
  free_device_buffer(d_conf);
  h_rgb.clear();
  h_depth.clear();
  h_pred.clear();
  h_conf.clear();
  buffers_ready = false;
  if (clear_error) {
    clear_error_noexcept();
  }
}

void TrtEngineWrapper::free_device_buffer(void*& buffer) noexcept {
  if (buffer != nullptr) {
    cudaFree(buffer);
    buffer = nullptr;
  }
}

bool TrtEngineWrapper::fail(EnhanceDepthErrorCode code, const std::string& message) {
  std::string text = message;  // `message` is often error_detail itself
  last_error_message_ = text;
  error_detail = text;
  last_error_code_ = code;
  log_orbbec_message(OB_LOG_SEVERITY_ERROR, text, __FILE__, "fail", __LINE__);
  // The host's log function may have called a query on this handle, which resets the last error.
  last_error_message_.swap(text);
  last_error_code_ = code;
  return false;
}

bool TrtEngineWrapper::set_error(EnhanceDepthErrorCode code, const std::string& message) {
  return fail(code, message);
}

void TrtEngineWrapper::clear_error() {
  last_error_code_ = ENHANCE_DEPTH_OK;
  last_error_message_ = "OK";
  error_detail.clear();
}

void TrtEngineWrapper::clear_error_noexcept() noexcept {
  try {
    clear_error();
  } catch (...) {  // a stale text is better than the end of the process
  }
}

bool TrtEngineWrapper::check(cudaError status, const char* what, EnhanceDepthErrorCode code) {
  return check_cuda(status, what, error_detail) || fail(code, error_detail);
}

void TrtEngineWrapper::set_input_size(int width, int height) {
  input_width = width;
  input_height = height;
}

}  // namespace enhance_depth
