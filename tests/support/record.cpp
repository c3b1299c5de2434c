#include "support/record.h"

#include <map>

namespace test_support {
namespace {

constexpr int kNoRecord = -1;
constexpr int kCodesDiffer = -2;
constexpr int kWrongClass = -3;
constexpr int kNoLine = -4;

// The classes of the codes that the library raises, written down once more.
int class_of(int code) {
  static const std::map<int, int> kClasses{{1, 2},  {17, 2}, {18, 2}, {19, 2}, {32, 2}, {2, 3},  {15, 3},
                                           {16, 3}, {12, 7}, {13, 7}, {14, 7}, {25, 7}, {26, 7}, {27, 7},
                                           {28, 7}, {29, 7}, {30, 7}, {31, 7}, {33, 7}, {20, 8}, {21, 8},
                                           {22, 8}, {23, 8}, {24, 8}, {34, 6}, {35, 0}};
  const auto found = kClasses.find(code);
  return found == kClasses.end() ? -1 : found->second;
}

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
  } else if (error->exception_type != class_of(error->error_code)) {
    record.code = kWrongClass;
  } else if (error->line <= 0) {
    record.code = kNoLine;
  }
  return record;
}

}  // namespace test_support
