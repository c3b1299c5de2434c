// Counters, recorded calls and planned failures: shared by the functions of the board (core/call.h) and the
// control interface (emulated_board/control.h).
#ifndef EMULATED_BOARD_CORE_WATCH_H
#define EMULATED_BOARD_CORE_WATCH_H

#include <array>
#include <atomic>
#include <mutex>
#include <vector>

#include "core/functions.h"
#include "emulated_board/control.h"

namespace emulated_board {

// A planned failure.
struct Plan {
  Function function;
  int nth;
  bool once;
  int status;
  int seen = 0;
};

struct Watch {
  std::array<std::atomic<int>, kFunctions> counts{};
  std::atomic<int> invalid_releases{0};
  std::atomic<bool> active{false};  // failures are planned or calls are recorded
  std::atomic<bool> recording{false};
  std::mutex mutex;  // guards the members below
  std::vector<Plan> plans;
  std::vector<Call> recorded;
  int failures = 0;

  void update_active() { active = recording || !plans.empty(); }
};

// Lives until the library is unloaded, so that static objects can use the board in their destructors.
Watch& watch();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_WATCH_H
