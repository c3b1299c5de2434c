#include "support/terminal.h"

#include <cstdlib>
#include <iostream>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

#include "support/text.h"

namespace enhance_depth_tool {
namespace {

int output_descriptor = STDOUT_FILENO;
int error_descriptor = STDERR_FILENO;

bool wants_color(StandardStream stream) {
  const char* no_color = std::getenv("NO_COLOR");
  if (no_color != nullptr && *no_color != '\0') {
    return false;
  }
  const char* terminal = std::getenv("TERM");
  return is_terminal(stream) && terminal != nullptr && std::string_view(terminal) != "dumb";
}

}  // namespace

void set_descriptors(int output, int error) {
  output_descriptor = output;
  error_descriptor = error;
}

bool is_terminal(StandardStream stream) {
  return isatty(stream == StandardStream::kOutput ? output_descriptor : error_descriptor) == 1;
}

int terminal_width() {
  winsize size{};
  if (ioctl(error_descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
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

void print_warning(const std::string& sentence) {
  if (sentence.empty()) {
    return;
  }
  std::cerr << highlighted("enhance-depth: warning:", Highlight::kError, StandardStream::kError) << " "
            << printable(sentence) << "\n";
}

}  // namespace enhance_depth_tool
