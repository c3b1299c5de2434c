// A handle's whole life, run again and again with something failing in it, and the state that it must be in
// after each step.
#ifndef ENHANCE_DEPTH_TESTS_SWEEP_SCENARIO_H
#define ENHANCE_DEPTH_TESTS_SWEEP_SCENARIO_H

#include <functional>
#include <string>
#include <vector>

#include "support/board_test.h"

namespace sweep {

enum class Action { kCreate, kProcess, kReset, kDestroy };

struct Step {
  Action action;
  int width = 0;  // of the frame, or to reset to
  int height = 0;
};

// All but the end of a life: create and a frame, then reset to another size, to one that no profile admits,
// to one that only the second profile admits, and back, with two frames after each reset, so that the second
// shows what a failure of the first has left behind.
const std::vector<Step>& scenario();

// The engine of a life: its file, and whether it has a confidence output. Its outputs are 7 x 9 and 3 x 5
// pixels.
struct Engine {
  std::string path;
  bool confidence;
};

const char* function_of(const Step& step);

// The required outcome of a step.
struct Expected {
  bool success = true;
  test_support::Record record;  // of a failure
  bool record_made = true;      // false: *error stays null
  std::string last_error;       // of a failure, in the store that the step writes
};
Expected succeeds();
// A failure whose record is made; the record cuts long messages, the last error does not.
Expected fails(int code, const std::string& message, const Step& step, const std::string& args);

// Calls an exported function in its own way: with a failure armed, say.
using Around = std::function<void(const std::function<void()>&)>;

extern const Around kPlainly;

// One handle on its way through the scenario.
class Life {
 public:
  explicit Life(const Engine& engine) : engine_(engine) {}
  ~Life() { enhance_depth_destroy(handle_); }
  Life(const Life&) = delete;
  Life& operator=(const Life&) = delete;

  void run(const Step& step, const Around& around);

  // The outcome of the step in the handle's current state, if nothing fails.
  Expected untouched(const Step& step) const;

  // Compares result, record, both last errors, log, outputs and live objects of the step that was run last.
  void expect(const Step& step, const Expected& expected);

  // Once nothing fails any more: without buffers a frame is refused; then a reset and a frame succeed.
  void expect_mended();

  bool exists() const { return handle_ != nullptr; }

  // What is expected of the log's errors: the failure and nothing else; the failure at the end, if a handle
  // recorded it; or anything, because the log itself fails.
  enum class Log { kOnlyTheFailure, kEndsWithTheFailure, kAnything };
  void expect_of_log(Log log) { log_ = log; }

 private:
  emulated_board::LiveObjects live() const;

  const Engine& engine_;
  enhance_depth_handle handle_ = nullptr;
  int width_ = 0;  // configured size, 0 when there is none
  int height_ = 0;
  Step asked_for_{Action::kProcess};  // a frame of the size of the last reset, good or not
  Log log_ = Log::kOnlyTheFailure;

  // Of the step that was run last.
  bool result_ = false;
  enhance_depth_output output_{};
  test_support::ErrorPlace error_;
};

// Tests that run lives.
class SweepTest : public test_support::BoardTest {
 protected:
  Engine engine(bool confidence) const;
};

}  // namespace sweep

#endif  // ENHANCE_DEPTH_TESTS_SWEEP_SCENARIO_H
