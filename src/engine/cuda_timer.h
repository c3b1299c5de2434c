// Times a span of device work with a pair of CUDA events.
#ifndef ENHANCE_DEPTH_ENGINE_CUDA_TIMER_H
#define ENHANCE_DEPTH_ENGINE_CUDA_TIMER_H

#include <string>

#include <cuda_runtime_api.h>

namespace enhance_depth {

// Owns two events, created once and used for every span. A failing operation returns false and writes
// "<CUDA call> failed: <CUDA's description>" into `message`; it records no error code. One thread at a time.
class CudaTimer {
 public:
  // Creates both events or, if one cannot be created, none; see initialized() and init_error().
  CudaTimer();
  ~CudaTimer();
  CudaTimer(const CudaTimer&) = delete;
  CudaTimer& operator=(const CudaTimer&) = delete;

  bool initialized() const;

  // The status of the constructor's last event creation.
  cudaError init_error() const;

  // Queues the start of the span on `stream`. Does not wait.
  bool start(cudaStream_t stream, std::string& message);

  // Queues the end of the span on `stream`, waits until the device has reached it and writes the span's
  // milliseconds to *elapsed_ms. On failure *elapsed_ms is unchanged unless CUDA itself wrote it.
  bool stop(cudaStream_t stream, float* elapsed_ms, std::string& message);

 private:
  cudaEvent_t start_event_ = nullptr;
  cudaEvent_t stop_event_ = nullptr;
  cudaError_t init_status_ = cudaSuccess;
};

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_CUDA_TIMER_H
