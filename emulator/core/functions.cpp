#include "core/functions.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>

namespace emulated_board {

namespace {

struct Entry {
  Function function;
  std::string_view name;
};

constexpr std::array<Entry, kFunctions> kTable{{
    {Function::kCudaStreamCreate, "cudaStreamCreate"},
    {Function::kCudaStreamDestroy, "cudaStreamDestroy"},
    {Function::kCudaStreamSynchronize, "cudaStreamSynchronize"},
    {Function::kCudaEventCreate, "cudaEventCreate"},
    {Function::kCudaEventDestroy, "cudaEventDestroy"},
    {Function::kCudaEventRecord, "cudaEventRecord"},
    {Function::kCudaEventSynchronize, "cudaEventSynchronize"},
    {Function::kCudaEventElapsedTime, "cudaEventElapsedTime"},
    {Function::kCudaMalloc, "cudaMalloc"},
    {Function::kCudaFree, "cudaFree"},
    {Function::kCudaMemset, "cudaMemset"},
    {Function::kCudaMemcpyAsync, "cudaMemcpyAsync"},
    {Function::kCudaGetErrorString, "cudaGetErrorString"},
    {Function::kCreateInferRuntime, "createInferRuntime"},
    {Function::kRuntimeDeserialize, "IRuntime::deserializeCudaEngine"},
    {Function::kRuntimeDestroy, "IRuntime::~IRuntime"},
    {Function::kEngineCreateContext, "ICudaEngine::createExecutionContext"},
    {Function::kEngineNbProfiles, "ICudaEngine::getNbOptimizationProfiles"},
    {Function::kEngineTensorShape, "ICudaEngine::getTensorShape"},
    {Function::kEngineTensorDataType, "ICudaEngine::getTensorDataType"},
    {Function::kEngineTensorIOMode, "ICudaEngine::getTensorIOMode"},
    {Function::kEngineProfileShape, "ICudaEngine::getProfileShape"},
    {Function::kEngineNbIOTensors, "ICudaEngine::getNbIOTensors"},
    {Function::kEngineIOTensorName, "ICudaEngine::getIOTensorName"},
    {Function::kEngineDestroy, "ICudaEngine::~ICudaEngine"},
    {Function::kContextSetProfile, "IExecutionContext::setOptimizationProfileAsync"},
    {Function::kContextSetInputShape, "IExecutionContext::setInputShape"},
    {Function::kContextTensorShape, "IExecutionContext::getTensorShape"},
    {Function::kContextSetTensorAddress, "IExecutionContext::setTensorAddress"},
    {Function::kContextEnqueue, "IExecutionContext::enqueueV3"},
    {Function::kContextDestroy, "IExecutionContext::~IExecutionContext"},
    {Function::kLogExternalMessage, "ob_log_external_message"},
    {Function::kDeleteError, "ob_delete_error"},
}};

constexpr bool is_in_the_order_of_the_functions() {
  for (std::size_t i = 0; i < kTable.size(); ++i) {
    if (kTable[i].function != static_cast<Function>(i) || kTable[i].name.empty()) {
      return false;
    }
  }
  return true;
}
static_assert(is_in_the_order_of_the_functions(), "name_of() takes the function for the place in the table");

}  // namespace

std::string_view name_of(Function function) { return kTable[static_cast<std::size_t>(function)].name; }

Function function_named(std::string_view name) {
  const auto* const found =
      std::find_if(kTable.begin(), kTable.end(), [name](const Entry& entry) { return entry.name == name; });
  if (found == kTable.end()) {
    throw std::invalid_argument("the emulated board has no function \"" + std::string(name) + "\"");
  }
  return found->function;
}

bool returns_cuda_error(Function function) {
  return function != Function::kCudaGetErrorString && name_of(function).rfind("cuda", 0) == 0;
}

}  // namespace emulated_board
