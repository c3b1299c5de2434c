#include "device/error_text.h"

#include <map>
#include <mutex>
#include <string>

#include <cuda_runtime_api.h>

namespace emulated_board {

namespace {

// The texts for unknown numbers, created on demand.
struct Sentences {
  std::mutex mutex;
  std::map<int, std::string> by_number;
};

Sentences& sentences() {
  static Sentences& the_sentences = *new Sentences;
  return the_sentences;
}

[[gnu::destructor]] void remove_sentences() { delete &sentences(); }

const char* no_text(int error) noexcept {
  try {
    const std::lock_guard lock(sentences().mutex);
    std::string& sentence = sentences().by_number[error];
    if (sentence.empty()) {
      sentence = "the emulated board has no text for error " + std::to_string(error);
    }
    return sentence.c_str();
  } catch (...) {
    return "the emulated board has no text for this error";
  }
}

}  // namespace

// Takes an int because a status may be a number that has no enumerator.
const char* error_text(int error) noexcept {
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
      return no_text(error);
  }
}

}  // namespace emulated_board
