#include "nvinfer/report.h"

namespace emulated_board::nvinfer {

namespace {

const char* error_name(ErrorCode code) {
  switch (code) {
    case ErrorCode::kSerialization:
      return "Serialization";
    case ErrorCode::kApiUsage:
      return "API Usage Error";
    case ErrorCode::kInternal:
      break;
  }
  return "Internal Error";
}

void send(nvinfer1::ILogger& logger, const char* text) noexcept {
  const OutsideBoard outside_board;
  logger.log(nvinfer1::ILogger::Severity::kERROR, text);
}

}  // namespace

void report_error(nvinfer1::ILogger& logger, Function function, ErrorCode code,
                  const std::string& why) noexcept {
  try {
    const std::string text = std::string(name_of(function)) + ": Error Code " +
                             std::to_string(static_cast<int>(code)) + ": " + error_name(code) + " (" + why +
                             ")";
    send(logger, text.c_str());
  } catch (const std::exception&) {
    send(logger, "Error Code 9: Internal Error (out of memory)");
  }
}

void tensorrt_destructor(Function function, nvinfer1::ILogger& logger) noexcept {
  const auto no_arguments = [] { return std::string(); };
  tensorrt_call(function, logger, 0, no_arguments, [] { return 0; });
}

}  // namespace emulated_board::nvinfer
