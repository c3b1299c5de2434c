// One frame through the network, and the warm-up.
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "api/boundary.h"
#include "engine/host_image.h"
#include "support/board_test.h"
#include "support/open_engine.h"

namespace enhance_depth {
namespace {

using test_support::Frame;
using test_support::Handle;
using test_support::TestEngine;

class Infer : public test_support::BoardTest {
 protected:
  // A frame's inputs and outputs, with an engine object of its own.
  struct Call {
    const std::uint8_t* rgb;
    float* depth;
    std::uint16_t** pred;
    float** conf;
    int height;
    int width;
  };
  static void expect_failure(OpenEngine& wrapper, const Call& call, int code, const char* message) {
    EXPECT_FALSE(wrapper.infer(call.rgb, call.depth, call.pred, call.conf, call.height, call.width));
    EXPECT_EQ(wrapper.last_error_code(), code);
    EXPECT_EQ(wrapper.last_error_message(), message);
  }
};

TEST_F(Infer, ChecksItsStateThenItsOutputsThenItsInputsThenTheSize) {
  OpenEngine wrapper;
  std::vector<std::uint8_t> rgb(64 * 48 * 3);
  std::vector<float> depth(64 * 48);
  std::uint16_t untouched_pred = 0;
  float untouched_conf = 0;
  std::uint16_t* pred = &untouched_pred;
  float* conf = &untouched_conf;

  expect_failure(wrapper, {nullptr, nullptr, nullptr, nullptr, 0, 0}, 15, "Engine is not initialized.");
  ASSERT_TRUE(wrapper.init(write_engine({}).c_str()));
  wrapper.delete_buffer(true);
  expect_failure(wrapper, {nullptr, nullptr, nullptr, nullptr, 0, 0}, 16,
                 "TensorRT buffers are not configured. Call enhance_depth_reset(width, height) first.");
  wrapper.set_input_size(64, 48);
  ASSERT_TRUE(wrapper.allocate());
  const char* outputs = "Output pred/conf pointer arguments must not be null.";
  expect_failure(wrapper, {nullptr, nullptr, nullptr, &conf, 0, 0}, 1, outputs);
  expect_failure(wrapper, {nullptr, nullptr, &pred, nullptr, 0, 0}, 1, outputs);
  const char* inputs = "Input RGB and depth data must not be null.";
  expect_failure(wrapper, {nullptr, depth.data(), &pred, &conf, 0, 0}, 17, inputs);
  expect_failure(wrapper, {rgb.data(), nullptr, &pred, &conf, 0, 0}, 17, inputs);
  const char* size = "Input resolution mismatch. Expected configured reset(width, height).";
  expect_failure(wrapper, {rgb.data(), depth.data(), &pred, &conf, 64, 48}, 18, size);
  expect_failure(wrapper, {rgb.data(), depth.data(), &pred, &conf, 48, 63}, 18, size);
  expect_failure(wrapper, {rgb.data(), depth.data(), &pred, &conf, 47, 64}, 18, size);
  EXPECT_EQ(pred, &untouched_pred);
  EXPECT_EQ(conf, &untouched_conf);
  EXPECT_EQ(wrapper.last_inference_time(), -1.0F);
}

// Everything on the handle's own stream; the host waits for the stop event and for the stream.
TEST_F(Infer, CallsTheBoardInThisOrder) {
  const std::vector<std::string> upload_and_run{"cudaMemcpyAsync: host to device, 9216 bytes, stream 2",
                                                "cudaMemcpyAsync: host to device, 12288 bytes, stream 2",
                                                "cudaEventRecord: event 1, stream 2",
                                                "IExecutionContext::enqueueV3: stream 2",
                                                "cudaEventRecord: event 2, stream 2",
                                                "cudaEventSynchronize: event 2",
                                                "cudaEventElapsedTime: event 1 to event 2"};
  const std::string download = "cudaMemcpyAsync: device to host, 12288 bytes, stream 2";
  for (const bool confidence : {true, false}) {
    emulated_board::reset();
    const Handle handle = create(confidence ? TestEngine{} : test_support::three_tensor_engine());
    ASSERT_EQ(enhance_depth_reset(handle.get(), 64, 48, nullptr), 1);
    const Frame frame(64, 48);
    const enhance_depth_input input = frame.input();
    enhance_depth_output output{};
    emulated_board::record_calls(true);
    ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, nullptr), 1);
    emulated_board::record_calls(false);
    std::vector<std::string> expected = upload_and_run;
    expected.insert(expected.end(), confidence ? 2 : 1, download);
    expected.emplace_back("cudaStreamSynchronize: stream 2");
    EXPECT_EQ(test_support::recorded_board_calls(), expected);
    EXPECT_EQ(output.conf != nullptr, confidence);
    EXPECT_EQ(output.conf_stride, confidence ? 64 * 48 * 4 : 0);
  }
}

