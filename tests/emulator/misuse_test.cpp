// Misuse of TensorRT that may give wrong results on a real board: the emulated one says what is wrong.
#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include <cuda_runtime_api.h>

#include "emulated_engine.h"

namespace {

using namespace emulated_board_tests;

class EmulatedTensorRTMisuse : public EmulatedTensorRT {
 protected:
  void SetUp() override {
    EmulatedTensorRT::SetUp();
    ASSERT_EQ(cudaStreamCreate(&other_stream), cudaSuccess);
    load(std::string(kEngine));
    prepare(2, 2);
  }
  void TearDown() override {
    EXPECT_EQ(cudaStreamDestroy(other_stream), cudaSuccess);
    EmulatedTensorRT::TearDown();
  }
  // Expects exactly one message to the logger since the last call, with these words.
  void expect_told(const std::string& words) {
    EXPECT_EQ(logger.severities.size(), 1U) << words;
    EXPECT_NE(logger.last.find(words), std::string::npos) << logger.last;
    logger.severities.clear();
  }
  bool set_shapes(std::int64_t height) {
    return context->setInputShape("rgb", dims({1, 3, height, 2})) &&
           context->setInputShape("dep", dims({1, 1, height, 2}));
  }

  cudaStream_t other_stream = nullptr;
};

TEST_F(EmulatedTensorRTMisuse, AddressesAreAlignedAndOutputsHaveMemoryOfTheirOwn) {
  prepare(8, 8);  // outputs of 256 bytes
  auto* const memory = static_cast<char*>(allocate(4096));
  for (const int offset : {1, 128, 384}) {
    EXPECT_FALSE(context->setTensorAddress("pred", memory + offset));
    expect_told("the address for \"pred\" is not aligned to 256 bytes");
  }
  ASSERT_TRUE(context->setTensorAddress("pred", memory + 256));
  ASSERT_TRUE(context->setTensorAddress("confidence_output", memory + 512));
  EXPECT_TRUE(context->enqueueV3(stream)) << "side by side";
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);

  ASSERT_TRUE(context->setTensorAddress("pred", tensors["dep"].first));
  EXPECT_FALSE(context->enqueueV3(stream));
  expect_told("output \"pred\" shares memory with \"dep\"");
  ASSERT_TRUE(context->setTensorAddress("pred", memory + 512));
  EXPECT_FALSE(context->enqueueV3(stream));
  expect_told("output \"pred\" shares memory with \"confidence_output\"");
  ASSERT_TRUE(context->setTensorAddress("pred", memory));
  ASSERT_TRUE(context->setTensorAddress("rgb", tensors["dep"].first));
  EXPECT_TRUE(context->enqueueV3(stream)) << "inputs may share";
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
}

TEST_F(EmulatedTensorRTMisuse, ObjectsGoInOrderAndAfterTheRuns) {
  ASSERT_TRUE(context->enqueueV3(stream));
  context.reset();
  expect_told("the context is destroyed while a run of it is queued");
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaErrorIllegalAddress);

  load(std::string(kEngine));
  prepare(2, 2);
  ASSERT_TRUE(context->enqueueV3(stream));
  engine.reset();
  expect_told("the engine is destroyed before its execution contexts");
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaErrorIllegalAddress);
  EXPECT_FALSE(context->enqueueV3(stream));
  expect_told("the engine of the context is destroyed");
  context.reset();

  load(std::string(kEngine));
  runtime.reset();
  expect_told("the runtime is destroyed before its engines");
  prepare(2, 2);
  ASSERT_TRUE(context->enqueueV3(stream));
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  context.reset();
  engine.reset();
  EXPECT_TRUE(logger.severities.empty()) << logger.last;
}

TEST_F(EmulatedTensorRTMisuse, AnotherStreamWaitsForTheProfileAndForTheLastRun) {
  cudaEvent_t event = nullptr;
  ASSERT_EQ(cudaEventCreate(&event), cudaSuccess);
  // Each of them puts what was queued on `stream` before what is queued on `other_stream` from then on.
  const std::function<void()> waits[] = {
      [&] { cudaStreamSynchronize(stream); },
      [&] {
        cudaEventRecord(event, stream);
        cudaEventSynchronize(event);
      },
      [&] { cudaMemset(tensors["pred"].first, 0, 1); },
      [&] { cudaEventRecord(event, nullptr); },
      [&] {
        cudaEventRecord(event, nullptr);
        cudaEventRecord(event, other_stream);
        cudaStreamSynchronize(other_stream);
      },
  };
  const auto finish = [&] { ASSERT_EQ(cudaMemset(tensors["pred"].first, 0, 1), cudaSuccess); };
  for (const auto& wait : waits) {
    finish();
    ASSERT_EQ(cudaEventRecord(event, stream), cudaSuccess);  // before the profile: tells nothing about it
    ASSERT_TRUE(context->setOptimizationProfileAsync(0, stream));
    ASSERT_EQ(cudaEventSynchronize(event), cudaSuccess);
    ASSERT_EQ(cudaStreamSynchronize(other_stream), cudaSuccess);
    EXPECT_FALSE(context->enqueueV3(other_stream));
    expect_told("the profile was set on another stream, which nobody has waited for since");
    wait();
    EXPECT_TRUE(context->enqueueV3(other_stream));

    finish();
    ASSERT_TRUE(context->enqueueV3(stream));
    EXPECT_TRUE(context->enqueueV3(stream)) << "one after the other";
    EXPECT_FALSE(context->enqueueV3(other_stream));
    expect_told("a run of the context is queued on another stream");
    wait();
    EXPECT_TRUE(context->enqueueV3(other_stream));
    EXPECT_TRUE(context->enqueueV3(nullptr)) << "the default stream waits for all";
    EXPECT_TRUE(context->enqueueV3(stream)) << "and all wait for it";
  }
  finish();
  EXPECT_EQ(cudaEventDestroy(event), cudaSuccess);
}

TEST_F(EmulatedTensorRTMisuse, ShapesStayWhileARunIsQueued) {
  ASSERT_TRUE(context->enqueueV3(stream));
  EXPECT_TRUE(set_shapes(2)) << "no change";
  EXPECT_FALSE(context->setInputShape("dep", dims({1, 1, 4, 2})));
  expect_told("the shape of \"dep\" is changed while a run of the context is queued");
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_TRUE(set_shapes(4));
}

TEST_F(EmulatedTensorRTMisuse, AContextBelongsToOneThreadAtATime) {
  // Two threads that take turns are no misuse; two at once are noticed sooner or later, whichever comes
  // second.
  std::thread([&] { EXPECT_TRUE(context->enqueueV3(stream)); }).join();
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  std::atomic<bool> noticed{false};
  const auto use = [&] {
    while (!noticed) {
      if (!context->setTensorAddress("rgb", tensors["rgb"].first)) {
        noticed = true;
      }
    }
  };
  std::thread second(use);
  use();
  second.join();
  EXPECT_NE(logger.last.find("the context is used by two threads at once"), std::string::npos);
  ASSERT_TRUE(context->enqueueV3(stream));
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaErrorLaunchFailure) << "nobody knows what its runs would do";
}

}  // namespace
