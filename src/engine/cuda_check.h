// Turns CUDA statuses into messages of one form.
#ifndef ENHANCE_DEPTH_ENGINE_CUDA_CHECK_H
#define ENHANCE_DEPTH_ENGINE_CUDA_CHECK_H

#include <string>

#include <cuda_runtime_api.h>

namespace enhance_depth {

// True for cudaSuccess, with `message` untouched. Otherwise false, with `message` set to
// "<what> failed: <CUDA's description>". `message` must not be the same object as `what`.
bool check_cuda(cudaError status, const std::string& what, std::string& message);

// The same for a string literal. Every frame goes through it, so it allocates nothing unless the call failed.
inline bool check_cuda(cudaError status, const char* what, std::string& message) {
  return status == cudaSuccess || check_cuda(status, std::string(what), message);
}

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_CUDA_CHECK_H
