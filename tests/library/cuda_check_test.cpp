// The form of CUDA failures, and the event timer.
#include "engine/cuda_check.h"

#include <cmath>
#include <string>

#include "engine/cuda_timer.h"
#include "support/board_test.h"

namespace enhance_depth {
namespace {

TEST(CudaCheck, GivesOneFormToEveryFailure) {
  std::string message = "untouched";
  EXPECT_TRUE(check_cuda(cudaSuccess, "what", message));
  EXPECT_TRUE(check_cuda(cudaSuccess, std::string("what"), message));
  EXPECT_EQ(message, "untouched");
  EXPECT_FALSE(check_cuda(cudaErrorMemoryAllocation, "cudaMalloc(dep)", message));
  EXPECT_EQ(message, "cudaMalloc(dep) failed: out of memory");
  EXPECT_FALSE(check_cuda(static_cast<cudaError>(1000), std::string("other"), message));
  EXPECT_EQ(message, "other failed: the emulated board has no text for error 1000");
}

class Timer : public test_support::BoardTest {};

TEST_F(Timer, WithoutItsEventsFailsAndHoldsNone) {
  for (const int nth : {1, 2}) {
    emulated_board::reset();
    emulated_board::fail_call("cudaEventCreate", nth, cudaErrorNoDevice);
    CudaTimer timer;
    EXPECT_FALSE(timer.initialized());
    EXPECT_EQ(timer.init_error(), cudaErrorNoDevice);
    EXPECT_EQ(emulated_board::calls("cudaEventCreate"), nth) << "stops at the first failure";
    EXPECT_EQ(emulated_board::live_objects().events, 0);
    std::string message;
    float elapsed = 5.0F;
    EXPECT_FALSE(timer.start(nullptr, message));
    EXPECT_EQ(message, "cudaEventCreate(timer) failed: no CUDA-capable device is detected");
    EXPECT_FALSE(timer.stop(nullptr, nullptr, message));
    EXPECT_EQ(message, "cuda timer output pointer must not be null.") << "looked at before the events";
    EXPECT_FALSE(timer.stop(nullptr, &elapsed, message));
    EXPECT_EQ(message, "cudaEventCreate(timer) failed: no CUDA-capable device is detected");
    EXPECT_EQ(elapsed, 5.0F);
  }
}

TEST_F(Timer, MeasuresASpanAndLeavesTheResultAloneWhenItFails) {
  cudaStream_t stream = nullptr;
  ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
  {
    CudaTimer timer;
    ASSERT_TRUE(timer.initialized());
    std::string message = "untouched";
    float elapsed = -1.0F;
    ASSERT_TRUE(timer.start(stream, message));
    ASSERT_TRUE(timer.stop(stream, &elapsed, message));
    EXPECT_TRUE(std::isfinite(elapsed) && elapsed >= 0.0F) << elapsed;
    EXPECT_EQ(message, "untouched");

    const struct {
      const char* function;
      int nth;
      const char* message;
    } kFailures[] = {{"cudaEventRecord", 1, "cudaEventRecord(start) failed: unknown error"},
                     {"cudaEventRecord", 2, "cudaEventRecord(stop) failed: unknown error"},
                     {"cudaEventSynchronize", 1, "cudaEventSynchronize(stop) failed: unknown error"},
                     {"cudaEventElapsedTime", 1, "cudaEventElapsedTime failed: unknown error"}};
    for (const auto& failure : kFailures) {
      emulated_board::fail_call(failure.function, failure.nth, cudaErrorUnknown);
      elapsed = 5.0F;
      EXPECT_FALSE(timer.start(stream, message) && timer.stop(stream, &elapsed, message));
      EXPECT_EQ(message, failure.message);
      EXPECT_EQ(elapsed, 5.0F);
    }
    EXPECT_EQ(emulated_board::live_objects().events, 2);
  }
  EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
}

}  // namespace
}  // namespace enhance_depth
