#include "api/error_record.h"

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace enhance_depth {
namespace {

// Trivially destructible: destructors of static and thread-local objects may call the library after all
// thread-local objects that have a destructor are gone, and this storage is then still there.
struct ThreadError {
  int code = ENHANCE_DEPTH_OK;
  bool ending = false;                           // the thread has released its long message
  std::string* long_message = nullptr;           // owned; null if the message fits into `message`
  char message[ENHANCE_ERROR_TEXT_SIZE] = "OK";  // the whole message, or the beginning of the long one
};
thread_local ThreadError g_last_api_error;

void release_long_message() noexcept {
  const std::unique_ptr<std::string> released(std::exchange(g_last_api_error.long_message, nullptr));
}

// Releases the long message when a thread that has had one ends.
class LongMessageReleaser {
 public:
  LongMessageReleaser() = default;
  ~LongMessageReleaser() {
    release_long_message();
    g_last_api_error.ending = true;
  }
  LongMessageReleaser(const LongMessageReleaser&) = delete;
  LongMessageReleaser& operator=(const LongMessageReleaser&) = delete;
};

// Copies as much of `source` as fits and terminates it; does nothing if `source` is null.
void copy_text(char (&field)[ENHANCE_ERROR_TEXT_SIZE], const char* source) noexcept {
  if (source == nullptr) {
    return;
  }
  const std::size_t length = strnlen(source, ENHANCE_ERROR_TEXT_SIZE - 1);
  std::memcpy(field, source, length);
  field[length] = '\0';
}

}  // namespace

ErrorState global_error() noexcept {
  const ThreadError& error = g_last_api_error;
  return {error.code, error.long_message != nullptr ? error.long_message->c_str() : error.message};
}

void set_global_error(int code, const std::string& message) {
  std::unique_ptr<std::string> long_message;
  if (message.size() >= ENHANCE_ERROR_TEXT_SIZE && !g_last_api_error.ending) {
    thread_local const LongMessageReleaser releaser;
    long_message = std::make_unique<std::string>(message);
  }
  release_long_message();
  g_last_api_error.code = code;
  copy_text(g_last_api_error.message, message.c_str());
  g_last_api_error.long_message = long_message.release();
}

void clear_global_error() noexcept {
  release_long_message();
  g_last_api_error.code = ENHANCE_DEPTH_OK;
  copy_text(g_last_api_error.message, "OK");
}

int exception_type_from_error_code(int code) {
  // Indexed by code.
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

void fill_error_result(enhance_error** out, const ErrorState& error, const char* function, const char* args,
                       ReportSite site) {
  if (out == nullptr || error.code == ENHANCE_DEPTH_OK) {
    return;
  }
  *out = make_error(error.code, error.message, function, args, exception_type_from_error_code(error.code));
  (*out)->line = static_cast<std::int32_t>(site);
}

}  // namespace enhance_depth
