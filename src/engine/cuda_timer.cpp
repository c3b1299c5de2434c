#include "engine/cuda_timer.h"

#include "engine/cuda_check.h"

namespace enhance_depth {

CudaTimer::CudaTimer() {
  init_status_ = cudaEventCreate(&start_event_);
  if (init_status_ != cudaSuccess) {
    start_event_ = nullptr;
    return;
  }
  init_status_ = cudaEventCreate(&stop_event_);
  if (init_status_ != cudaSuccess) {
    cudaEventDestroy(start_event_);
    start_event_ = nullptr;
    stop_event_ = nullptr;
  }
}

CudaTimer::~CudaTimer() {
  if (start_event_ != nullptr) {
    cudaEventDestroy(start_event_);
  }
  if (stop_event_ != nullptr) {
    cudaEventDestroy(stop_event_);
  }
}

bool CudaTimer::initialized() const {
  return init_status_ == cudaSuccess && start_event_ != nullptr && stop_event_ != nullptr;
}

cudaError CudaTimer::init_error() const { return init_status_; }

bool CudaTimer::start(cudaStream_t stream, std::string& message) {
  if (!initialized()) {
    check_cuda(init_error(), "cudaEventCreate(timer)", message);
    return false;
  }
  return check_cuda(cudaEventRecord(start_event_, stream), "cudaEventRecord(start)", message);
}

bool CudaTimer::stop(cudaStream_t stream, float* elapsed_ms, std::string& message) {
  if (elapsed_ms == nullptr) {
    message = "cuda timer output pointer must not be null.";
    return false;
  }
  if (!initialized()) {
    check_cuda(init_error(), "cudaEventCreate(timer)", message);
    return false;
  }
  return check_cuda(cudaEventRecord(stop_event_, stream), "cudaEventRecord(stop)", message) &&
         check_cuda(cudaEventSynchronize(stop_event_), "cudaEventSynchronize(stop)", message) &&
         check_cuda(cudaEventElapsedTime(elapsed_ms, start_event_, stop_event_), "cudaEventElapsedTime",
                    message);
}

}  // namespace enhance_depth
