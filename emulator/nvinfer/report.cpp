#include "nvinfer/report.h"

#include <algorithm>

#include "device/driver.h"
#include "device/error_text.h"

namespace emulated_board::nvinfer {

namespace {

void send(nvinfer1::ILogger& logger, const char* text) noexcept {
  const OutsideBoard outside_board;
  logger.log(nvinfer1::ILogger::Severity::kERROR, text);
}

}  // namespace

void report_error(nvinfer1::ILogger& logger, Function function, const ErrorCode& code,
                  const std::string& why) noexcept {
  try {
    std::string text = std::string(name_of(function)) + ": Error Code " + std::to_string(code.number) + ": " +
                       code.name + " (" + why + ")";
    // Names from an engine file may hold line ends; a report is one line.
    std::replace(text.begin(), text.end(), '\n', '?');
    send(logger, text.c_str());
  } catch (const std::exception&) {
    send(logger, "Error Code 9: Internal Error (out of memory)");
  }
}

void check_driver() {
  const cudaError_t status = driver_status();
  if (status != cudaSuccess) {
    throw Failure(kCudaError, error_text(status));
  }
}

void tensorrt_destructor(Function function, nvinfer1::ILogger& logger) noexcept {
  const auto no_arguments = [] { return std::string(); };
  tensorrt_call(function, logger, 0, no_arguments, [] { return 0; });
}

}  // namespace emulated_board::nvinfer
