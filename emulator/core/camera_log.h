// Where the camera SDK's log lines go while a program captures them.
#ifndef EMULATED_BOARD_CORE_CAMERA_LOG_H
#define EMULATED_BOARD_CORE_CAMERA_LOG_H

#include "emulated_board/control.h"

namespace emulated_board {

// Keeps the line if a program captures the log; false: the line is to be printed.
bool capture_log_line(const LogLine& line);

void forget_camera_log();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_CAMERA_LOG_H