// The network's results depend on every byte, so a late, lost or misplaced byte shows.
TEST_F(Infer, ReturnsWhatTheNetworkMadeOfThisVeryFrame) {
  for (const bool planar : {true, false}) {
    TestEngine engine = planar ? TestEngine{} : test_support::interleaved_engine();
    engine.network = "rgb-sum";
    engine.parameters = "";
    const Handle handle = create(engine);
    int width = 640;
    int height = 480;
    enhance_depth_output output{};
    for (unsigned seed = 1; seed <= 4; ++seed) {
      const Frame frame(width, height, seed);
      const enhance_depth_input input = frame.input();
      const enhance_depth_output earlier = std::exchange(output, {});
      ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, nullptr), 1);
      const bool new_size = seed == 1 || seed == 3;
      EXPECT_TRUE(new_size || (output.pred == earlier.pred && output.conf == earlier.conf))
          << "one buffer a size";
      ASSERT_EQ(output.pred_stride, width * height * 2);
      ASSERT_EQ(output.conf_stride, width * height * 4);
      const std::size_t pixels = frame.depth.size();
      for (std::size_t i = 0; i < pixels; ++i) {
        const std::size_t first = planar ? i : 3 * i;
        const std::size_t step = planar ? pixels : 1;
        const int sum = frame.rgb[first] + 2 * frame.rgb[first + step] + 4 * frame.rgb[first + 2 * step];
        ASSERT_EQ(output.pred[i], std::min(sum + frame.depth[i], 65535))
            << "pixel " << i << " of frame " << seed;
        ASSERT_EQ(output.conf[i], static_cast<float>(frame.rgb[first + 2 * step]) / 255.0F);
      }
      if (seed == 2) {
        width = 33;
        height = 17;
        ASSERT_EQ(enhance_depth_reset(handle.get(), width, height, nullptr), 1);
      }
    }
  }
}

TEST_F(Infer, OverwritesTheTimeWithEachTimedFrameAndOnlyThen) {
  const float kEarlier = 1.0e9F;  // milliseconds that no frame takes
  const Handle handle = create();
  const Frame frame(640, 480);
  const enhance_depth_input input = frame.input();
  enhance_depth_output output{};
  const auto process = [&] { return enhance_depth_process(handle.get(), &input, &output, nullptr); };
  const auto time = [&] { return enhance_GetLastInferenceTime(handle.get()); };
  EXPECT_EQ(time(), -1.0F) << "a warm-up is not timed";
  ASSERT_EQ(process(), 1);
  EXPECT_TRUE(time() > 0.0F && time() < kEarlier) << time();
  from_handle(handle.get())->*(&OpenEngine::last_inference_time_) = kEarlier;
  emulated_board::fail_call("IExecutionContext::enqueueV3", 1);
  ASSERT_EQ(process(), 0);
  EXPECT_EQ(time(), kEarlier);
  ASSERT_EQ(enhance_depth_reset(handle.get(), 16, 16, nullptr), 1);
  EXPECT_EQ(time(), kEarlier);
  ASSERT_EQ(enhance_depth_reset(handle.get(), 640, 480, nullptr), 1);
  emulated_board::fail_call("cudaMemcpyAsync", 3);  // the download of the prediction, after the timer stopped
  ASSERT_EQ(process(), 0);
  EXPECT_TRUE(time() > 0.0F && time() < kEarlier) << time();
}

