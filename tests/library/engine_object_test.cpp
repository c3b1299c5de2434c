// The engine object: its defaults, its release, and the tensors that it demands of an engine.
#include <algorithm>
#include <string>
#include <vector>

#include "support/board_test.h"
#include "support/open_engine.h"

namespace enhance_depth {
namespace {

using test_support::conf_tensor;
using test_support::dep_tensor;
using test_support::Handle;
using test_support::pred_tensor;
using test_support::rgb_tensor;
using test_support::TestTensor;

class EngineObject : public test_support::BoardTest {};

void expect_released_defaults(const OpenEngine& wrapper) {
  EXPECT_EQ(wrapper.runtime, nullptr);
  EXPECT_EQ(wrapper.engine, nullptr);
  EXPECT_EQ(wrapper.context, nullptr);
  EXPECT_FALSE(wrapper.initialized);
  EXPECT_FALSE(wrapper.has_confidence_output);
  EXPECT_FALSE(wrapper.buffers_ready);
  EXPECT_EQ(wrapper.profile_index, 0);
  EXPECT_EQ(wrapper.stream, nullptr);
  for (const void* buffer : {wrapper.d_rgb, wrapper.d_depth, wrapper.d_pred, wrapper.d_conf}) {
    EXPECT_EQ(buffer, nullptr);
  }
  EXPECT_TRUE(wrapper.h_rgb.empty() && wrapper.h_depth.empty() && wrapper.h_pred.empty() &&
              wrapper.h_conf.empty());
  EXPECT_EQ(wrapper.last_error_code(), ENHANCE_DEPTH_OK);
  EXPECT_EQ(wrapper.last_error_message(), "OK");
  EXPECT_EQ(wrapper.error_detail, "");
  EXPECT_EQ(wrapper.last_inference_time(), -1.0F);
  EXPECT_EQ(wrapper.engine_data, nullptr);
  EXPECT_EQ(wrapper.engine_size, 0U);
}

TEST_F(EngineObject, StartsWithItsDefaults) {
  const OpenEngine wrapper;
  expect_released_defaults(wrapper);
  EXPECT_TRUE(std::equal(std::begin(wrapper.rgb_mean), std::end(wrapper.rgb_mean),
                         std::begin({0.485F, 0.456F, 0.406F})));
  EXPECT_TRUE(std::equal(std::begin(wrapper.rgb_std), std::end(wrapper.rgb_std),
                         std::begin({0.229F, 0.224F, 0.225F})));
  EXPECT_EQ(wrapper.depth_scale, 10.0F);
  EXPECT_EQ(wrapper.confidence_threshold(), 0.95F);
  EXPECT_TRUE(wrapper.depth_f32.empty() && wrapper.pred_u16.empty());
  for (const auto& dims : {wrapper.rgb_dims, wrapper.depth_dims, wrapper.pred_dims, wrapper.conf_dims}) {
    EXPECT_EQ(dims.nbDims, 0);
  }
  EXPECT_EQ(emulated_board::live_objects().events, 2) << "and nothing else is made";
}

TEST_F(EngineObject, ReturnsToItsDefaultsWhenReleasedAsOftenAsOneLikes) {
  OpenEngine wrapper;
  wrapper.deinit();
  expect_released_defaults(wrapper);
  ASSERT_TRUE(wrapper.init(write_engine({}).c_str()));
  const test_support::Frame frame(640, 480);
  wrapper.depth_f32.assign(frame.depth.begin(), frame.depth.end());
  std::uint16_t* pred = nullptr;
  float* conf = nullptr;
  ASSERT_TRUE(wrapper.infer(frame.rgb.data(), wrapper.depth_f32.data(), &pred, &conf, 480, 640));
  wrapper.set_confidence_threshold(0.25F);
  wrapper.profile_index = 1;
  wrapper.fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, "a failure");
  for (int times = 0; times < 2; ++times) {
    wrapper.deinit();
    expect_released_defaults(wrapper);
    EXPECT_EQ(wrapper.confidence_threshold(), 0.25F);
    EXPECT_EQ(wrapper.pred_u16.size(), 640U * 480U) << "kept until destruction";
    EXPECT_EQ(wrapper.depth_f32.size(), 640U * 480U);
  }
}

TEST_F(EngineObject, ReleasesBuffersBeforeTensorRtObjectsAndTheRuntimeLast) {
  Handle handle = create(test_support::small_output_engine());
  ASSERT_EQ(enhance_depth_reset(handle.get(), 64, 48, nullptr), 1);
  EXPECT_EQ(logged(1).back(),
            "Configured dynamic TensorRT profile=0, rgb=(1, 3, 48, 64), depth=(1, 1, 48, 64), "
            "pred=(1, 1, 7, 9), conf=(1, 1, 3, 5)");
  emulated_board::record_calls(true);
  handle.reset();
  EXPECT_EQ(test_support::recorded_board_calls(),
            (std::vector<std::string>{"cudaStreamDestroy: stream 2", "cudaFree: 9216 bytes",
                                      "cudaFree: 12288 bytes", "cudaFree: 252 bytes", "cudaFree: 60 bytes",
                                      "IExecutionContext::~IExecutionContext", "ICudaEngine::~ICudaEngine",
                                      "IRuntime::~IRuntime", "cudaEventDestroy: event 1",
                                      "cudaEventDestroy: event 2"}));
}

TEST_F(EngineObject, KeepsTheErrorOfAFailureWhileItReleases) {
  OpenEngine wrapper;
  wrapper.error_detail = "a text that lives where it is copied to";
  EXPECT_FALSE(wrapper.fail(ENHANCE_DEPTH_ERROR_MEMCPY_FAILED, wrapper.error_detail));
  wrapper.delete_buffer(false);
  EXPECT_EQ(wrapper.last_error_code(), ENHANCE_DEPTH_ERROR_MEMCPY_FAILED);
  EXPECT_EQ(wrapper.last_error_message(), "a text that lives where it is copied to");
  EXPECT_EQ(wrapper.error_detail, wrapper.last_error_message());
  EXPECT_FALSE(wrapper.set_error(ENHANCE_DEPTH_ERROR_SYNC_FAILED, wrapper.last_error_message()));
  EXPECT_EQ(wrapper.last_error_message(), "a text that lives where it is copied to");
  EXPECT_EQ(logged(3), (std::vector<std::string>(2, wrapper.last_error_message())));
  wrapper.delete_buffer(true);
  EXPECT_EQ(wrapper.last_error_code(), ENHANCE_DEPTH_OK);
  EXPECT_EQ(wrapper.last_error_message(), "OK");
  EXPECT_EQ(wrapper.error_detail, "");
}

class IoContract : public test_support::BoardTest {};

TEST_F(IoContract, AcceptsThreeOrFourTensorsInAnyOrder) {
  const TestTensor extra{"extra", "output", "half", {1}};
  const struct {
    std::vector<TestTensor> tensors;
    bool confidence;
    bool usable;
  } kCases[] = {{{rgb_tensor(), dep_tensor(), pred_tensor()}, false, true},
                {{rgb_tensor(), dep_tensor(), pred_tensor(), conf_tensor()}, true, true},
                {{conf_tensor(), pred_tensor(), dep_tensor(), rgb_tensor()}, true, true},
                // Meets the contract, but its last tensor is never bound.
                {{rgb_tensor(), dep_tensor(), extra, pred_tensor()}, false, false}};
  for (const auto& example : kCases) {
    test_support::TestEngine engine;
    engine.tensors = example.tensors;
    OpenEngine wrapper;
    EXPECT_EQ(wrapper.init(write_engine(engine).c_str()), example.usable) << wrapper.last_error_message();
    EXPECT_EQ(wrapper.last_error_code(), example.usable ? 0 : 25);
    EXPECT_EQ(wrapper.last_error_message(), example.usable ? "OK" : "TensorRT warmup enqueueV3 failed.");
    EXPECT_EQ(wrapper.has_confidence_output, example.confidence);
  }
}

TEST_F(IoContract, RefusesEveryOtherEngineAndSaysWhy) {
  const TestTensor rgb = rgb_tensor();
  const TestTensor dep = dep_tensor();
  const TestTensor pred = pred_tensor();
  const TestTensor conf = conf_tensor();
  const TestTensor extra{"extra", "output", "float", {1}};
  const auto with = [](TestTensor tensor, const char* direction, const char* type) {
    tensor.direction = direction;
    tensor.type = type;
    return tensor;
  };
  const char* count = "Expected 3 or 4 IO tensors in the engine.";
  const std::string missing = "Required tensor not found in engine: ";
  const std::string mode = "Tensor mode mismatch for ";
  const std::string dtype = "Tensor dtype mismatch for ";
  const struct {
    std::vector<TestTensor> tensors;
    int code;
    std::string message;
    std::size_t tensors_logged;
  } kCases[] = {
      {{}, 32, count, 0},
      {{rgb, dep}, 32, count, 0},
      {{rgb, dep, pred, conf, extra}, 32, count, 0},
      {{dep, pred, extra}, 29, missing + "rgb", 0},
      {{rgb, pred, {"DEP", "input", "float", {1, 1, -1, -1}}}, 29, missing + "dep", 1},
      {{rgb, dep, conf}, 29, missing + "pred", 2},
      {{with(rgb, "output", "uint8"), dep, pred}, 30, mode + "rgb", 1},
      {{rgb, dep, with(pred, "input", "int8")}, 30, mode + "pred", 3},
      {{rgb, dep, pred, with(conf, "input", "float")}, 30, mode + "confidence_output", 4},
      {{with(rgb, "input", "float"), dep, pred}, 31, dtype + "rgb. Expected UINT8, got FLOAT", 1},
      {{rgb, with(dep, "input", "half"), pred}, 31, dtype + "dep. Expected FLOAT, got HALF", 2},
      {{rgb, dep, with(pred, "output", "int64")}, 31, dtype + "pred. Expected FLOAT, got INT64", 3},
      {{rgb, dep, pred, with(conf, "output", "int4")},
       31,
       dtype + "confidence_output. Expected FLOAT, got UNKNOWN",
       4},
  };
  for (const auto& example : kCases) {
    emulated_board::capture_log(true);
    test_support::TestEngine engine;
    engine.tensors = example.tensors;
    engine.profiles.clear();
    const std::string path = write_engine(engine);
    test_support::ErrorPlace error;
    EXPECT_EQ(enhance_depth_create(path.c_str(), error), nullptr);
    EXPECT_EQ(error.read(),
              (test_support::Record{example.code, example.message, "enhance_depth_create", path}));
    EXPECT_EQ(enhance_depth_get_last_error(nullptr), example.message);
    EXPECT_EQ(logged(1).size(), example.tensors_logged) << example.message;
    EXPECT_EQ(logged(3), std::vector<std::string>{example.message});
  }
}

TEST_F(IoContract, LogsEachTensorThatItLooksAt) {
  TestTensor wrong = conf_tensor();
  wrong.direction = "input";
  wrong.shape = {};
  test_support::TestEngine engine;
  engine.tensors = {rgb_tensor(), dep_tensor(), pred_tensor(), wrong};
  EXPECT_EQ(enhance_depth_create(write_engine(engine).c_str(), nullptr), nullptr);
  EXPECT_EQ(logged(1),
            (std::vector<std::string>{"TEST Tensor rgb: mode=INPUT, shape=(1, 3, -1, -1), dtype=UINT8",
                                      "TEST Tensor dep: mode=INPUT, shape=(1, 1, -1, -1), dtype=FLOAT",
                                      "TEST Tensor pred: mode=OUTPUT, shape=(1, 1, -1, -1), dtype=FLOAT",
                                      "TEST Tensor confidence_output: mode=INPUT, shape=(), dtype=FLOAT"}));
}

TEST_F(IoContract, FindsNoTensorWithoutAnEngineOrAName) {
  OpenEngine wrapper;
  EXPECT_FALSE(wrapper.tensor_exists("rgb"));
  ASSERT_TRUE(wrapper.init(write_engine({}).c_str()));
  EXPECT_FALSE(wrapper.tensor_exists(nullptr));
  EXPECT_FALSE(wrapper.tensor_exists("rg"));
  EXPECT_TRUE(wrapper.tensor_exists("rgb"));
}

}  // namespace
}  // namespace enhance_depth
