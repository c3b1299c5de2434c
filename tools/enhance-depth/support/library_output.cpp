#include "support/library_output.h"

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <iostream>
#include <thread>

#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/terminal.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

constexpr std::size_t kLongestLine = 2000;

// The second and the third of the camera SDK's "[time][severity][module]...", in lower case; empty for
// another line.
struct LogFields {
  std::string severity;
  std::string module;
};

LogFields log_fields(std::string_view line) {
  std::string fields[3];
  for (std::string& field : fields) {
    const std::size_t end = line.find(']');
    if (line.empty() || line.front() != '[' || end == std::string_view::npos || end > 100) {
      return {};
    }
    field = lower_case(std::string(line.substr(1, end - 1)));
    line.remove_prefix(end + 1);
  }
  return {fields[1], fields[2]};
}

void pass_on(std::string_view line, bool quiet, int to) {
  const std::optional<std::string> text = filtered_line(line, quiet);
  if (!text) {
    return;
  }
  const std::string whole = *text + "\n";
  // Standard error that cannot be written to leaves nobody to tell.
  [[maybe_unused]] const ssize_t written = write(to, whole.data(), whole.size());
}

// Runs in the filter's process until the last writer is gone.
[[noreturn]] void filter_lines(int from, int to, bool quiet) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(signal, SIG_IGN);
  }
  std::string line;
  char buffer[4096];
  for (ssize_t size = 0; (size = read(from, buffer, sizeof buffer)) > 0;) {
    for (const char c : std::string_view(buffer, static_cast<std::size_t>(size))) {
      if (c == '\n') {
        pass_on(line, quiet, to);
        line.clear();
      } else if (line.size() <= kLongestLine) {
        line += c;
      }
    }
  }
  if (!line.empty()) {
    pass_on(line, quiet, to);
  }
  _exit(0);
}

int duplicate(int descriptor) { return fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1); }

void redirect(std::ostream& stream, std::streambuf* buffer) {
  stream.flush();
  const std::ios::iostate state = stream.rdstate();
  stream.rdbuf(buffer);
  stream.setstate(state);
}

std::streambuf* const kStandardOutput = std::cout.rdbuf();
std::streambuf* const kStandardError = std::cerr.rdbuf();

}  // namespace

std::optional<std::string> filtered_line(std::string_view line, bool quiet) {
  const LogFields fields = log_fields(line);
  const bool is_information = fields.severity == "info" || fields.severity == "debug";
  const bool is_said_twice = fields.severity == "error" && fields.module == "enhancedepth";
  if (is_said_twice || (quiet && is_information)) {
    return std::nullopt;
  }
  const bool is_cut = line.size() > kLongestLine;
  return printable(line.substr(0, kLongestLine)) + (is_cut ? "..." : "");
}

LibraryOutput::LibraryOutput(bool quiet)
    : output_(duplicate(STDOUT_FILENO)), error_(duplicate(STDERR_FILENO)) {
  int ends[2] = {-1, -1};
  if (output_ < 0 || error_ < 0 || pipe2(ends, O_CLOEXEC) != 0) {
    return;
  }
  std::cout.flush();
  std::fflush(nullptr);
  filter_ = fork();
  if (filter_ == 0) {
    close(ends[1]);
    filter_lines(ends[0], error_, quiet);
  }
  close(ends[0]);
  if (filter_ > 0) {
    output_buffer_ = std::make_unique<__gnu_cxx::stdio_filebuf<char>>(output_, std::ios::out);
    error_buffer_ = std::make_unique<__gnu_cxx::stdio_filebuf<char>>(error_, std::ios::out);
    redirect(std::cout, output_buffer_.get());
    redirect(std::cerr, error_buffer_.get());
    set_descriptors(output_, error_);
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
  }
  close(ends[1]);
}

LibraryOutput::~LibraryOutput() {
  if (filter_ <= 0) {
    return;
  }
  redirect(std::cout, kStandardOutput);
  redirect(std::cerr, kStandardError);
  std::fflush(nullptr);
  dup2(output_, STDOUT_FILENO);
  dup2(error_, STDERR_FILENO);
  set_descriptors(STDOUT_FILENO, STDERR_FILENO);
  // Its last lines come before what is printed from here on, unless a program that a library started still
  // holds the pipe.
  constexpr int kMostTries = 1000;
  for (int i = 0; i < kMostTries && waitpid(filter_, nullptr, WNOHANG) == 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

}  // namespace enhance_depth_tool
