#include "api/boundary.h"

#include <cstdio>
#include <string>

namespace enhance_depth {
namespace {

// Short enough for a std::string to hold without an allocation.
constexpr char kOutOfMemory[] = "out of memory";

// An escaped exception, reduced to what its report needs.
struct Escaped {
  EnhanceDepthErrorCode code;
  const char* separator;  // between the function's name and `what`
  const char* what;
};

Escaped describe(const std::exception* exception) noexcept {
  if (exception == nullptr) {
    return {ENHANCE_DEPTH_ERROR_UNKNOWN_EXCEPTION, " unknown exception.", ""};
  }
  const char* what = exception->what();
  return {ENHANCE_DEPTH_ERROR_STD_EXCEPTION, " exception: ", what != nullptr ? what : ""};
}

void record(TrtEngineWrapper* wrapper, EnhanceDepthErrorCode code, const std::string& text) {
  if (wrapper != nullptr) {
    wrapper->set_error(code, text);
  } else {
    set_global_error(code, text);
  }
}

void record_exception(const EntryPoint& entry, TrtEngineWrapper* wrapper, const Escaped& escaped) noexcept {
  try {
    record(wrapper, escaped.code, std::string(entry.name) + escaped.separator + escaped.what);
  } catch (...) {
    record(wrapper, escaped.code, kOutOfMemory);
  }
}

// Allocates nothing but the record.
void fill_exception_result(const EntryPoint& entry, enhance_error** error, const Escaped& escaped,
                           ReportSite site) noexcept {
  if (error == nullptr) {
    return;
  }
  char text[ENHANCE_ERROR_TEXT_SIZE];
  std::snprintf(text, sizeof text, "%s%s%s", entry.name, escaped.separator, escaped.what);
  try {
    fill_error_result(error, {escaped.code, text}, entry.name, "", site);
  } catch (...) {  // no memory for a record; the last error still has the failure
  }
}

}  // namespace

void report_null_handle(const EntryPoint& entry, enhance_error** error, ReportSite site) {
  set_global_error(ENHANCE_DEPTH_ERROR_NULL_HANDLE,
                   std::string(entry.name) + " received null engine handle.");
  fill_error_result(error, global_error(), entry.name, "", site);
}

void report_argument(const EntryPoint& entry, TrtEngineWrapper& wrapper, EnhanceDepthErrorCode code,
                     const char* message, const char* args, enhance_error** error, ReportSite site) {
  wrapper.set_error(code, message);
  report_engine_failure(entry, wrapper, args, error, site);
}

void report_engine_failure(const EntryPoint& entry, const TrtEngineWrapper& wrapper, const char* args,
                           enhance_error** error, ReportSite site) {
  fill_error_result(error, {wrapper.last_error_code(), wrapper.last_error_message().c_str()}, entry.name,
                    args, site);
}

void report_exception(const EntryPoint& entry, TrtEngineWrapper* wrapper, enhance_error** error,
                      const std::exception* exception) noexcept {
  const Escaped escaped = describe(exception);
  const bool on_handle = wrapper != nullptr;
  const ExceptionSite kind =
      exception != nullptr ? (on_handle ? ExceptionSite::kStandardOnHandle : ExceptionSite::kStandardOnThread)
                           : (on_handle ? ExceptionSite::kOtherOnHandle : ExceptionSite::kOtherOnThread);
  record_exception(entry, wrapper, escaped);
  fill_exception_result(entry, error, escaped, entry.exception_site + kind);
}

}  // namespace enhance_depth
