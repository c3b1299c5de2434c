// The exported functions: what they check, in which order, and the state that they leave.
#include <cmath>
#include <cstring>
#include <ctime>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <NvInferRuntime.h>

#include "support/board_test.h"

namespace {

using test_support::ErrorPlace;
using test_support::Frame;
using test_support::Handle;
using test_support::Record;

const char* const kUnconfigured =
    "TensorRT buffers are not configured. Call enhance_depth_reset(width, height) first.";

class Process : public test_support::BoardTest {};

// Each fault hides all those after it.
TEST_F(Process, ChecksItsArgumentsInOrder) {
  const Handle handle = create();
  ASSERT_EQ(enhance_depth_reset(handle.get(), 64, 48, nullptr), 1);
  const Frame frame(64, 48);
  enhance_depth_input input = frame.input();
  enhance_depth_output output{};
  const auto expect = [&](enhance_depth_handle with, const enhance_depth_input* given,
                          enhance_depth_output* place, int code, const char* message, const char* args) {
    ErrorPlace error;
    emulated_board::capture_log(true);
    EXPECT_EQ(enhance_depth_process(with, given, place, error), 0);
    EXPECT_EQ(error.read(), (Record{code, message, "enhance_depth_process", args}));
    EXPECT_EQ(logged(3), std::vector<std::string>(with != nullptr ? 1 : 0, message));
    EXPECT_STREQ(enhance_depth_get_last_error(with), message);
    EXPECT_EQ(enhance_depth_process(with, given, place, nullptr), 0);
  };
  enhance_depth_input bad{nullptr, 0, nullptr, 0, 0, 0};
  expect(nullptr, nullptr, nullptr, 2, "enhance_depth_process received null engine handle.", "");
  expect(nullptr, &input, &output, 2, "enhance_depth_process received null engine handle.", "");
  expect(handle.get(), nullptr, &output, 1, "enhance_depth_process received null input or output.",
         "input/output");
  expect(handle.get(), &bad, nullptr, 1, "enhance_depth_process received null input or output.",
         "input/output");
  const char* null_image = "enhance_depth_process received null RGB or depth buffer.";
  expect(handle.get(), &bad, &output, 17, null_image, "rgb/depth");
  bad.rgb = frame.rgb.data();
  expect(handle.get(), &bad, &output, 17, null_image, "rgb/depth");
  bad = {nullptr, 0, frame.depth.data(), 0, 0, 0};
  expect(handle.get(), &bad, &output, 17, null_image, "rgb/depth");
  const std::pair<int, int> kSizes[] = {{0, 0}, {64, 48}, {48, 63}, {49, 64}, {-48, -64}};
  for (const auto& [height, width] : kSizes) {
    bad = {frame.rgb.data(), 0, frame.depth.data(), 0, height, width};
    expect(handle.get(), &bad, &output, 18, "enhance_depth_process received invalid input resolution.",
           "height/width");
  }
  for (const int stride : {64 * 3, 64 * 48 * 3 - 1, 64 * 48 * 3 + 1, -64 * 48 * 3, 0}) {
    bad = {frame.rgb.data(), stride, frame.depth.data(), 0, 48, 64};
    expect(handle.get(), &bad, &output, 19, "enhance_depth_process RGB stride mismatch.", "rgb_stride");
  }
  for (const int stride : {64 * 2, 64 * 48 * 2 - 1, 64 * 48 * 2 + 1, 64 * 48 * 3}) {
    bad = {frame.rgb.data(), 64 * 48 * 3, frame.depth.data(), stride, 48, 64};
    expect(handle.get(), &bad, &output, 19, "enhance_depth_process depth stride mismatch.", "depth_stride");
  }
  EXPECT_EQ(output.pred, nullptr) << "untouched by all of it";
  ErrorPlace error;
  EXPECT_EQ(enhance_depth_process(handle.get(), &input, &output, error), 1);
  EXPECT_TRUE(error.empty());
  EXPECT_STREQ(enhance_depth_get_last_error(handle.get()), "OK");
}

// The size of a reset that failed is the size that process compares with; its products may be anything.
TEST_F(Process, RefusesFramesOfASizeThatAResetRefusedWithoutTouchingThem) {
  const Handle handle = create();
  const std::uint8_t rgb = 0;
  const std::uint16_t depth = 0;
  const std::pair<int, int> kSizes[] = {
      {0, 0},          {0, 480},       {-64, -48},       {INT32_MIN, 3}, {INT32_MAX, INT32_MAX},
      {-1, INT32_MAX}, {65536, 65536}, {100000, 100000}, {4000, 4000}};
  for (const auto& [width, height] : kSizes) {
    ASSERT_EQ(enhance_depth_reset(handle.get(), width, height, nullptr), 0);
    const auto product = static_cast<std::uint32_t>(width) * static_cast<std::uint32_t>(height);
    const enhance_depth_input input{&rgb,   static_cast<std::int32_t>(product * 3),
                                    &depth, static_cast<std::int32_t>(product * 2),
                                    height, width};
    enhance_depth_output output{};
    ErrorPlace error;
    EXPECT_EQ(enhance_depth_process(handle.get(), &input, &output, error), 0);
    EXPECT_EQ(error.read(), (Record{16, kUnconfigured, "enhance_depth_process", ""}))
        << width << " x " << height;
  }
}

class Lifecycle : public test_support::BoardTest {};

TEST_F(Lifecycle, CreateGivesAHandleThatProcessesTheDefaultSizeAtOnce) {
  const std::string path = write_engine({});
  emulated_board::record_calls(true);
  ErrorPlace error;
  const Handle handle(enhance_depth_create(path.c_str(), error));
  ASSERT_NE(handle, nullptr);
  EXPECT_TRUE(error.empty());
  EXPECT_STREQ(enhance_depth_get_last_error(handle.get()), "OK");
  EXPECT_EQ(emulated_board::live_objects(), test_support::configured(640, 480));
  const auto calls = test_support::recorded_board_calls();
  const std::size_t bytes = test_support::TestEngine{}.text().size();
  const std::vector<std::string> kStart{
      "cudaEventCreate",
      "cudaEventCreate",
      "createInferRuntime: version " + std::to_string(NV_TENSORRT_VERSION),
      "IRuntime::deserializeCudaEngine: " + std::to_string(bytes) + " bytes",
      "ICudaEngine::createExecutionContext: strategy 0",
      "ICudaEngine::getNbIOTensors"};
  ASSERT_GT(calls.size(), kStart.size());
  EXPECT_EQ(
      std::vector<std::string>(calls.begin(), calls.begin() + static_cast<std::ptrdiff_t>(kStart.size())),
      kStart);
}

// Failures before the engine is called. Only those recorded on a handle are logged.
TEST_F(Lifecycle, NullArgumentsAreReportedByName) {
  const Handle handle = create();
  emulated_board::reset();
  emulated_board::capture_log(true);
  float threshold = 7.0F;
  const std::string create = "enhance_depth_create";
  const std::string reset = "enhance_depth_reset";
  const std::string set = "enhance_depth_set_confidence_threshold";
  const std::string get = "enhance_depth_get_confidence_threshold";
  const std::string no_handle = " received null engine handle.";
  const struct {
    enhance_depth_handle store;  // of the last error
    Record expected;
    std::function<bool(enhance_error**)> succeeds;
  } kCases[] = {
      {nullptr,
       {1, create + " received null engine_path.", create, "engine_path"},
       [](enhance_error** e) { return enhance_depth_create(nullptr, e) != nullptr; }},
      {nullptr,
       {2, reset + no_handle, reset, ""},
       [](enhance_error** e) { return enhance_depth_reset(nullptr, 64, 48, e) != 0; }},
      {nullptr,
       {2, set + no_handle, set, ""},
       [](enhance_error** e) { return enhance_depth_set_confidence_threshold(nullptr, 1.0F, e) != 0; }},
      {nullptr,
       {2, get + no_handle, get, ""},
       [&](enhance_error** e) {
         return enhance_depth_get_confidence_threshold(nullptr, &threshold, e) != 0;
       }},
      {handle.get(),
       {1, get + " received null output pointer.", get, "conf_threshold"},
       [&](enhance_error** e) {
         return enhance_depth_get_confidence_threshold(handle.get(), nullptr, e) != 0;
       }},
  };
  for (const auto& example : kCases) {
    ErrorPlace error;
    EXPECT_FALSE(example.succeeds(error)) << example.expected;
    EXPECT_EQ(error.read(), example.expected);
    EXPECT_EQ(enhance_depth_get_last_error(example.store), example.expected.message);
    EXPECT_EQ(emulated_board::captured_log().size(), example.store != nullptr ? 1U : 0U) << example.expected;
  }
  EXPECT_EQ(threshold, 7.0F);
  EXPECT_EQ(emulated_board::calls("cudaEventCreate"), 0);
}

TEST_F(Lifecycle, DestroyingNothingIsOnlyAWarning) {
  enhance_depth_reset(nullptr, 1, 1, nullptr);
  enhance_depth_destroy(nullptr);
  EXPECT_STREQ(enhance_depth_get_last_error(nullptr), "OK");
  const auto log = emulated_board::captured_log();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].severity, 2);
  EXPECT_EQ(log[0].message, "enhance_depth_destroy received null engine handle.");
}

