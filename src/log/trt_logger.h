// Prints TensorRT's own messages.
#ifndef ENHANCE_DEPTH_LOG_TRT_LOGGER_H
#define ENHANCE_DEPTH_LOG_TRT_LOGGER_H

#include <NvInferRuntime.h>

namespace enhance_depth {

// Prints TensorRT's errors and internal errors to standard output, each as one line "TRT: <message>", and
// drops warnings, information and verbose messages. TensorRT may call it from several threads at once.
class Logger : public nvinfer1::ILogger {
 public:
  void log(Severity severity, const char* msg) noexcept override;
};

// The one logger of the process, given to every TensorRT runtime.
extern Logger g_logger;

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_LOG_TRT_LOGGER_H
