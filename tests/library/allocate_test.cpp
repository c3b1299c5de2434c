// From a resolution to a bound execution context: profile, shapes, buffers.
#include <string>
#include <vector>

#include "support/board_test.h"
#include "support/open_engine.h"

namespace enhance_depth {
namespace {

using test_support::ErrorPlace;
using test_support::Handle;
using test_support::Record;
using test_support::TestEngine;

class ProfileSelection : public test_support::BoardTest {};

TEST_F(ProfileSelection, TakesTheFirstProfileThatAdmitsBothInputsBoundsIncluded) {
  const Handle handle = create();
  const struct {
    int width;
    int height;
    int profile;
  } kCases[] = {{16, 16, 0}, {640, 480, 0}, {641, 480, 1}, {640, 481, 1}, {1280, 960, 1}};
  for (const auto& size : kCases) {
    emulated_board::reset();
    emulated_board::record_calls(true);
    emulated_board::capture_log(true);
    ASSERT_EQ(enhance_depth_reset(handle.get(), size.width, size.height, nullptr), 1);
    const std::string rgb = "(1, 3, " + std::to_string(size.height) + ", " + std::to_string(size.width) + ")";
    const std::string plane =
        "(1, 1, " + std::to_string(size.height) + ", " + std::to_string(size.width) + ")";
    const std::string profile = std::to_string(size.profile);
    EXPECT_EQ(logged(1),
              (std::vector<std::string>{"Selected TensorRT optimization profile " + profile +
                                            " for rgb=" + rgb + ", depth=" + plane,
                                        "Configured dynamic TensorRT profile=" + profile + ", rgb=" + rgb +
                                            ", depth=" + plane + ", pred=" + plane + ", conf=" + plane}));
    // The bounds of both inputs in each profile up to the one taken, and nothing else.
    EXPECT_EQ(emulated_board::calls("ICudaEngine::getProfileShape"), 4 * (size.profile + 1));
  }
}

TEST_F(ProfileSelection, LeavesTheReasonAloneUnlessItRejects) {
  OpenEngine wrapper;
  ASSERT_TRUE(wrapper.init(write_engine({}).c_str()));
  std::string reason = "as it was";
  EXPECT_TRUE(wrapper.dims_in_profile("rgb", 0, {4, {1, 3, 480, 640}}, &reason));
  EXPECT_EQ(reason, "as it was");
  for (const nvinfer1::Dims64& outside : {nvinfer1::Dims64{4, {2, 3, 480, 640}},
                                          {4, {1, 4, 480, 640}},
                                          {4, {1, 3, 481, 640}},
                                          {4, {1, 3, 480, 641}}}) {
    EXPECT_FALSE(wrapper.dims_in_profile("rgb", 0, outside, nullptr));
  }
  EXPECT_FALSE(wrapper.dims_in_profile("rgb", 0, {3, {1, 3, 480}}, nullptr));
  EXPECT_FALSE(wrapper.dims_in_profile("rgb", 0, {3, {1, 3, 480}}, &reason));
  EXPECT_EQ(reason, "rank mismatch. actual=(1, 3, 480), min=(1, 3, 16, 16), max=(1, 3, 480, 640)");
}

class Allocate : public test_support::BoardTest {};

TEST_F(Allocate, RefusesASizeThatIsNotPositiveBeforeItTouchesAnything) {
  OpenEngine wrapper;
  ASSERT_TRUE(wrapper.init(write_engine({}).c_str()));
  const auto live = emulated_board::live_objects();
  const std::pair<int, int> kSizes[] = {{0, 480}, {-1, 480},   {0, 0},
                                        {640, 0}, {640, -480}, {INT32_MIN, INT32_MIN}};
  for (const auto& [width, height] : kSizes) {
    wrapper.clear_error();
    wrapper.set_input_size(width, height);
    EXPECT_FALSE(wrapper.allocate());
    EXPECT_EQ(wrapper.last_error_code(), 1);
    EXPECT_EQ(wrapper.last_error_message(),
              "Invalid dynamic input shape. Width and height must be positive.");
    EXPECT_TRUE(wrapper.buffers_ready);
    EXPECT_NE(wrapper.stream, nullptr);
    EXPECT_EQ(emulated_board::live_objects(), live);
  }
}

TEST_F(Allocate, ConfiguresEachLayoutOfTheColourTensor) {
  const struct {
    TestEngine engine;
    const char* rgb;
    const char* conf;
    int outputs;
  } kCases[] = {{{}, "(1, 3, 48, 64)", "(1, 1, 48, 64)", 2},
                {test_support::three_tensor_engine(), "(1, 3, 48, 64)", "<none>", 1},
                {test_support::interleaved_engine(), "(48, 64, 3)", "(1, 1, 48, 64)", 2}};
  for (const auto& example : kCases) {
    const Handle handle = create(example.engine);
    EXPECT_EQ(emulated_board::live_objects(), test_support::configured(640, 480, example.outputs));
    emulated_board::capture_log(true);
    ASSERT_EQ(enhance_depth_reset(handle.get(), 64, 48, nullptr), 1);
    EXPECT_EQ(emulated_board::live_objects(), test_support::configured(64, 48, example.outputs));
    EXPECT_EQ(logged(1).back(), std::string("Configured dynamic TensorRT profile=0, rgb=") + example.rgb +
                                    ", depth=(1, 1, 48, 64), pred=(1, 1, 48, 64), conf=" + example.conf);
  }
}

// Everything that can be wrong with a layout once the names and types are right.
TEST_F(Allocate, RefusesEnginesWhoseShapesDoNotFit) {
  const struct {
    std::size_t tensor;
    test_support::Shape shape;
    int code;
    const char* message;
  } kCases[] = {
      {0, {-1, -1}, 32, "Unexpected rgb tensor rank: (-1, -1)"},
      {0, {1, 1, 3, -1, -1}, 32, "Unexpected rgb tensor rank: (1, 1, 3, -1, -1)"},
      {0, {1, 3, 100, 100}, 28, "Failed to set rgb input shape to (1, 3, 480, 640)"},
      {1, {1, 1, 100, 100}, 28, "Failed to set depth input shape to (1, 1, 480, 640)"},
      {2, {-1, 1, -1, -1}, 32, "Tensor shape is not fully specified for pred: (-1, 1, 480, 640)"},
      {2, {}, 32, "Tensor shape is not fully specified for pred: ()"},
      {3, {1, 0, -1, -1}, 32, "Tensor shape is not fully specified for confidence_output: (1, 0, 480, 640)"},
  };
  for (const auto& example : kCases) {
    TestEngine engine;
    engine.tensors[example.tensor].shape = example.shape;
    const std::string path = write_engine(engine);
    ErrorPlace error;
    EXPECT_EQ(enhance_depth_create(path.c_str(), error), nullptr);
    EXPECT_EQ(error.read(), (Record{example.code, example.message, "enhance_depth_create", path}));
    EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
  }
}

TEST_F(Allocate, FreesTheFirstSizeBeforeItMakesTheSecond) {
  const Handle handle = create();
  emulated_board::record_calls(true);
  ASSERT_EQ(enhance_depth_reset(handle.get(), 64, 48, nullptr), 1);
  EXPECT_EQ(test_support::recorded_board_calls(),
            (std::vector<std::string>{"cudaStreamDestroy: stream 1",
                                      "cudaFree: 921600 bytes",
                                      "cudaFree: 1228800 bytes",
                                      "cudaFree: 1228800 bytes",
                                      "cudaFree: 1228800 bytes",
                                      "cudaStreamCreate",
                                      "ICudaEngine::getTensorShape: rgb",
                                      "ICudaEngine::getNbOptimizationProfiles",
                                      "ICudaEngine::getProfileShape: rgb, profile 0, min",
                                      "ICudaEngine::getProfileShape: rgb, profile 0, max",
                                      "ICudaEngine::getProfileShape: dep, profile 0, min",
                                      "ICudaEngine::getProfileShape: dep, profile 0, max",
                                      "IExecutionContext::setOptimizationProfileAsync: profile 0, stream 2",
                                      "IExecutionContext::setInputShape: rgb (1, 3, 48, 64)",
                                      "IExecutionContext::setInputShape: dep (1, 1, 48, 64)",
                                      "IExecutionContext::getTensorShape: rgb",
                                      "IExecutionContext::getTensorShape: dep",
                                      "IExecutionContext::getTensorShape: pred",
                                      "IExecutionContext::getTensorShape: confidence_output",
                                      "cudaMalloc: 9216 bytes",
                                      "cudaMalloc: 12288 bytes",
                                      "cudaMalloc: 12288 bytes",
                                      "cudaMalloc: 12288 bytes",
                                      "IExecutionContext::setTensorAddress: rgb, an address",
                                      "IExecutionContext::setTensorAddress: dep, an address",
                                      "IExecutionContext::setTensorAddress: pred, an address",
                                      "IExecutionContext::setTensorAddress: confidence_output, an address",
                                      "cudaMemset: value 0, 9216 bytes",
                                      "cudaMemset: value 0, 12288 bytes",
                                      "cudaMemset: value 0, 12288 bytes",
                                      "cudaMemset: value 0, 12288 bytes",
                                      "IExecutionContext::enqueueV3: stream 2",
                                      "IExecutionContext::enqueueV3: stream 2",
                                      "cudaStreamSynchronize: stream 2"}));
}

}  // namespace
}  // namespace enhance_depth
