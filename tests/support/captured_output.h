// Captures what the process writes to standard output. Does not flush it, so unflushed output is missed.
#ifndef ENHANCE_DEPTH_TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define ENHANCE_DEPTH_TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <cstdio>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace test_support {

class CapturedOutput {
 public:
  CapturedOutput() : file_(std::tmpfile()), saved_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    if (file_ == nullptr || saved_ < 0 || dup2(fileno(file_), STDOUT_FILENO) < 0) {
      throw std::runtime_error("cannot capture standard output");
    }
  }
  ~CapturedOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    std::fclose(file_);
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  std::string text() const {
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = pread(fileno(file_), buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  std::FILE* file_;
  int saved_;
};

}  // namespace test_support

#endif  // ENHANCE_DEPTH_TESTS_SUPPORT_CAPTURED_OUTPUT_H
