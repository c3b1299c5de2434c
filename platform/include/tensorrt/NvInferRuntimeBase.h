// Plain types and the logger interface of TensorRT 10.
#ifndef NV_INFER_RUNTIME_BASE_H
#define NV_INFER_RUNTIME_BASE_H

#include <cstddef>
#include <cstdint>

#include <cuda_runtime_api.h>

#include "NvInferVersion.h"

namespace nvinfer1 {

// A shape: nbDims extents, -1 where an extent is dynamic.
class Dims64 {
 public:
  static constexpr std::int32_t MAX_DIMS{8};
  std::int32_t nbDims;
  std::int64_t d[MAX_DIMS];
};
using Dims = Dims64;

enum class DataType : std::int32_t {
  kFLOAT = 0,
  kHALF = 1,
  kINT8 = 2,
  kINT32 = 3,
  kBOOL = 4,
  kUINT8 = 5,
  kFP8 = 6,
  kBF16 = 7,
  kINT64 = 8,
  kINT4 = 9
};

enum class TensorIOMode : std::int32_t { kNONE = 0, kINPUT = 1, kOUTPUT = 2 };

enum class OptProfileSelector : std::int32_t { kMIN = 0, kOPT = 1, kMAX = 2 };

enum class ExecutionContextAllocationStrategy : std::int32_t {
  kSTATIC = 0,
  kON_PROFILE_CHANGE = 1,
  kUSER_MANAGED = 2
};

// Receives TensorRT's messages, from any thread.
class ILogger {
 public:
  enum class Severity : std::int32_t {
    kINTERNAL_ERROR = 0,
    kERROR = 1,
    kWARNING = 2,
    kINFO = 3,
    kVERBOSE = 4
  };

  virtual void log(Severity severity, char const* msg) noexcept = 0;

  ILogger() = default;
  virtual ~ILogger() = default;

 protected:
  ILogger(ILogger const&) = default;
  ILogger(ILogger&&) = default;
  ILogger& operator=(ILogger const&) & = default;
  ILogger& operator=(ILogger&&) & = default;
};

class INoCopy {
 protected:
  INoCopy() = default;
  virtual ~INoCopy() = default;

 public:
  INoCopy(INoCopy const&) = delete;
  INoCopy(INoCopy&&) = delete;
  INoCopy& operator=(INoCopy const&) = delete;
  INoCopy& operator=(INoCopy&&) = delete;
};

}  // namespace nvinfer1

#endif  // NV_INFER_RUNTIME_BASE_H
