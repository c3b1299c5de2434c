// Ctrl-C as a request to finish cleanly.
#ifndef ENHANCE_DEPTH_TOOL_INTERRUPT_H
#define ENHANCE_DEPTH_TOOL_INTERRUPT_H

namespace enhance_depth_tool {

// While it exists, the first SIGINT, SIGTERM or SIGHUP only sets a flag; a second one, of any of the three,
// has its previous effect. A signal that was ignored when the process started, as in the background of a
// script, stays ignored. Only one may exist at a time.
class InterruptGuard {
 public:
  InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard();

  // Any thread.
  bool interrupted() const;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INTERRUPT_H
