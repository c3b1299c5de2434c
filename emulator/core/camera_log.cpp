#include "core/camera_log.h"

#include <mutex>

#include "core/call.h"

namespace emulated_board {

namespace {

struct CapturedLog {
  std::mutex mutex;
  bool on = false;
  std::vector<LogLine> lines;
};

CapturedLog& captured() {
  static CapturedLog& the_log = *new CapturedLog;
  return the_log;
}

[[gnu::destructor]] void remove_captured_log() { delete &captured(); }

}  // namespace

bool capture_log_line(const LogLine& line) {
  CapturedLog& log = captured();
  const std::lock_guard lock(log.mutex);
  if (log.on) {
    log.lines.push_back(line);
  }
  return log.on;
}

void forget_camera_log() {
  CapturedLog& log = captured();
  const std::lock_guard lock(log.mutex);
  log.lines.clear();
}

void capture_log(bool on) {
  const InsideBoard inside_board;
  CapturedLog& log = captured();
  const std::lock_guard lock(log.mutex);
  if (on) {
    log.lines.clear();
  }
  log.on = on;
}

std::vector<LogLine> captured_log() {
  const InsideBoard inside_board;
  CapturedLog& log = captured();
  const std::lock_guard lock(log.mutex);
  return log.lines;
}

}  // namespace emulated_board
