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

// Reporting ran out of memory itself. Nothing here needs any but the record, which may be missing.
void report_without_memory(const EntryPoint& entry, TrtEngineWrapper* wrapper, enhance_error** error,
                           EnhanceDepthErrorCode code, const char* what, int line) noexcept {
  if (wrapper != nullptr) {
    wrapper->last_error_code_ = code;
    wrapper->last_error_message_ = kOutOfMemory;
  } else {
    set_global_error(code, kOutOfMemory);
  }
  if (error == nullptr || *error != nullptr) {
    return;
  }
  char text[ENHANCE_ERROR_TEXT_SIZE];
  std::snprintf(text, sizeof text, what != nullptr ? "%s exception: %s" : "%s unknown exception.%s",
                entry.name, what != nullptr ? what : "");
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
  const EnhanceDepthErrorCode code =
      what != nullptr ? ENHANCE_DEPTH_ERROR_STD_EXCEPTION : ENHANCE_DEPTH_ERROR_UNKNOWN_EXCEPTION;
  const int line = exception_line(entry, what != nullptr, wrapper != nullptr);
  try {
    const std::string text = exception_text(entry, what);
    if (wrapper != nullptr) {
      wrapper->set_error(code, text);
    } else {
      set_global_error(code, text);
    }
    fill_error_result(error, code, text, entry.name, "", line);
  } catch (...) {
    report_without_memory(entry, wrapper, error, code, what, line);
  }
}

}  // namespace enhance_depth
