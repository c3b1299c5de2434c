// The emulated CUDA on a machine without a driver, in a forked process, and at the end of the device's
// memory.
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <cuda_runtime_api.h>
#include <sys/wait.h>
#include <unistd.h>

#include "emulated_engine.h"

namespace {

using namespace emulated_board_tests;

// A status of every function of CUDA that has one.
std::vector<cudaError_t> all_statuses() {
  void* memory = nullptr;
  cudaStream_t stream = nullptr;
  cudaEvent_t event = nullptr;
  float elapsed = 0.0F;
  return {cudaStreamCreate(&stream),
          cudaStreamSynchronize(nullptr),
          cudaStreamDestroy(stream),
          cudaEventCreate(&event),
          cudaEventRecord(event, nullptr),
          cudaEventSynchronize(event),
          cudaEventElapsedTime(&elapsed, event, event),
          cudaEventDestroy(event),
          cudaMalloc(&memory, 1),
          cudaMemset(nullptr, 0, 0),
          cudaMemcpyAsync(nullptr, nullptr, 0, cudaMemcpyDefault, nullptr),
          cudaFree(memory)};
}

// An address in the first page is not a runtime, but not null either.
std::uintptr_t runtime_address(Logger& logger) {
  return reinterpret_cast<std::uintptr_t>(createInferRuntime_INTERNAL(&logger, NV_TENSORRT_VERSION));
}

TEST(EmulatedDriver, WithoutOneEveryFunctionSaysSoAndNothingIsCreated) {
  emulated_board::reset();
  Logger logger;
  emulated_board::install_driver(false);
  emulated_board::fail_call("cudaStreamSynchronize", 1, 719);
  EXPECT_EQ(all_statuses(), std::vector(12, cudaErrorInsufficientDriver));
  EXPECT_EQ(emulated_board::calls("cudaMalloc"), 1);
  EXPECT_STREQ(cudaGetErrorString(cudaErrorInsufficientDriver),
               "CUDA driver version is insufficient for CUDA runtime version");
  EXPECT_EQ(runtime_address(logger), 0x228U);
  EXPECT_EQ(logger.last,
            "createInferRuntime: Error Code 1: Cuda Runtime (CUDA driver version is insufficient for CUDA "
            "runtime version)");
  EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
  emulated_board::reset();
  EXPECT_EQ(all_statuses(), std::vector(12, cudaSuccess));
}

// The exit status of a forked process that runs `body`.
int status_in_child(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    _exit(body());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(EmulatedTensorRT, AForkedProcessCanUseNeitherCudaNorTensorRT) {
  load(std::string(kEngine));
  prepare(2, 2);
  EXPECT_EQ(status_in_child([&] {
              if (all_statuses() != std::vector(12, cudaErrorInitializationError)) {
                return 1;
              }
              if (context->enqueueV3(stream)) {
                return 2;
              }
              if (logger.last.find("Cuda Runtime (initialization error)") == std::string::npos) {
                return 3;
              }
              if (runtime_address(logger) != 0x228U) {
                return 4;
              }
              context.reset();
              engine.reset();
              runtime.reset();
              return 0;
            }),
            0);
  EXPECT_TRUE(context->enqueueV3(stream)) << "nothing happened to the parent";
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
}

TEST(EmulatedCuda, ErrorsHaveTheRealTextsOrSayThatTheyHaveNone) {
  const struct {
    int error;
    const char* text;
  } cases[] = {
      {0, "no error"},
      {1, "invalid argument"},
      {2, "out of memory"},
      {3, "initialization error"},
      {35, "CUDA driver version is insufficient for CUDA runtime version"},
      {100, "no CUDA-capable device is detected"},
      {400, "invalid resource handle"},
      {600, "device not ready"},
      {700, "an illegal memory access was encountered"},
      {719, "unspecified launch failure"},
      {999, "unknown error"},
      {101, "the emulated board has no text for error 101"},
      {-7, "the emulated board has no text for error -7"},
  };
  const char* const first = cudaGetErrorString(static_cast<cudaError_t>(102));
  for (const auto& each : cases) {
    EXPECT_STREQ(cudaGetErrorString(static_cast<cudaError_t>(each.error)), each.text);
  }
  EXPECT_STREQ(first, "the emulated board has no text for error 102") << "stays valid";
}

TEST_F(EmulatedTensorRT, DeviceMemoryEndsAtTwoGibibytesForAllWhoTakeSome) {
  constexpr std::size_t kAll = std::size_t{2} << 30;
  constexpr std::size_t kEngineBytes = std::size_t{1} << 20;
  constexpr std::size_t kContextBytes = std::size_t{8} << 20;
  EXPECT_EQ(emulated_board::free_device_memory(), kAll);
  load(std::string(kEngine));
  EXPECT_EQ(emulated_board::free_device_memory(), kAll - kEngineBytes - kEngine.size() - kContextBytes);

  std::vector<std::unique_ptr<nvinfer1::IExecutionContext>> contexts;
  while (emulated_board::free_device_memory() >= kContextBytes) {
    contexts.emplace_back(engine->createExecutionContext());
    ASSERT_NE(contexts.back(), nullptr);
  }
  EXPECT_EQ(engine->createExecutionContext(), nullptr);
  EXPECT_EQ(
      logger.last,
      "ICudaEngine::createExecutionContext: Error Code 2: OutOfMemory (Requested size was 8388608 bytes.)");
  const std::size_t rest = emulated_board::free_device_memory();
  void* memory = nullptr;
  EXPECT_EQ(cudaMalloc(&memory, rest + 1), cudaErrorMemoryAllocation);
  allocate(rest);
  EXPECT_EQ(emulated_board::free_device_memory(), 0U);
  EXPECT_EQ(runtime->deserializeCudaEngine(kEngine.data(), kEngine.size()), nullptr);
  EXPECT_NE(logger.last.find("Error Code 2: OutOfMemory"), std::string::npos) << logger.last;

  context.reset();
  EXPECT_EQ(emulated_board::free_device_memory(), kContextBytes);
  engine.reset();
  EXPECT_EQ(emulated_board::free_device_memory(), kAll - rest) << "an engine's end is that of its contexts";
}

}  // namespace
