// Messages to the program's logger, in TensorRT's manner, and the common frame of all TensorRT functions.
#ifndef EMULATED_BOARD_NVINFER_REPORT_H
#define EMULATED_BOARD_NVINFER_REPORT_H

#include <exception>
#include <stdexcept>
#include <string>

#include <NvInferRuntimeBase.h>

#include "core/call.h"

namespace emulated_board::nvinfer {

// The number and the name that TensorRT's messages give.
enum class ErrorCode { kSerialization = 1, kApiUsage = 3, kInternal = 9 };

// "IExecutionContext::enqueueV3: Error Code 3: API Usage Error (why)" to the logger, at severity kERROR.
// Without memory for the text a plain one is sent.
void report_error(nvinfer1::ILogger& logger, Function function, ErrorCode code,
                  const std::string& why) noexcept;

// Thrown inside a TensorRT function, reported by its frame.
class ApiUsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Runs `body` as one call of TensorRT: counted, recorded, failing when that is planned. What goes wrong is
// told to the logger, and the result is `failure`. No exception leaves.
template <typename Result, typename Describe, typename Body>
Result tensorrt_call(Function function, nvinfer1::ILogger& logger, Result failure, const Describe& describe,
                     const Body& body) noexcept {
  const InsideBoard inside_board;
  try {
    if (arrive(function, describe).fails) {
      report_error(logger, function, ErrorCode::kInternal,
                   "planned by the program through the emulated board's control");
      return failure;
    }
    return body();
  } catch (const ApiUsageError& error) {
    report_error(logger, function, ErrorCode::kApiUsage, error.what());
  } catch (const std::exception& error) {
    report_error(logger, function, ErrorCode::kInternal, error.what());
  }
  return failure;
}

// The same for a destructor, which has nothing to return and whose work is never skipped.
void tensorrt_destructor(Function function, nvinfer1::ILogger& logger) noexcept;

// A name that a program passed, for messages.
inline std::string name_text(const char* name) { return name == nullptr ? "(null)" : name; }

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_REPORT_H
