#include "support/record.h"

#include "api/error_record.h"

namespace test_support {
namespace {

constexpr int kNoRecord = -1;
constexpr int kCodesDiffer = -2;
constexpr int kWrongClass = -3;
constexpr int kNoLine = -4;

}  // namespace

bool operator==(const Record& left, const Record& right) {
  return left.code == right.code && left.message == right.message && left.function == right.function &&
         left.args == right.args;
}

std::ostream& operator<<(std::ostream& out, const Record& record) {
  return out << "{" << record.code << ", \"" << record.message << "\", " << record.function << "("
             << record.args << ")}";
}

Record read_record(const enhance_error* error) {
  if (error == nullptr) {
    return {kNoRecord, "no record", "", ""};
  }
  Record record{error->error_code, error->message, error->function, error->args};
  if (error->status != error->error_code) {
    record.code = kCodesDiffer;
  } else if (error->exception_type != enhance_depth::exception_type_from_error_code(error->error_code)) {
    record.code = kWrongClass;
  } else if (error->line <= 0) {
    record.code = kNoLine;
  }
  return record;
}

}  // namespace test_support
