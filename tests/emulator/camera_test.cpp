// The emulated camera SDK's log.
#include <string>

#include <gtest/gtest.h>
#include <libobsensor/ObSensor.h>

#include "emulated_board/control.h"

namespace {

void log(OBLogSeverity severity, const char* message, ob_error** error = nullptr) {
  ob_log_external_message(severity, "Module", message, "folder/file.cpp", "function", 12, error);
}

TEST(EmulatedCamera, PrintsOneLinePerMessageToStandardError) {
  testing::internal::CaptureStderr();
  log(OB_LOG_SEVERITY_WARN, "a message");
  log(OB_LOG_SEVERITY_OFF, "not printed");
  std::string printed = testing::internal::GetCapturedStderr();
  for (char& character : printed) {
    character = character >= '0' && character <= '9' ? '9' : character;
  }
  EXPECT_EQ(printed, "[99/99 99:99:99.999999][WARNING][Module][function:99] a message\n");
}

TEST(EmulatedCamera, ACapturedLogIsNotPrinted) {
  testing::internal::CaptureStderr();
  for (const char* message : {"dropped when the capture starts again", "kept"}) {
    emulated_board::capture_log(true);
    log(OB_LOG_SEVERITY_ERROR, message);
  }
  emulated_board::capture_log(false);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  const auto lines = emulated_board::captured_log();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].message, "kept");
  emulated_board::reset();
  EXPECT_TRUE(emulated_board::captured_log().empty());
}

TEST(EmulatedCamera, AFailureIsAnErrorObjectOfTheCaller) {
  const emulated_board::LiveObjects before = emulated_board::live_objects();
  emulated_board::fail_calls_from("ob_log_external_message", 1);
  testing::internal::CaptureStderr();
  ob_error* error = nullptr;
  log(OB_LOG_SEVERITY_INFO, "lost", &error);
  log(OB_LOG_SEVERITY_INFO, "lost, too");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(emulated_board::live_objects().camera_errors, before.camera_errors + 1);
  emulated_board::fail_call("ob_delete_error", 1);
  ob_delete_error(error);
  ob_delete_error(nullptr);
  EXPECT_EQ(emulated_board::live_objects(), before);
  EXPECT_EQ(emulated_board::invalid_releases(), 0);
  ob_delete_error(error);
  ob_delete_error(reinterpret_cast<ob_error*>(&error));
  EXPECT_EQ(emulated_board::invalid_releases(), 2);
  emulated_board::reset();
}

}  // namespace
