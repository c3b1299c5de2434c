#include "api/error_record.h"

#include <array>
#include <cstring>
#include <utility>

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

void set_global_error(int code, std::string message) {
  g_last_api_error.code = code;
  g_last_api_error.message = std::move(message);
}

void clear_global_error() {
  g_last_api_error.code = ENHANCE_DEPTH_OK;
  g_last_api_error.message = "OK";
}

int exception_type_from_error_code(int code) {
  // By code, from 0.
  constexpr std::array<int, 36> kTypes{
      0,                     // ok
      2,  3,                 // argument, null handle
      10, 9, 9, 9, 9,        // reserved, 3 to 7
      4,  4, 4, 4,           // reserved, 8 to 11
      7,  7, 7,              // runtime, engine, context
      3,  3,                 // not initialized, not configured
      2,  2, 2,              // input data, resolution, stride
      8,  8, 8, 8, 8,        // CUDA
      7,  7, 7, 7, 7, 7, 7,  // enqueue, profile, shape, tensor
      2,                     // engine layout
      7,                     // binding
      6,                     // standard exception
      0,                     // unknown exception
  };
  return code >= 0 && code < static_cast<int>(kTypes.size()) ? kTypes[static_cast<std::size_t>(code)] : 0;
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
