// Exported: creating, re-configuring and destroying handles.
#include <memory>
#include <string>

#include "api/boundary.h"
#include "enhance_depth.h"
#include "log/log_bridge.h"

namespace enhance_depth {
namespace {

constexpr EntryPoint kCreate{"enhance_depth_create", ReportSite::kCreateException};
constexpr EntryPoint kReset{"enhance_depth_reset", ReportSite::kResetException};
constexpr EntryPoint kDestroy{"enhance_depth_destroy"};  // makes no records

enhance_depth_handle create(const char* engine_path, enhance_error** error) {
  clear_error_result(error);
  clear_global_error();
  if (engine_path == nullptr) {
    set_global_error(ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT, "enhance_depth_create received null engine_path.");
    fill_error_result(error, global_error(), kCreate.name, "engine_path", ReportSite::kCreateNullPath);
    return nullptr;
  }
  auto wrapper = std::make_unique<TrtEngineWrapper>();
  if (!wrapper->init(engine_path)) {
    set_global_error(wrapper->last_error_code(), wrapper->last_error_message());
    fill_error_result(error, global_error(), kCreate.name, engine_path, ReportSite::kCreateLoad);
    wrapper->deinit();
    return nullptr;
  }
  clear_global_error();
  return to_handle(wrapper.release());
}

// Releases the new buffers if an exception ends the warm-up.
bool warmup_or_release(TrtEngineWrapper& wrapper) {
  try {
    return wrapper.warmup();
  } catch (...) {
    wrapper.delete_buffer(false);
    throw;
  }
}

int reset(TrtEngineWrapper* wrapper, int width, int height, enhance_error** error) {
  clear_error_result(error);
  if (wrapper == nullptr) {
    report_null_handle(kReset, error, ReportSite::kResetNullHandle);
    return 0;
  }
  wrapper->delete_buffer(true);
  wrapper->set_input_size(width, height);
  if (!wrapper->allocate()) {
    report_engine_failure(kReset, *wrapper, "allocate", error, ReportSite::kResetAllocate);
    return 0;
  }
  if (!warmup_or_release(*wrapper)) {
    wrapper->delete_buffer(false);
    report_engine_failure(kReset, *wrapper, "warmup", error, ReportSite::kResetWarmup);
    return 0;
  }
  wrapper->clear_error();
  return 1;
}

// Returns 1 because run_guarded() needs a result.
int destroy(TrtEngineWrapper* wrapper) {
  if (wrapper == nullptr) {
    log_orbbec_message(OB_LOG_SEVERITY_WARN, "enhance_depth_destroy received null engine handle.", __FILE__,
                       kDestroy.name, __LINE__);
    clear_global_error();
    return 1;
  }
  const std::unique_ptr<TrtEngineWrapper> owner(wrapper);
  owner->deinit();
  clear_global_error();
  return 1;
}

}  // namespace
}  // namespace enhance_depth

using namespace enhance_depth;

enhance_depth_handle enhance_depth_create(const char* engine_path, enhance_error** error) {
  return run_guarded(kCreate, nullptr, error, enhance_depth_handle{},
                     [&] { return create(engine_path, error); });
}

int enhance_depth_reset(enhance_depth_handle handle, int width, int height, enhance_error** error) {
  TrtEngineWrapper* wrapper = from_handle(handle);
  return run_guarded(kReset, wrapper, error, 0, [&] { return reset(wrapper, width, height, error); });
}

void enhance_depth_destroy(enhance_depth_handle handle) {
  run_guarded(kDestroy, nullptr, nullptr, 0, [&] { return destroy(from_handle(handle)); });
}
