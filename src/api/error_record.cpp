#include "api/error_record.h"

#include <cstring>

namespace enhance_depth {
namespace {

thread_local ErrorState g_last_api_error;

// Copies as much of `source` as fits and terminates it; a null source leaves the zeroed field as it is.
void copy_text(char (&field)[ENHANCE_ERROR_TEXT_SIZE], const char* source) {
  if (source == nullptr) {
    return;
  }
  const std::size_t length = strnlen(source, ENHANCE_ERROR_TEXT_SIZE - 1);
  std::memcpy(field, source, length);
  field[length] = '\0';
}

}  // namespace

const ErrorState& global_error() { return g_last_api_error; }

void set_global_error(int code, const std::string& message) {
  g_last_api_error.code = code;
  g_last_api_error.message = message;
}

void clear_global_error() {
  g_last_api_error.code = ENHANCE_DEPTH_OK;
  g_last_api_error.message = "OK";
}

int exception_type_from_error_code(int code) {
  switch (code) {
    case 1:
    case 17:
    case 18:
    case 19:
    case 32:
      return 2;
    case 2:
    case 15:
    case 16:
      return 3;
    case 3:
      return 10;
    case 4:
    case 5:
    case 6:
    case 7:
      return 9;
    case 8:
    case 9:
    case 10:
    case 11:
      return 4;
    case 12:
    case 13:
    case 14:
    case 25:
    case 26:
    case 27:
    case 28:
    case 29:
    case 30:
    case 31:
    case 33:
      return 7;
    case 20:
    case 21:
    case 22:
    case 23:
    case 24:
      return 8;
    case 34:
      return 6;
    default:
      return 0;
  }
}

enhance_error* make_error(int status, const char* message, const char* function, const char* args,
                          int exception_type) {
  auto* error = new enhance_error{};
  error->status = status;
  error->error_code = status;
  copy_text(error->message, message);
  copy_text(error->function, function);
  copy_text(error->args, args);
  error->exception_type = exception_type;
  return error;
}

void clear_error_result(enhance_error** out) {
  if (out != nullptr && *out != nullptr) {
    enhance_delete_error(*out);
    *out = nullptr;
  }
}

void fill_error_result(enhance_error** out, int code, const std::string& message, const char* function,
                       const char* args, int line) {
  if (out == nullptr || code == ENHANCE_DEPTH_OK) {
    return;
  }
  *out = make_error(code, message.c_str(), function, args, exception_type_from_error_code(code));
  (*out)->line = line;
}

}  // namespace enhance_depth
