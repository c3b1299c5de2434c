#include "api/boundary.h"

#include <cstdio>
#include <string>

namespace enhance_depth {
namespace {

// Short enough to be stored without memory.
constexpr char kOutOfMemory[] = "out of memory";

int exception_line(const EntryPoint& entry, bool standard, bool has_handle) {
  const int kind = standard ? (has_handle ? 1 : 2) : (has_handle ? 3 : 4);
  return kind * 10000 + entry.line;
}

std::string exception_text(const EntryPoint& entry, const char* what) {
  const std::string name(entry.name);
  return what != nullptr ? name + " exception: " + what : name + " unknown exception.";
}

void store_exception(const EntryPoint& entry, TrtEngineWrapper* wrapper, EnhanceDepthErrorCode code,
                     const char* what) noexcept {
  try {
    const std::string text = exception_text(entry, what);
    if (wrapper != nullptr) {
      wrapper->set_error(code, text);
    } else {
      set_global_error(code, text);
    }
  } catch (...) {
    if (wrapper != nullptr) {
      wrapper->last_error_code_ = code;
      wrapper->last_error_message_ = kOutOfMemory;
    } else {
      set_global_error(code, kOutOfMemory);
    }
  }
}

// Needs no memory but the record's own, and leaves the out-place empty without that.
void fill_exception_result(const EntryPoint& entry, enhance_error** error, EnhanceDepthErrorCode code,
                           const char* what, int line) noexcept {
  if (error == nullptr) {
    return;
  }
  char text[ENHANCE_ERROR_TEXT_SIZE];
  if (what != nullptr) {
    std::snprintf(text, sizeof text, "%s exception: %s", entry.name, what);
  } else {
    std::snprintf(text, sizeof text, "%s unknown exception.", entry.name);
  }
  *error = enhance_create_error(code, text, entry.name, "", exception_type_from_error_code(code));
  if (*error != nullptr) {
    (*error)->line = line;
  }
}

}  // namespace

void report_null_handle(const EntryPoint& entry, enhance_error** error, int line) {
  set_global_error(ENHANCE_DEPTH_ERROR_NULL_HANDLE,
                   std::string(entry.name) + " received null engine handle.");
  fill_error_result(error, global_error().code, global_error().message, entry.name, "", line);
}

void report_argument(const EntryPoint& entry, TrtEngineWrapper& wrapper, EnhanceDepthErrorCode code,
                     const char* message, const char* args, enhance_error** error, int line) {
  wrapper.set_error(code, message);
  report_engine_failure(entry, wrapper, args, error, line);
}

void report_engine_failure(const EntryPoint& entry, const TrtEngineWrapper& wrapper, const char* args,
                           enhance_error** error, int line) {
  fill_error_result(error, wrapper.last_error_code(), wrapper.last_error_message(), entry.name, args, line);
}

void report_exception(const EntryPoint& entry, TrtEngineWrapper* wrapper, enhance_error** error,
                      const char* what) noexcept {
  const bool standard = what != nullptr;
  const EnhanceDepthErrorCode code =
      standard ? ENHANCE_DEPTH_ERROR_STD_EXCEPTION : ENHANCE_DEPTH_ERROR_UNKNOWN_EXCEPTION;
  store_exception(entry, wrapper, code, what);
  fill_exception_result(entry, error, code, what, exception_line(entry, standard, wrapper != nullptr));
}

}  // namespace enhance_depth
