// The emulated camera SDK's log.
#include <array>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <libobsensor/ObSensor.h>
#include <pthread.h>
#include <unistd.h>

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
  for (char& character : printed) character = character >= '0' && character <= '9' ? '9' : character;
  EXPECT_EQ(printed, "[99/99 99:99:99.999999][WARNING][Module][function:99] a message\n");
}

TEST(EmulatedCamera, ACapturedLogIsNotPrinted) {
  emulated_board::capture_log(true);
  testing::internal::CaptureStderr();
  log(OB_LOG_SEVERITY_ERROR, "kept");
  emulated_board::capture_log(false);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  const auto lines = emulated_board::captured_log();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].severity, OB_LOG_SEVERITY_ERROR);
  EXPECT_EQ(lines[0].module, "Module");
  EXPECT_EQ(lines[0].message, "kept");
  EXPECT_EQ(lines[0].file, "folder/file.cpp");
  EXPECT_EQ(lines[0].function, "function");
  EXPECT_EQ(lines[0].line, 12);
  emulated_board::reset();
  EXPECT_TRUE(emulated_board::captured_log().empty());
}

TEST(EmulatedCamera, ALineThatSignalsInterruptIsWhole) {
  struct sigaction ignore {};
  ignore.sa_handler = [](int) {};  // without SA_RESTART: what waits is interrupted
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGUSR1, &ignore, &before), 0);
  std::array<int, 2> pipe_ends{};
  ASSERT_EQ(pipe(pipe_ends.data()), 0);
  const int standard_error = dup(STDERR_FILENO);
  ASSERT_GE(dup2(pipe_ends[1], STDERR_FILENO), 0);
  close(pipe_ends[1]);

  const std::string message(200'000, 'x');  // more than a pipe holds
  std::thread logging([&] {
    log(OB_LOG_SEVERITY_INFO, message.c_str());
    dup2(standard_error, STDERR_FILENO);  // closes the pipe: the end of what is read below
  });
  for (int round = 0; round < 3; ++round) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    pthread_kill(logging.native_handle(), SIGUSR1);
  }
  std::string printed;
  std::array<char, 4096> piece{};
  for (ssize_t count = 0; (count = read(pipe_ends[0], piece.data(), piece.size())) > 0;)
    printed.append(piece.data(), static_cast<std::size_t>(count));
  logging.join();
  close(standard_error);
  close(pipe_ends[0]);
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_NE(printed.find("[function:12] " + message + "\n"), std::string::npos) << printed.size();
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
