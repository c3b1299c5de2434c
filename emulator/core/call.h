// The prologue of every function of the board: marks the calling thread as inside the board, counts the call,
// and looks up whether it is planned to fail (emulated_board/control.h). As long as nothing is planned or
// recorded the cost is one atomic increment.
#ifndef EMULATED_BOARD_CORE_CALL_H
#define EMULATED_BOARD_CORE_CALL_H

#include <string>

#include "core/functions.h"

namespace emulated_board {

// While one exists, inside() is true on its thread.
class InsideBoard {
 public:
  InsideBoard() noexcept;
  ~InsideBoard();
  InsideBoard(const InsideBoard&) = delete;
  InsideBoard& operator=(const InsideBoard&) = delete;
};

// The opposite: put around calls of the program's own code, such as its logger.
class OutsideBoard {
 public:
  OutsideBoard() noexcept;
  ~OutsideBoard();
  OutsideBoard(const OutsideBoard&) = delete;
  OutsideBoard& operator=(const OutsideBoard&) = delete;

 private:
  int depth_;
};

// Whether this call is to fail, and with which status.
struct Injection {
  bool fails = false;
  int status = 0;  // kDefaultStatus stands for the function's usual one
  int status_or(int usual) const;
};

// The steps of arrive(). count_call() returns true when failures are planned or calls are recorded.
bool count_call(Function function) noexcept;
bool recording() noexcept;
Injection watch_call(Function function, const std::string& arguments);

// Counts a call, records it with the text returned by `describe()` if recording is on, and returns whether it
// is to fail.
template <typename Describe>
Injection arrive(Function function, const Describe& describe) {
  if (!count_call(function)) {
    return {};
  }
  return watch_call(function, recording() ? describe() : std::string());
}

// Counts a call that releases something that does not exist.
void count_invalid_release() noexcept;

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_CALL_H
