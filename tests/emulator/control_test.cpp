// The control interface of the emulated board, on its CUDA functions.
#include "emulated_board/control.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

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
  for (int& status : statuses) {
    status = cudaStreamSynchronize(nullptr);
  }
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

TEST_F(EmulatedControl, RecordsCallsWhileItIsAskedTo) {
  std::vector<std::string> calls;
  emulated_board::fail_call("cudaMalloc", 1);  // calls are watched, recorded or not
  for (const bool recording : {false, true, false}) {
    emulated_board::record_calls(recording);
    cudaStreamSynchronize(nullptr);
    cudaFree(&calls);
  }
  for (const auto& call : emulated_board::recorded_calls()) {
    calls.push_back(call.function + ": " + call.arguments);
  }
  EXPECT_EQ(calls,
            (std::vector<std::string>{"cudaStreamSynchronize: stream 0", "cudaFree: not device memory"}));
}

TEST_F(EmulatedControl, NumbersStreamsAnewAfterAReset) {
  for (int round = 0; round < 2; ++round) {
    emulated_board::reset();
    emulated_board::record_calls(true);
    cudaStream_t stream = nullptr;
    ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
    ASSERT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    EXPECT_EQ(emulated_board::recorded_calls().back().arguments, "stream 1");
  }
}

TEST_F(EmulatedControl, LiveObjectsDifferInEachKind) {
  using emulated_board::LiveObjects;
  for (int LiveObjects::*const kind :
       {&LiveObjects::streams, &LiveObjects::events, &LiveObjects::allocations, &LiveObjects::runtimes,
        &LiveObjects::engines, &LiveObjects::contexts, &LiveObjects::camera_errors}) {
    LiveObjects one;
    one.*kind = 1;
    EXPECT_FALSE(one == LiveObjects());
  }
  LiveObjects bytes;
  bytes.allocated_bytes = 1;
  EXPECT_FALSE(bytes == LiveObjects());
}

}  // namespace
