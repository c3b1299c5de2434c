// What the process writes to standard output, without flushing it: what is not flushed is not seen.
#ifndef ENHANCE_DEPTH_TESTS_SUPPORT_CAPTURED_OUTPUT_H
#define ENHANCE_DEPTH_TESTS_SUPPORT_CAPTURED_OUTPUT_H

#include <cstdio>
#include <string>

namespace test_support {

class CapturedOutput {
 public:
  CapturedOutput();
  ~CapturedOutput();
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  std::string text() const;

 private:
  std::FILE* file_;
  int saved_;
};

}  // namespace test_support

#endif  // ENHANCE_DEPTH_TESTS_SUPPORT_CAPTURED_OUTPUT_H
