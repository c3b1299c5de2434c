// Progress of a long run: one line that is updated on a terminal, otherwise a plain line now and then.
#ifndef ENHANCE_DEPTH_TOOL_PROGRESS_H
#define ENHANCE_DEPTH_TOOL_PROGRESS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

namespace enhance_depth_tool {

class Progress {
 public:
  struct Style {
    bool terminal = false;
    int width = 80;  // columns of the terminal
  };

  // What ends the run: a number of frames, or a time if that is over before.
  struct Extent {
    std::optional<std::int64_t> frames = std::nullopt;
    std::optional<double> seconds = std::nullopt;
  };

  // Reports to `stream`. `seconds` returns the time since the run began.
  Progress(std::ostream& stream, Style style, Extent extent, std::function<double()> seconds);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // One more frame is done.
  void frame_done(bool failed);

  // Writes a separate line above the progress, passed through printable().
  void say(const std::string& line);

 private:
  std::string text() const;
  void clear();

  std::ostream& stream_;
  Style style_;
  Extent extent_;
  std::function<double()> seconds_;
  std::int64_t done_ = 0;
  std::int64_t failed_ = 0;
  double next_at_;  // when the next update is due
  bool shown_ = false;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PROGRESS_H
