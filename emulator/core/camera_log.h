// The camera SDK's captured log lines.
#ifndef EMULATED_BOARD_CORE_CAMERA_LOG_H
#define EMULATED_BOARD_CORE_CAMERA_LOG_H

#include "emulated_board/control.h"

namespace emulated_board {

// Keeps the line and returns true if the log is being captured; otherwise the caller prints the line.
bool capture_log_line(const LogLine& line);

void forget_camera_log();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_CAMERA_LOG_H
