#include "sequence/progress.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "support/text.h"

namespace enhance_depth_tool {
namespace {

constexpr double kTerminalInterval = 0.1;  // seconds between updates
constexpr double kPlainInterval = 10.0;

}  // namespace

Progress::Progress(std::ostream& stream, Style style, Extent extent, std::function<double()> seconds)
    : stream_(stream),
      style_(style),
      extent_(extent),
      seconds_(std::move(seconds)),
      next_at_(style.terminal ? 0.0 : kPlainInterval) {}

Progress::~Progress() { clear(); }

void Progress::frame_done(bool failed) {
  ++done_;
  failed_ += failed ? 1 : 0;
  const double now = seconds_();
  if (now < next_at_) {
    return;
  }
  next_at_ = now + (style_.terminal ? kTerminalInterval : kPlainInterval);
  if (style_.terminal) {
    // One column stays free: some terminals wrap as soon as the last one is written.
    const auto room = static_cast<std::size_t>(std::max(1, style_.width - 1));
    stream_ << "\r" << text().substr(0, room) << "\033[K" << std::flush;
    shown_ = true;
  } else {
    stream_ << text() << "\n" << std::flush;
  }
}

void Progress::say(const std::string& line) {
  clear();
  stream_ << printable(line) << "\n" << std::flush;
}

std::string Progress::text() const {
  const double now = seconds_();
  const double rate = static_cast<double>(done_) / std::max(now, 1e-9);
  double left = std::numeric_limits<double>::infinity();
  std::string result;
  if (extent_.frames) {
    result = std::to_string(done_) + " of " + count(*extent_.frames, "frame");
    left = static_cast<double>(*extent_.frames - done_) / rate;
  } else {
    result = count(done_, "frame");
  }
  if (extent_.seconds) {
    left = std::min(left, std::max(0.0, *extent_.seconds - now));
  }
  result += ", " + decimals(rate, 1) + " frames/s, " + duration(left) + " left";
  if (failed_ > 0) {
    result += ", " + std::to_string(failed_) + " failed";
  }
  return result;
}

void Progress::clear() {
  if (shown_) {
    stream_ << "\r\033[K" << std::flush;
    shown_ = false;
  }
}

}  // namespace enhance_depth_tool
