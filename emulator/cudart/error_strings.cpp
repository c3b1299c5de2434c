// cudaGetErrorString.
#include <string>

#include <cuda_runtime_api.h>

#include "core/call.h"
#include "device/error_text.h"

extern "C" const char* cudaGetErrorString(cudaError_t error) {
  using namespace emulated_board;
  const InsideBoard inside_board;
  const int code = error;
  try {
    const Injection injection = arrive(Function::kCudaGetErrorString, [&] { return std::to_string(code); });
    if (injection.fails) {
      return "unrecognized error code";
    }
  } catch (...) {
    // Recording ran out of memory; the text is not affected.
  }
  return error_text(code);
}
