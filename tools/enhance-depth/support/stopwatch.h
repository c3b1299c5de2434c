#ifndef ENHANCE_DEPTH_TOOL_STOPWATCH_H
#define ENHANCE_DEPTH_TOOL_STOPWATCH_H

#include <chrono>

namespace enhance_depth_tool {

// Wall time since construction.
class Stopwatch {
 public:
  double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }
  double milliseconds() const { return seconds() * 1e3; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_STOPWATCH_H
