#include "support/captured_output.h"

#include <stdexcept>

#include <unistd.h>

namespace test_support {

CapturedOutput::CapturedOutput() : file_(std::tmpfile()), saved_(dup(STDOUT_FILENO)) {
  std::fflush(stdout);
  if (file_ == nullptr || saved_ < 0 || dup2(fileno(file_), STDOUT_FILENO) < 0) {
    throw std::runtime_error("cannot capture standard output");
  }
}

CapturedOutput::~CapturedOutput() {
  std::fflush(stdout);
  dup2(saved_, STDOUT_FILENO);
  close(saved_);
  std::fclose(file_);
}

std::string CapturedOutput::text() const {
  std::string text;
  char buffer[4096];
  ssize_t count = 0;
  while ((count = pread(fileno(file_), buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace test_support
