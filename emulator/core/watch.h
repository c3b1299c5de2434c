// What is counted, recorded and planned: written by the calls of the board (core/call.h), read and set by the
// program (emulated_board/control.h).
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
  std::atomic<bool> active{false};  // somebody plans failures or records
  std::atomic<bool> recording{false};
  std::mutex mutex;  // guards what follows
  std::vector<Plan> plans;
  std::vector<Call> recorded;
  int failures = 0;

  void update_active() { active = recording || !plans.empty(); }
};

// Lives until the library is unloaded: the board can still be used while static objects are destroyed.
Watch& watch();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_WATCH_H
