// Counts of the live objects of TensorRT and the camera SDK (the device counts its own), and the loggers of
// the live TensorRT runtimes.
#ifndef EMULATED_BOARD_CORE_LIVE_OBJECTS_H
#define EMULATED_BOARD_CORE_LIVE_OBJECTS_H

#include <cstddef>

#include <NvInferRuntimeBase.h>

namespace emulated_board {

enum class ObjectKind : std::size_t { kRuntime, kEngine, kContext, kCameraError, kCount };

int live_count(ObjectKind kind);

// A member of each such object that counts it for as long as it exists.
class CountedObject {
 public:
  explicit CountedObject(ObjectKind kind) noexcept;
  ~CountedObject();
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

 private:
  ObjectKind kind_;
};

// A member of each TensorRT runtime that registers its logger for as long as it exists.
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

// The logger of the newest live runtime; null if there is none.
nvinfer1::ILogger* newest_logger();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_LIVE_OBJECTS_H
