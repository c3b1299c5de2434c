// How far a long run is: one line that is kept up to date on a terminal, a plain line now and then elsewhere.
#ifndef ENHANCE_DEPTH_TOOL_PROGRESS_H
#define ENHANCE_DEPTH_TOOL_PROGRESS_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

namespace enhance_depth_tool {

class Progress {
 public:
  struct Style {
    bool terminal = false;
    int width = 80;  // columns of the terminal
  };

  // Writes to `stream` about `total` frames. `seconds` tells the time since the run began.
  Progress(std::ostream& stream, Style style, std::int64_t total, std::function<double()> seconds);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // One more frame is through.
  void frame_done(bool failed);

  // Writes a line of its own, above the progress, as printable() makes it.
  void say(const std::string& line);

 private:
  std::string text() const;
  void clear();

  std::ostream& stream_;
  Style style_;
  std::int64_t total_;
  std::function<double()> seconds_;
  std::int64_t done_ = 0;
  std::int64_t failed_ = 0;
  double next_at_;  // when the next update is due
  bool shown_ = false;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PROGRESS_H