TEST_F(Infer, KeepsWholeImageReadsInsideItsBuffersWhenOutputsAreShort) {
  OpenEngine wrapper;
  ASSERT_TRUE(wrapper.init(write_engine(test_support::small_output_engine()).c_str()));
  for (const auto& [width, height] : {std::pair{640, 480}, std::pair{1280, 960}, std::pair{64, 48}}) {
    wrapper.delete_buffer(true);
    wrapper.set_input_size(width, height);
    ASSERT_TRUE(wrapper.allocate());
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const std::vector<std::uint8_t> rgb(pixels * 3, 9);
    std::vector<float> depth(pixels, 5.0F);
    std::uint16_t* pred = nullptr;
    float* conf = nullptr;
    ASSERT_TRUE(wrapper.infer(rgb.data(), depth.data(), &pred, &conf, height, width));
    EXPECT_TRUE(wrapper.h_rgb == rgb && wrapper.h_depth == depth) << "uploads start from the staging";
    EXPECT_EQ(wrapper.pred_u16, std::vector<std::uint16_t>(7 * 9, 5));
    EXPECT_EQ(wrapper.h_conf, std::vector<float>(3 * 5, 1.0F));
    EXPECT_GE(wrapper.pred_u16.capacity(), pixels);
    EXPECT_GE(wrapper.h_conf.capacity(), pixels);
  }
}

TEST(HostImage, OfASmallerSizeHasNothingOfTheLargerOne) {
  std::vector<std::uint16_t> buffer(20, 9);
  resize_host_image(buffer, 7, 12);
  EXPECT_EQ(buffer, std::vector<std::uint16_t>(7));
  EXPECT_EQ(std::vector<std::uint16_t>(buffer.data(), buffer.data() + 12), std::vector<std::uint16_t>(12));
}

TEST_F(Infer, ConvertsWhateverTheNetworkDelivers) {
  TestEngine engine;
  engine.network = "special-values";
  engine.parameters = "";
  const Handle handle = create(engine);
  const Frame frame(640, 480);
  const enhance_depth_input input = frame.input();
  enhance_depth_output output{};
  ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, nullptr), 1);
  const std::vector<std::uint16_t> expected{0,    65535, 0,     0,     0,     0,     0,     0,     1,     0,
                                            1000, 32768, 65534, 65534, 65535, 65535, 65535, 65535, 65535, 0};
  for (std::size_t i = 0; i < 640U * 480U; ++i) {
    ASSERT_EQ(output.pred[i], expected[i % expected.size()]) << "pixel " << i;
  }
  EXPECT_TRUE(std::isnan(output.conf[0])) << "confidence is passed on as it is";
  EXPECT_EQ(output.conf[6], -70000.0F);
}

class Warmup : public test_support::BoardTest {};

TEST_F(Warmup, NeedsBuffersZeroesThemAndRunsAsOftenAsItIsTold) {
  OpenEngine wrapper;
  EXPECT_FALSE(wrapper.warmup());
  EXPECT_EQ(wrapper.last_error_code(), 16);
  EXPECT_EQ(wrapper.last_error_message(),
            "TensorRT buffers are not configured. Call enhance_depth_reset(width, height) first.");
  TestEngine engine = test_support::small_output_engine();
  engine.network = "rgb-sum";
  engine.parameters = "";
  ASSERT_TRUE(wrapper.init(write_engine(engine).c_str()));
  std::vector<float> pred(7 * 9, 1.0F);
  ASSERT_EQ(cudaMemcpyAsync(pred.data(), wrapper.d_pred, 252, cudaMemcpyDeviceToHost, wrapper.stream), 0);
  ASSERT_EQ(cudaStreamSynchronize(wrapper.stream), 0);
  EXPECT_EQ(pred, std::vector<float>(7 * 9)) << "not what an earlier owner left in the memory";
  wrapper.fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, "an earlier failure");
  for (const int iterations : {0, 3, -1}) {
    emulated_board::reset();
    emulated_board::record_calls(true);
    wrapper.warmup_iterations = iterations;
    EXPECT_TRUE(wrapper.warmup());
    std::vector<std::string> expected{"cudaMemset: value 0, 921600 bytes",
                                      "cudaMemset: value 0, 1228800 bytes", "cudaMemset: value 0, 252 bytes",
                                      "cudaMemset: value 0, 60 bytes"};
    expected.insert(expected.end(), iterations > 0 ? 3 : 0, "IExecutionContext::enqueueV3: stream 1");
    expected.emplace_back("cudaStreamSynchronize: stream 1");
    EXPECT_EQ(test_support::recorded_board_calls(), expected);
  }
  EXPECT_EQ(wrapper.last_error_message(), "an earlier failure") << "the caller clears it";
  EXPECT_EQ(wrapper.last_inference_time(), -1.0F);
}

}  // namespace
}  // namespace enhance_depth
