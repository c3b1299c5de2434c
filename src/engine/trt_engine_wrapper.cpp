// TrtEngineWrapper, the object itself: its last error and its release.
// Everything that can be held is released here, in the reverse order of its making.
#include "engine/trt_engine_wrapper.h"

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
  last_error_code_ = code;
  last_error_message_ = message;
  error_detail = last_error_message_;  // `message` is often error_detail itself
  log_orbbec_message(OB_LOG_SEVERITY_ERROR, last_error_message_, __FILE__, "fail", __LINE__);
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
  } catch (...) {  // declared not to throw: a stale text is better than the end of the process
  }
}

}  // namespace enhance_depth
