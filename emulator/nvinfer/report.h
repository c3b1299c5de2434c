// Messages to the program's logger in TensorRT's format, and the wrapper of all TensorRT functions.
#ifndef EMULATED_BOARD_NVINFER_REPORT_H
#define EMULATED_BOARD_NVINFER_REPORT_H

#include <exception>
#include <stdexcept>
#include <string>

#include <NvInferRuntimeBase.h>

#include "core/call.h"

namespace emulated_board::nvinfer {

// The number and the name of an error in TensorRT's messages.
struct ErrorCode {
  int number;
  const char* name;
};
inline constexpr ErrorCode kSerializationError{1, "Serialization"};
inline constexpr ErrorCode kCudaError{1, "Cuda Runtime"};
inline constexpr ErrorCode kOutOfMemory{2, "OutOfMemory"};
inline constexpr ErrorCode kApiUsageError{3, "API Usage Error"};
inline constexpr ErrorCode kInternalError{9, "Internal Error"};

// "IExecutionContext::enqueueV3: Error Code 3: API Usage Error (why)" to the logger, at severity kERROR.
// If memory for the text runs out, a fixed text is sent.
void report_error(nvinfer1::ILogger& logger, Function function, const ErrorCode& code,
                  const std::string& why) noexcept;

// Thrown inside a TensorRT function and reported by tensorrt_call().
class Failure : public std::runtime_error {
 public:
  Failure(const ErrorCode& error_code, const std::string& why)
      : std::runtime_error(why), code_(&error_code) {}
  const ErrorCode& code() const { return *code_; }

 private:
  const ErrorCode* code_;
};

class ApiUsageError : public Failure {
 public:
  explicit ApiUsageError(const std::string& why) : Failure(kApiUsageError, why) {}
};

// Throws Failure if this process cannot use the device. To be called before the device is used.
void check_driver();

// Runs `body` as one call of TensorRT: counts it, records it, and makes it fail if that is planned. An error
// is reported to the logger, and the result is `failure`. No exception escapes.
template <typename Result, typename Describe, typename Body>
Result tensorrt_call(Function function, nvinfer1::ILogger& logger, Result failure, const Describe& describe,
                     const Body& body) noexcept {
  const InsideBoard inside_board;
  try {
    if (arrive(function, describe).fails) {
      report_error(logger, function, kInternalError,
                   "planned by the program through the emulated board's control");
      return failure;
    }
    return body();
  } catch (const Failure& failed) {
    report_error(logger, function, failed.code(), failed.what());
  } catch (const std::exception& error) {
    report_error(logger, function, kInternalError, error.what());
  }
  return failure;
}

// The same for a destructor, which returns nothing and is never skipped.
void tensorrt_destructor(Function function, nvinfer1::ILogger& logger) noexcept;

// A name that a program passed, for messages.
inline std::string name_text(const char* name) { return name == nullptr ? "(null)" : name; }

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_REPORT_H
