// Messages into the camera SDK's log, and TensorRT's messages on standard output.
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <dlfcn.h>

#include "log/log_bridge.h"
#include "log/trt_logger.h"
#include "support/board_test.h"
#include "support/captured_output.h"

namespace {

bool sdk_throws = false;
std::function<void()> sdk_calls_back;

}  // namespace

// Replaces the camera SDK's function, which is C++ behind a C interface.
extern "C" void ob_log_external_message(ob_log_severity severity, const char* module, const char* message,
                                        const char* file, const char* function, int line, ob_error** error) {
  if (sdk_throws) {
    throw std::runtime_error("from inside the camera SDK");
  }
  if (sdk_calls_back) {
    std::exchange(sdk_calls_back, nullptr)();
  }
  static const auto real =
      reinterpret_cast<decltype(&ob_log_external_message)>(dlsym(RTLD_NEXT, "ob_log_external_message"));
  real(severity, module, message, file, function, line, error);
}

namespace enhance_depth {
namespace {

using nvinfer1::ILogger;
using test_support::CapturedOutput;

class LogBridge : public test_support::BoardTest {};

TEST_F(LogBridge, PassesEverythingOnUnderItsModuleName) {
  log_orbbec_message(OB_LOG_SEVERITY_WARN, "a message with %s and\nlines", "source/file.cpp", "some_function",
                     123);
  const auto lines = emulated_board::captured_log();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].severity, 2);
  EXPECT_EQ(lines[0].module, "EnhanceDepth");
  EXPECT_EQ(lines[0].message, "a message with %s and\nlines");
  EXPECT_EQ(lines[0].file, "source/file.cpp");
  EXPECT_EQ(lines[0].function, "some_function");
  EXPECT_EQ(lines[0].line, 123);
}

TEST_F(LogBridge, LetsNoExceptionOfTheSdkOut) {
  sdk_throws = true;
  log_orbbec_message(OB_LOG_SEVERITY_ERROR, "lost", "file", "function", 1);
  EXPECT_EQ(enhance_depth_create("/nonexistent", nullptr), nullptr);
  sdk_throws = false;
  EXPECT_STREQ(enhance_depth_get_last_error(nullptr),
               "Cannot read engine file (No such file or directory): /nonexistent");
}

// The host's log function may query the handle whose failure is being logged.
TEST_F(LogBridge, FailureSurvivesALogThatCallsBackOnItsHandle) {
  const test_support::Handle handle = create();
  const std::string message = "Invalid dynamic input shape. Width and height must be positive.";
  sdk_calls_back = [&] {
    EXPECT_EQ(enhance_depth_get_last_error(handle.get()), message) << "complete before it is logged";
    EXPECT_EQ(enhance_GetLastInferenceTime(handle.get()), -1.0F);
    EXPECT_STREQ(enhance_depth_get_last_error(handle.get()), "OK");
  };
  emulated_board::capture_log(true);
  test_support::ErrorPlace error;
  EXPECT_EQ(enhance_depth_reset(handle.get(), 0, 0, error), 0);
  EXPECT_EQ(error.read(), (test_support::Record{1, message, "enhance_depth_reset", "allocate"}));
  EXPECT_EQ(enhance_depth_get_last_error(handle.get()), message);
  EXPECT_EQ(logged(3), std::vector<std::string>{message});
}

TEST(TensorRtLogger, PrintsErrorsAndDropsTheRest) {
  CapturedOutput output;
  g_logger.log(ILogger::Severity::kWARNING, "warning");
  g_logger.log(ILogger::Severity::kINFO, "info");
  g_logger.log(ILogger::Severity::kVERBOSE, "verbose");
  EXPECT_EQ(output.text(), "");
  g_logger.log(ILogger::Severity::kINTERNAL_ERROR, "internal");
  EXPECT_EQ(output.text(), "TRT: internal\n") << "not flushed";
  g_logger.log(ILogger::Severity::kERROR, "100 %s");
  g_logger.log(ILogger::Severity::kERROR, nullptr);
  EXPECT_EQ(output.text(), "TRT: internal\nTRT: 100 %s\nTRT: \n");
}

}  // namespace
}  // namespace enhance_depth
