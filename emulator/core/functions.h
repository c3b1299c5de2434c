// The functions of the board and the names that the control interface uses for them.
#ifndef EMULATED_BOARD_CORE_FUNCTIONS_H
#define EMULATED_BOARD_CORE_FUNCTIONS_H

#include <cstddef>
#include <string_view>

namespace emulated_board {

enum class Function : std::size_t {
  kCudaStreamCreate,
  kCudaStreamDestroy,
  kCudaStreamSynchronize,
  kCudaEventCreate,
  kCudaEventDestroy,
  kCudaEventRecord,
  kCudaEventSynchronize,
  kCudaEventElapsedTime,
  kCudaMalloc,
  kCudaFree,
  kCudaMemset,
  kCudaMemcpyAsync,
  kCudaGetErrorString,
  kCreateInferRuntime,
  kRuntimeDeserialize,
  kRuntimeDestroy,
  kEngineCreateContext,
  kEngineNbProfiles,
  kEngineTensorShape,
  kEngineTensorDataType,
  kEngineTensorIOMode,
  kEngineProfileShape,
  kEngineNbIOTensors,
  kEngineIOTensorName,
  kEngineDestroy,
  kContextSetProfile,
  kContextSetInputShape,
  kContextTensorShape,
  kContextSetTensorAddress,
  kContextEnqueue,
  kContextDestroy,
  kLogExternalMessage,
  kDeleteError,
  kCount
};
inline constexpr std::size_t kFunctions = static_cast<std::size_t>(Function::kCount);

std::string_view name_of(Function function);

// Throws std::invalid_argument for an unknown name.
Function function_named(std::string_view name);

// Whether the function returns a cudaError, so that a plan can choose it.
bool returns_cuda_error(Function function);

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_FUNCTIONS_H