// The log has to state the line of the source.
TEST_F(Lifecycle, EveryLineOfTheLogNamesItsPlace) {
  const Handle handle = create();
  enhance_depth_reset(handle.get(), 0, 0, nullptr);
  enhance_depth_set_confidence_threshold(handle.get(), 0.5F, nullptr);
  enhance_depth_set_optimization_level(handle.get(), 1);
  enhance_depth_destroy(nullptr);
  std::vector<std::string> places;
  for (const emulated_board::LogLine& line : emulated_board::captured_log()) {
    EXPECT_GT(line.line, 0);
    places.push_back(line.file.substr(line.file.rfind('/') + 1) + ": " + line.function);
  }
  std::vector<std::string> expected(4, "io_contract.cpp: validate_tensor_meta");
  expected.insert(
      expected.end(),
      {"profile_selection.cpp: find_compatible_profile", "allocate.cpp: allocate",
       "trt_engine_wrapper.cpp: fail", "settings.cpp: enhance_depth_set_confidence_threshold",
       "settings.cpp: enhance_depth_set_optimization_level", "lifecycle.cpp: enhance_depth_destroy"});
  EXPECT_EQ(places, expected);
}

class Settings : public test_support::BoardTest {};

TEST_F(Settings, ThresholdKeepsTheBitsOfAnyFloatAndChangesNoOutput) {
  const Handle handle = create();
  const Frame frame(64, 48);
  const enhance_depth_input input = frame.input();
  float threshold = 0;
  ASSERT_EQ(enhance_depth_get_confidence_threshold(handle.get(), &threshold, nullptr), 1);
  EXPECT_EQ(threshold, 0.95F);
  using Limits = std::numeric_limits<float>;
  const std::pair<float, const char*> kValues[] = {
      {0.5F, "0.500000"},
      {-5.0F, "-5.000000"},
      {-0.0F, "-0.000000"},
      {1.0e-9F, "0.000000"},
      {Limits::infinity(), "inf"},
      {Limits::quiet_NaN(), "nan"},
      {Limits::max(), "340282346638528859811704183484516925440.000000"}};
  for (const auto& [value, text] : kValues) {
    emulated_board::capture_log(true);
    ErrorPlace error;
    ASSERT_EQ(enhance_depth_set_confidence_threshold(handle.get(), value, error), 1);
    EXPECT_EQ(logged(1), std::vector<std::string>{std::string("Confidence threshold set to ") + text});
    ASSERT_EQ(enhance_depth_reset(handle.get(), 64, 48, error), 1);
    ASSERT_EQ(enhance_depth_get_confidence_threshold(handle.get(), &threshold, error), 1);
    EXPECT_EQ(std::memcmp(&threshold, &value, sizeof value), 0) << text << ", kept by a reset";
    enhance_depth_output output{};
    ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, error), 1);
    EXPECT_EQ(test_support::pixels_of(output), frame.depth) << text;
    EXPECT_EQ(output.conf[1], 1.0F) << text;
    EXPECT_TRUE(error.empty());
  }
}

