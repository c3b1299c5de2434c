// What every function of the board does first: it says that the calling thread is inside the board, counts
// the call, and asks whether a failure of it is planned (emulated_board/control.h). Costs one counter while
// nobody watches.
#ifndef EMULATED_BOARD_CORE_CALL_H
#define EMULATED_BOARD_CORE_CALL_H

#include <string>

#include "core/functions.h"

namespace emulated_board {

// While one lives, inside() is true on its thread.
class InsideBoard {
 public:
  InsideBoard() noexcept;
  ~InsideBoard();
  InsideBoard(const InsideBoard&) = delete;
  InsideBoard& operator=(const InsideBoard&) = delete;
};

// While one lives, the thread is back in the program's own code: around calls of the program's logger.
class OutsideBoard {
 public:
  OutsideBoard() noexcept;
  ~OutsideBoard();
  OutsideBoard(const OutsideBoard&) = delete;
  OutsideBoard& operator=(const OutsideBoard&) = delete;

 private:
  int depth_;
};

// Whether this call is to fail, and with what.
struct Injection {
  bool fails = false;
  int status = 0;  // kDefaultStatus: the function's usual one
  int status_or(int usual) const;
};

// The parts of arrive().
bool count_call(Function function) noexcept;  // true when somebody plans failures or records
bool recording() noexcept;
Injection watch_call(Function function, const std::string& arguments);

// Counts a call, records it with the text that `describe()` makes, if that is wanted, and says whether it is
// to fail.
template <typename Describe>
Injection arrive(Function function, const Describe& describe) {
  if (!count_call(function)) return {};
  return watch_call(function, recording() ? describe() : std::string());
}

// What a release does that finds nothing to release.
void count_invalid_release() noexcept;

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_CALL_H
