// The control interface of the emulated board, on its CUDA functions.
#include <cstddef>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include "emulated_board/control.h"

namespace {

thread_local bool memory_is_out = false;

}  // namespace

// Not inlined: GCC would hold half of an inlined pair for a mismatch.
// Neither is inlined: GCC would hold half of an inlined pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* memory = memory_is_out ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

class EmulatedControl : public ::testing::Test {
 protected:
  void SetUp() override {
    emulated_board::record_calls(false);
    emulated_board::reset();
  }
  void TearDown() override { SetUp(); }
};

std::vector<int> statuses_of_synchronisations(std::size_t count) {
  std::vector<int> statuses(count);
  for (int& status : statuses) status = cudaStreamSynchronize(nullptr);
  return statuses;
}

TEST_F(EmulatedControl, FailsTheCallsThatWerePlanned) {
  emulated_board::fail_call("cudaStreamSynchronize", 2);
  EXPECT_EQ(statuses_of_synchronisations(3), (std::vector<int>{0, 719, 0}));
  emulated_board::fail_call("cudaStreamSynchronize", 1, 999);
  EXPECT_EQ(statuses_of_synchronisations(2), (std::vector<int>{999, 0})) << "counted from the planning on";
  emulated_board::fail_calls_from("cudaStreamSynchronize", 2, 100);
  EXPECT_EQ(statuses_of_synchronisations(3), (std::vector<int>{0, 100, 100}));
  EXPECT_EQ(cudaFree(nullptr), cudaSuccess) << "another function";
  EXPECT_EQ(emulated_board::failures_produced(), 4);
  EXPECT_EQ(emulated_board::calls("cudaStreamSynchronize"), 8);

  emulated_board::reset();
  EXPECT_EQ(statuses_of_synchronisations(3), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(emulated_board::failures_produced(), 0);
  EXPECT_EQ(emulated_board::calls("cudaStreamSynchronize"), 3);
}

TEST_F(EmulatedControl, RefusesPlansThatCannotCome) {
  EXPECT_THROW(emulated_board::fail_call("cudaMallocManaged", 1), std::invalid_argument);
  EXPECT_THROW(emulated_board::fail_calls_from("cudaMalloc", 0), std::invalid_argument);
  EXPECT_THROW(emulated_board::fail_call("cudaMalloc", 1, cudaSuccess), std::invalid_argument);
  EXPECT_THROW(emulated_board::fail_call("cudaGetErrorString", 1, 719), std::invalid_argument);
  EXPECT_THROW(emulated_board::fail_calls_from("IExecutionContext::enqueueV3", 1, 719),
               std::invalid_argument);
  EXPECT_EQ(cudaFree(nullptr), cudaSuccess);
  EXPECT_THROW(emulated_board::calls(""), std::invalid_argument);
  for (const std::string& function : emulated_board::all_functions()) {
    EXPECT_NO_THROW(emulated_board::fail_call(function, 1)) << function;
  }
}

TEST_F(EmulatedControl, AFailedCreationCreatesNothingAndMayLeaveAnything) {
  const emulated_board::LiveObjects before = emulated_board::live_objects();
  void* memory = nullptr;
  cudaStream_t stream = nullptr;
  cudaEvent_t event = nullptr;
  emulated_board::fail_call("cudaMalloc", 1);
  emulated_board::fail_call("cudaStreamCreate", 1);
  emulated_board::fail_call("cudaEventCreate", 1, 3);
  EXPECT_EQ(cudaMalloc(&memory, 10), cudaErrorMemoryAllocation);
  EXPECT_EQ(cudaStreamCreate(&stream), cudaErrorMemoryAllocation);
  EXPECT_EQ(cudaEventCreate(&event), cudaErrorInitializationError);
  EXPECT_EQ(emulated_board::live_objects(), before);
  EXPECT_NE(memory, nullptr);
  EXPECT_NE(stream, nullptr);
  EXPECT_NE(event, nullptr);
}

TEST_F(EmulatedControl, WhatReleasesReleasesEvenWhenItFails) {
  const emulated_board::LiveObjects before = emulated_board::live_objects();
  void* memory = nullptr;
  cudaStream_t stream = nullptr;
  cudaEvent_t event = nullptr;
  ASSERT_EQ(cudaMalloc(&memory, 10), cudaSuccess);
  ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
  ASSERT_EQ(cudaEventCreate(&event), cudaSuccess);
  emulated_board::LiveObjects alive = before;
  alive.streams += 1;
  alive.events += 1;
  alive.allocations += 1;
  alive.allocated_bytes += 10;
  EXPECT_EQ(emulated_board::live_objects(), alive);

  emulated_board::fail_call("cudaFree", 1, 719);
  emulated_board::fail_call("cudaStreamDestroy", 1);
  emulated_board::fail_call("cudaEventDestroy", 1);
  EXPECT_EQ(cudaFree(memory), cudaErrorLaunchFailure);
  EXPECT_EQ(cudaStreamDestroy(stream), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaEventDestroy(event), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(emulated_board::live_objects(), before);
}

TEST_F(EmulatedControl, WhatReleasesReleasesEvenWithoutMemoryToRecordIt) {
  void* memory = nullptr;
  cudaStream_t stream = nullptr;
  ASSERT_EQ(cudaMalloc(&memory, 10), cudaSuccess);
  ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
  emulated_board::record_calls(true);
  memory_is_out = true;
  const cudaError_t refused = cudaMemset(memory, 0, 10);
  const cudaError_t freed = cudaFree(memory);
  const cudaError_t destroyed = cudaStreamDestroy(stream);
  memory_is_out = false;
  EXPECT_EQ(refused, cudaErrorMemoryAllocation);
  EXPECT_EQ(freed, cudaErrorMemoryAllocation);
  EXPECT_EQ(destroyed, cudaErrorMemoryAllocation);
  EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
}

TEST_F(EmulatedControl, CountsReleasesOfWhatIsNotThere) {
  void* memory = nullptr;
  cudaStream_t stream = nullptr;
  cudaEvent_t event = nullptr;
  ASSERT_EQ(cudaMalloc(&memory, 10), cudaSuccess);
  ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
  ASSERT_EQ(cudaEventCreate(&event), cudaSuccess);
  EXPECT_EQ(cudaFree(static_cast<char*>(memory) + 1), cudaErrorInvalidValue) << "inside an allocation";
  EXPECT_EQ(emulated_board::invalid_releases(), 1);
  EXPECT_EQ(cudaFree(memory), cudaSuccess);
  EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
  EXPECT_EQ(cudaEventDestroy(event), cudaSuccess);
  EXPECT_EQ(cudaFree(nullptr), cudaSuccess);
  EXPECT_EQ(emulated_board::invalid_releases(), 1);
  EXPECT_EQ(cudaFree(memory), cudaErrorInvalidValue);
  EXPECT_EQ(cudaStreamDestroy(stream), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaEventDestroy(event), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(emulated_board::invalid_releases(), 4);

  emulated_board::fail_calls_from("cudaFree", 1, 719);
  EXPECT_EQ(cudaFree(&memory), cudaErrorLaunchFailure);
  EXPECT_EQ(emulated_board::invalid_releases(), 5) << "whatever is planned";
  emulated_board::reset();
  EXPECT_EQ(emulated_board::invalid_releases(), 0);
}

TEST_F(EmulatedControl, RecordsCallsInTheirOrder) {
  const auto one_of_each = [] {
    cudaStream_t stream = nullptr;
    cudaEvent_t event = nullptr;
    void* memory = nullptr;
    std::vector<char> host(16);
    cudaStreamCreate(&stream);
    cudaEventCreate(&event);
    cudaMalloc(&memory, 16);
    cudaMemset(memory, 1, 16);
    cudaMemcpyAsync(host.data(), memory, 16, cudaMemcpyDeviceToHost, stream);
    cudaEventRecord(event, stream);
    cudaStreamSynchronize(stream);
    cudaStreamSynchronize(nullptr);
    cudaStreamDestroy(stream);
    cudaFree(memory);
    cudaFree(host.data());
    cudaEventDestroy(event);
  };
  one_of_each();
  EXPECT_TRUE(emulated_board::recorded_calls().empty());
  emulated_board::reset();
  emulated_board::record_calls(true);
  one_of_each();
  emulated_board::record_calls(false);
  one_of_each();

  std::vector<std::string> lines;
  for (const auto& call : emulated_board::recorded_calls())
    lines.push_back(call.function + ": " + call.arguments);
  const std::vector<std::string> expected{
      "cudaStreamCreate: ",
      "cudaEventCreate: ",
      "cudaMalloc: 16 bytes",
      "cudaMemset: value 1, 16 bytes",
      "cudaMemcpyAsync: device to host, 16 bytes, stream 1",
      "cudaEventRecord: event 1, stream 1",
      "cudaStreamSynchronize: stream 1",
      "cudaStreamSynchronize: stream 0",
      "cudaStreamDestroy: stream 1",
      "cudaFree: 16 bytes",
      "cudaFree: not device memory",
      "cudaEventDestroy: event 1",
  };
  EXPECT_EQ(lines, expected);
}

}  // namespace