TEST_F(Settings, OptimizationLevelIsLoggedAndForgotten) {
  const Handle handle = create();
  emulated_board::capture_log(true);
  enhance_depth_set_optimization_level(nullptr, 1);
  EXPECT_STREQ(enhance_depth_get_last_error(nullptr),
               "enhance_depth_set_optimization_level received null engine handle.");
  EXPECT_TRUE(emulated_board::captured_log().empty());
  for (const int level : {3, -1, INT32_MIN}) {
    emulated_board::capture_log(true);
    enhance_depth_set_optimization_level(handle.get(), level);
    EXPECT_EQ(logged(1), std::vector<std::string>{"Optimization level set to " + std::to_string(level) +
                                                  " (placeholder; no effect in current implementation)."});
  }
}

TEST_F(Settings, EachClearsTheErrorOfItsHandleAndNotThatOfTheThread) {
  const Handle handle = create();
  float threshold = 0;
  const std::function<bool()> kCalls[] = {
      [&] { return enhance_GetLastInferenceTime(handle.get()) == -1.0F; },
      [&] { return enhance_depth_get_confidence_threshold(handle.get(), &threshold, nullptr) == 1; },
      [&] { return enhance_depth_set_confidence_threshold(handle.get(), 0.5F, nullptr) == 1; },
      [&] { return enhance_depth_set_optimization_level(handle.get(), 1), true; }};
  EXPECT_EQ(enhance_GetLastInferenceTime(nullptr), -1.0F);
  for (const auto& call : kCalls) {
    enhance_depth_process(handle.get(), nullptr, nullptr, nullptr);
    EXPECT_TRUE(call());
    EXPECT_STREQ(enhance_depth_get_last_error(handle.get()), "OK");
    EXPECT_STREQ(enhance_depth_get_last_error(nullptr),
                 "enhance_GetLastInferenceTime received null engine handle.");
  }
}

TEST(Version, NamesTheBuild) {
  const char* version = enhance_depth_get_version();
  std::tm time{};
  const char* end = strptime(version, "0.7.0 (built on %b %d %Y %H:%M:%S)", &time);
  EXPECT_TRUE(end != nullptr && *end == '\0') << version;
  EXPECT_EQ(std::string(version).size(), std::string("0.7.0 (built on Jul 14 2026 10:33:25)").size());
  EXPECT_EQ(std::string(version).substr(0, 6), std::to_string(ENHANCE_DEPTH_VERSION_MAJOR) + "." +
                                                   std::to_string(ENHANCE_DEPTH_VERSION_MINOR) + "." +
                                                   std::to_string(ENHANCE_DEPTH_VERSION_PATCH) + " ");
  EXPECT_EQ(enhance_depth_get_version(), version);
}

}  // namespace
