// What every exported function shares: handles, reports of failures, and the guard that lets no exception
// out.
#ifndef ENHANCE_DEPTH_API_BOUNDARY_H
#define ENHANCE_DEPTH_API_BOUNDARY_H

#include <exception>

#include "api/error_record.h"
#include "api/report_site.h"
#include "engine/trt_engine_wrapper.h"
#include "enhance_depth.h"

namespace enhance_depth {

inline TrtEngineWrapper* from_handle(enhance_depth_handle handle) {
  return reinterpret_cast<TrtEngineWrapper*>(handle);
}
inline enhance_depth_handle to_handle(TrtEngineWrapper* wrapper) {
  return reinterpret_cast<enhance_depth_handle>(wrapper);
}

// An exported function: its name in failure reports and the first number of its exception reports.
struct EntryPoint {
  const char* name;
  ReportSite exception_site = ReportSite::kNone;
};

// Each report function records the failure and then fills the caller's output parameter `error`. They may
// throw std::bad_alloc, which run_guarded() reports in turn.

// A null handle, recorded on the calling thread.
void report_null_handle(const EntryPoint& entry, enhance_error** error, ReportSite site);

// A bad argument, recorded on the handle.
void report_argument(const EntryPoint& entry, TrtEngineWrapper& wrapper, EnhanceDepthErrorCode code,
                     const char* message, const char* args, enhance_error** error, ReportSite site);

// A failure that the engine has already recorded on the handle.
void report_engine_failure(const EntryPoint& entry, const TrtEngineWrapper& wrapper, const char* args,
                           enhance_error** error, ReportSite site);

// An escaped exception, recorded on the handle, or on the calling thread if `wrapper` is null. `exception` is
// null if it is not a standard exception. If there is no memory for the text, the text is "out of memory"; if
// there is none for a record, no record is made.
void report_exception(const EntryPoint& entry, TrtEngineWrapper* wrapper, enhance_error** error,
                      const std::exception* exception) noexcept;

// Runs `body` and returns its result. If an exception escapes from it, reports it and returns `failure`.
template <typename Result, typename Body>
Result run_guarded(const EntryPoint& entry, TrtEngineWrapper* wrapper, enhance_error** error, Result failure,
                   Body&& body) noexcept {
  try {
    return body();
  } catch (const std::exception& exception) {
    report_exception(entry, wrapper, error, &exception);
  } catch (...) {
    report_exception(entry, wrapper, error, nullptr);
  }
  return failure;
}

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_API_BOUNDARY_H
