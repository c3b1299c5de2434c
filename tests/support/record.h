// Error records as values that a test can compare and print.
#ifndef ENHANCE_DEPTH_TESTS_SUPPORT_RECORD_H
#define ENHANCE_DEPTH_TESTS_SUPPORT_RECORD_H

#include <ostream>
#include <string>

#include "enhance_depth.h"

namespace test_support {

struct Record {
  int code = 0;
  std::string message;
  std::string function;
  std::string args;
};
bool operator==(const Record& left, const Record& right);
std::ostream& operator<<(std::ostream& out, const Record& record);

// The record's code and texts. A missing record, and one whose two codes, class or line cannot be the
// library's, has a code below 0 that says so.
Record read_record(const enhance_error* error);

// An output parameter for records, emptied at its end.
class ErrorPlace {
 public:
  ErrorPlace() = default;
  ~ErrorPlace() { enhance_delete_error(error_); }
  ErrorPlace(const ErrorPlace&) = delete;
  ErrorPlace& operator=(const ErrorPlace&) = delete;

  operator enhance_error**() { return &error_; }
  const enhance_error* get() const { return error_; }
  bool empty() const { return error_ == nullptr; }
  Record read() const { return read_record(error_); }

 private:
  enhance_error* error_ = nullptr;
};

}  // namespace test_support

#endif  // ENHANCE_DEPTH_TESTS_SUPPORT_RECORD_H
