// Counts of the objects that TensorRT and the camera SDK handed out (the CUDA runtime counts its own), and
// the loggers of the live TensorRT runtimes.
#ifndef EMULATED_BOARD_CORE_LIVE_OBJECTS_H
#define EMULATED_BOARD_CORE_LIVE_OBJECTS_H

#include <cstddef>

#include <NvInferRuntimeBase.h>

namespace emulated_board {

enum class ObjectKind : std::size_t { kRuntime, kEngine, kContext, kCameraError, kCount };

// A member of each such object: counts it as long as it lives.
class CountedObject {
 public:
  explicit CountedObject(ObjectKind kind) noexcept;
  ~CountedObject();
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

 private:
  ObjectKind kind_;
};

// A member of each TensorRT runtime: its logger, as a receiver for send_tensorrt_message().
class RegisteredLogger {
 public:
  explicit RegisteredLogger(nvinfer1::ILogger& logger);
  ~RegisteredLogger();
  RegisteredLogger(const RegisteredLogger&) = delete;
  RegisteredLogger& operator=(const RegisteredLogger&) = delete;
  nvinfer1::ILogger& get() const { return logger_; }

 private:
  nvinfer1::ILogger& logger_;
};

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_LIVE_OBJECTS_H
