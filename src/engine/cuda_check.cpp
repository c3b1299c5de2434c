#include "engine/cuda_check.h"

namespace enhance_depth {

bool check_cuda(cudaError status, const std::string& what, std::string& message) {
  if (status == cudaSuccess) {
    return true;
  }
  message = what + " failed: " + cudaGetErrorString(status);
  return false;
}

}  // namespace enhance_depth
