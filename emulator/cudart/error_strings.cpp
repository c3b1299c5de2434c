// cudaGetErrorString.
#include <string>

#include <cuda_runtime_api.h>

#include "core/call.h"

namespace {

constexpr const char* kUnrecognized = "unrecognized error code";

// A status may be any number, also one that the header has no name for.
const char* text_of(int error) {
  switch (error) {
    case cudaSuccess:
      return "no error";
    case cudaErrorInvalidValue:
      return "invalid argument";
    case cudaErrorMemoryAllocation:
      return "out of memory";
    case cudaErrorInitializationError:
      return "initialization error";
    case cudaErrorInsufficientDriver:
      return "CUDA driver version is insufficient for CUDA runtime version";
    case cudaErrorNoDevice:
      return "no CUDA-capable device is detected";
    case cudaErrorInvalidResourceHandle:
      return "invalid resource handle";
    case cudaErrorNotReady:
      return "device not ready";
    case cudaErrorIllegalAddress:
      return "an illegal memory access was encountered";
    case cudaErrorLaunchFailure:
      return "unspecified launch failure";
    case cudaErrorUnknown:
      return "unknown error";
    default:
      return kUnrecognized;
  }
}

}  // namespace

extern "C" const char* cudaGetErrorString(cudaError_t error) {
  using namespace emulated_board;
  const InsideBoard inside_board;
  const int code = error;
  try {
    const Injection injection = arrive(Function::kCudaGetErrorString, [&] { return std::to_string(code); });
    if (injection.fails) return kUnrecognized;
  } catch (...) {
    // Without memory to record the call the text is still there.
  }
  return text_of(code);
}
