// The way into the camera SDK's log, and TensorRT's messages on standard output.
#include <string>

#include "log/log_bridge.h"
#include "log/trt_logger.h"
#include "support/board_test.h"
#include "support/captured_output.h"

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

TEST_F(LogBridge, ReturnsTheErrorOfAFailingLog) {
  emulated_board::fail_call("ob_log_external_message", 1);
  log_orbbec_message(OB_LOG_SEVERITY_INFO, "lost", "file", "function", 1);
  EXPECT_EQ(emulated_board::failures_produced(), 1);
  EXPECT_EQ(emulated_board::calls("ob_delete_error"), 1);
  EXPECT_EQ(emulated_board::live_objects().camera_errors, 0);
  log_orbbec_message(OB_LOG_SEVERITY_INFO, "kept", "file", "function", 1);
  EXPECT_EQ(logged(1), std::vector<std::string>{"kept"});
  EXPECT_EQ(emulated_board::calls("ob_delete_error"), 1) << "there was nothing to return";
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
