// Work of several streams at the same time, and what has to wait for it nevertheless.
#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include "device/device_access.h"
#include "emulated_board/control.h"

namespace {

constexpr std::chrono::seconds kFarTooLong{20};

// Whether it comes true at all. Never a measure of time: what takes as long as this has failed.
bool becomes_true(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kFarTooLong;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

// A thread that waits for the work of a stream, which goes on until release().
class RunningWork {
 public:
  RunningWork() {
    EXPECT_EQ(cudaStreamCreate(&stream_), cudaSuccess);
    const auto queued = emulated_board::queue_work(stream_, [this] {
      started_ = true;
      return becomes_true([this] { return released(); }) ? cudaSuccess : cudaErrorLaunchFailure;
    });
    EXPECT_TRUE(queued.has_value());
    thread_ = std::thread([this] { EXPECT_EQ(cudaStreamSynchronize(stream_), cudaSuccess); });
    EXPECT_TRUE(becomes_true([this] { return started_.load(); }));
  }
  ~RunningWork() {
    release();
    thread_.join();
  }
  RunningWork(const RunningWork&) = delete;
  RunningWork& operator=(const RunningWork&) = delete;

  cudaStream_t stream() const { return stream_; }
  void release() { released_ = true; }
  bool released() const { return released_; }

 private:
  cudaStream_t stream_ = nullptr;
  std::atomic<bool> started_{false};
  std::atomic<bool> released_{false};
  std::thread thread_;
};

TEST(EmulatedParallelWork, OfTwoStreamsTakesPlaceAtTheSameTime) {
  std::atomic<int> running{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&running] {
      cudaStream_t stream = nullptr;
      ASSERT_EQ(cudaStreamCreate(&stream), cudaSuccess);
      const auto meet_the_other = [&running] {
        ++running;
        return becomes_true([&running] { return running == 2; }) ? cudaSuccess : cudaErrorLaunchFailure;
      };
      EXPECT_TRUE(emulated_board::queue_work(stream, meet_the_other).has_value());
      EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
      EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST(EmulatedParallelWork, IsWaitedForByWhatDependsOnIt) {
  struct Case {
    const char* function;
    std::function<cudaError_t(cudaStream_t running, cudaEvent_t event, void* memory)> call;
  };
  const std::vector<Case> cases{
      {"cudaStreamSynchronize", [](cudaStream_t running, auto...) { return cudaStreamSynchronize(running); }},
      {"cudaEventSynchronize",
       [](cudaStream_t, cudaEvent_t event, auto...) { return cudaEventSynchronize(event); }},
      {"cudaMemset", [](auto, auto, void* memory) { return cudaMemset(memory, 0, 16); }},
      {"cudaFree", [](auto, auto, void* memory) { return cudaFree(memory); }},
      {"cudaStreamSynchronize",  // of the default stream
       [](auto...) {
         EXPECT_TRUE(emulated_board::queue_work(nullptr, [] { return cudaSuccess; }).has_value());
         return cudaStreamSynchronize(nullptr);
       }},
  };
  for (const Case& wait : cases) {
    SCOPED_TRACE(wait.function);
    void* memory = nullptr;
    ASSERT_EQ(cudaMalloc(&memory, 16), cudaSuccess);
    cudaEvent_t event = nullptr;
    ASSERT_EQ(cudaEventCreate(&event), cudaSuccess);
    std::optional<RunningWork> work(std::in_place);
    cudaStream_t const stream = work->stream();
    ASSERT_EQ(cudaEventRecord(event, stream), cudaSuccess);
    emulated_board::reset();
    std::thread waiting([&] {
      EXPECT_EQ(wait.call(stream, event, memory), cudaSuccess);
      EXPECT_TRUE(work->released());
    });
    EXPECT_TRUE(becomes_true([&] { return emulated_board::calls(wait.function) > 0; }));
    // A wait that does not wait ends now.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    work->release();
    waiting.join();
    work.reset();
    if (std::string(wait.function) != "cudaFree") {
      EXPECT_EQ(cudaFree(memory), cudaSuccess);
    }
    EXPECT_EQ(cudaEventDestroy(event), cudaSuccess);
    EXPECT_EQ(cudaStreamDestroy(stream), cudaSuccess);
  }
  EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
}

TEST(EmulatedParallelWork, GoesOnWhenItsStreamIsDestroyed) {
  const RunningWork work;
  EXPECT_EQ(cudaStreamDestroy(work.stream()), cudaSuccess);
  EXPECT_EQ(emulated_board::live_objects().streams, 0);
}

}  // namespace
