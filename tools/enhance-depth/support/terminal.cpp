#include "support/terminal.h"

#include <cstdlib>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace enhance_depth_tool {
namespace {

bool wants_color(StandardStream stream) {
  const char* no_color = std::getenv("NO_COLOR");
  if (no_color != nullptr && *no_color != '\0') {
    return false;
  }
  const char* terminal = std::getenv("TERM");
  return is_terminal(stream) && terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace

bool is_terminal(StandardStream stream) {
  return isatty(stream == StandardStream::kOutput ? STDOUT_FILENO : STDERR_FILENO) == 1;
}

int terminal_width() {
  winsize size{};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return 80;
}

std::string highlighted(const std::string& text, Highlight highlight, StandardStream stream) {
  if (!wants_color(stream)) {
    return text;
  }
  return (highlight == Highlight::kError ? "\033[1;31m" : "\033[1m") + text + "\033[0m";
}

}  // namespace enhance_depth_tool
