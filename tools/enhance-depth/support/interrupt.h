// Ctrl-C as a request to finish cleanly.
#ifndef ENHANCE_DEPTH_TOOL_INTERRUPT_H
#define ENHANCE_DEPTH_TOOL_INTERRUPT_H

#include <csignal>

namespace enhance_depth_tool {

// While it lives, the first SIGINT or SIGTERM only sets a flag; a second one, of either kind, ends the
// process as usual. A signal that the process was started to ignore, as in the background of a script, stays
// ignored. One at a time.
class InterruptGuard {
 public:
  InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard();

  // Any thread.
  bool interrupted() const;

 private:
  static void catch_once(int signal, struct sigaction& previous);

  struct sigaction previous_interrupt_ {};
  struct sigaction previous_terminate_ {};
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INTERRUPT_H
