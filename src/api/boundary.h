// What every exported function shares: handles, reports of failures, and the frame that lets no exception
// out.
#ifndef ENHANCE_DEPTH_API_BOUNDARY_H
#define ENHANCE_DEPTH_API_BOUNDARY_H

#include <exception>

#include "api/error_record.h"
#include "engine/trt_engine_wrapper.h"
#include "enhance_depth.h"

namespace enhance_depth {

inline TrtEngineWrapper* from_handle(enhance_depth_handle handle) {
  return reinterpret_cast<TrtEngineWrapper*>(handle);
}
inline enhance_depth_handle to_handle(TrtEngineWrapper* wrapper) {
  return reinterpret_cast<enhance_depth_handle>(wrapper);
}

// The files that report failures. A record's `line` is the file's number in the thousands and the line within
// the file below it, so that it names one place of the library and not one of several.
enum class ApiFile : int { kLifecycle = 1, kProcess = 2, kSettings = 3 };

// Does not compile for a line that does not fit.
constexpr int reporting_line(ApiFile file, int line = __builtin_LINE()) {
  return line < 1000 ? static_cast<int>(file) * 1000 + line
                     : throw "the file is too long for its line numbers";
}

// An exported function as its failures name it. `line` is where its frame stands, 0 if it makes no records;
// the record of an exception carries it with the kind of the exception in the ten-thousands: 1 standard, 2
// standard without a handle to record it on, 3 any other, 4 any other without a handle.
struct EntryPoint {
  const char* name;
  int line = 0;
};

// Each report records the failure and fills the caller's out-place `error` from what was recorded. They may
// throw std::bad_alloc, which the frame below turns into a report of its own.

// A null handle: on the calling thread.
void report_null_handle(const EntryPoint& entry, enhance_error** error, int line);

// A bad argument: on the handle.
void report_argument(const EntryPoint& entry, TrtEngineWrapper& wrapper, EnhanceDepthErrorCode code,
                     const char* message, const char* args, enhance_error** error, int line);

// What the engine has recorded on the handle already.
void report_engine_failure(const EntryPoint& entry, const TrtEngineWrapper& wrapper, const char* args,
                           enhance_error** error, int line);

// An escaped exception: on the handle, or on the calling thread when `wrapper` is null. `what` is null for
// one that is not a standard exception. When memory is too short for the text, a short text takes its place;
// when it is too short for a record, the out-place stays empty.
void report_exception(const EntryPoint& entry, TrtEngineWrapper* wrapper, enhance_error** error,
                      const char* what) noexcept;

// Runs `body` and returns its result, or `failure` when an exception escapes from it, which is then reported.
template <typename Result, typename Body>
Result run_guarded(const EntryPoint& entry, TrtEngineWrapper* wrapper, enhance_error** error, Result failure,
                   Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& exception) {
    report_exception(entry, wrapper, error, exception.what());
  } catch (...) {
    report_exception(entry, wrapper, error, nullptr);
  }
  return failure;
}

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_API_BOUNDARY_H
