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

// Create, process, reset to another size, process, reset to a size that no profile admits, process it
// nevertheless, reset back, process, destroy.
const std::vector<Step>& scenario();

const char* function_of(const Step& step);

// What a step has to come to.
struct Expected {
  bool success = true;
  test_support::Record record;  // of a failure
  bool record_made = true;      // false: the out-place stays empty
  std::string last_error;       // of a failure, in the store that the step writes
};
Expected succeeds();
// A failure whose record is made; the record cuts long messages, the last error does not.
Expected fails(int code, const std::string& message, const Step& step, const std::string& args);

// Calls an exported function in its own way: with a failure armed, say.
using Around = std::function<void(const std::function<void()>&)>;

// One handle on its way through the scenario. The outputs of its engine are 7 x 9 and 3 x 5 pixels.
class Life {
 public:
  explicit Life(std::string engine_path) : engine_path_(std::move(engine_path)) {}
  ~Life() { enhance_depth_destroy(handle_); }
  Life(const Life&) = delete;
  Life& operator=(const Life&) = delete;

  void run(const Step& step, const Around& around);

  // What the step comes to, in the state that the handle is in, when nothing is done to it.
  Expected untouched(const Step& step) const;

  // Compares result, record, both last errors, log, outputs and live objects of the step that was run last.
  void expect(const Step& step, const Expected& expected);

  // With nothing failing any more: a reset and a frame work, and destroying leaves nothing alive.
  void expect_mended_and_destroy();

  bool exists() const { return handle_ != nullptr; }
  const std::string& engine_path() const { return engine_path_; }
  void ignore_log() { log_counts_ = false; }

 private:
  emulated_board::LiveObjects live() const;

  std::string engine_path_;
  enhance_depth_handle handle_ = nullptr;
  int width_ = 0;  // configured size, 0 when there is none
  int height_ = 0;
  bool log_counts_ = true;

  // Of the step that was run last.
  bool result_ = false;
  enhance_depth_output output_{};
  test_support::ErrorPlace error_;
};

}  // namespace sweep

#endif  // ENHANCE_DEPTH_TESTS_SWEEP_SCENARIO_H
