// Exported: settings and queries.
#include <string>

#include "api/boundary.h"
#include "enhance_depth.h"
#include "log/log_bridge.h"

namespace enhance_depth {
namespace {

constexpr EntryPoint kSetThreshold{"enhance_depth_set_confidence_threshold",
                                   ReportSite::kSetThresholdException};
constexpr EntryPoint kGetThreshold{"enhance_depth_get_confidence_threshold",
                                   ReportSite::kGetThresholdException};

// These two make no records.
constexpr EntryPoint kSetOptimizationLevel{"enhance_depth_set_optimization_level"};
constexpr EntryPoint kGetLastInferenceTime{"enhance_GetLastInferenceTime"};

// A literal, unlike a string that the first call builds, cannot fail and is safe in any thread.
constexpr char kVersion[] = ENHANCE_DEPTH_VERSION " (built on " __DATE__ " " __TIME__ ")";

int set_confidence_threshold(TrtEngineWrapper* wrapper, float threshold, enhance_error** error) {
  clear_error_result(error);
  if (wrapper == nullptr) {
    report_null_handle(kSetThreshold, error, ReportSite::kSetThresholdNullHandle);
    return 0;
  }
  wrapper->set_confidence_threshold(threshold);
  log_orbbec_message(OB_LOG_SEVERITY_INFO, "Confidence threshold set to " + std::to_string(threshold),
                     __FILE__, kSetThreshold.name, __LINE__);
  wrapper->clear_error();
  return 1;
}

int get_confidence_threshold(TrtEngineWrapper* wrapper, float* threshold, enhance_error** error) {
  clear_error_result(error);
  if (wrapper == nullptr) {
    report_null_handle(kGetThreshold, error, ReportSite::kGetThresholdNullHandle);
    return 0;
  }
  if (threshold == nullptr) {
    report_argument(kGetThreshold, *wrapper, ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT,
                    "enhance_depth_get_confidence_threshold received null output pointer.", "conf_threshold",
                    error, ReportSite::kGetThresholdNullOutput);
    return 0;
  }
  *threshold = wrapper->confidence_threshold();
  wrapper->clear_error();
  return 1;
}

void set_optimization_level(TrtEngineWrapper* wrapper, std::int32_t level) {
  if (wrapper == nullptr) {
    report_null_handle(kSetOptimizationLevel, nullptr, ReportSite::kNone);
    return;
  }
  wrapper->clear_error();
  log_orbbec_message(OB_LOG_SEVERITY_INFO,
                     "Optimization level set to " + std::to_string(level) +
                         " (placeholder; no effect in current implementation).",
                     __FILE__, kSetOptimizationLevel.name, __LINE__);
}

float get_last_inference_time(TrtEngineWrapper* wrapper) {
  if (wrapper == nullptr) {
    report_null_handle(kGetLastInferenceTime, nullptr, ReportSite::kNone);
    return -1.0F;
  }
  wrapper->clear_error();
  return wrapper->last_inference_time();
}

}  // namespace
}  // namespace enhance_depth

using namespace enhance_depth;

int enhance_depth_set_confidence_threshold(enhance_depth_handle handle, float threshold,
                                           enhance_error** error) {
  TrtEngineWrapper* wrapper = from_handle(handle);
  return run_guarded(kSetThreshold, wrapper, error, 0,
                     [&] { return set_confidence_threshold(wrapper, threshold, error); });
}

int enhance_depth_get_confidence_threshold(enhance_depth_handle handle, float* threshold,
                                           enhance_error** error) {
  TrtEngineWrapper* wrapper = from_handle(handle);
  return run_guarded(kGetThreshold, wrapper, error, 0,
                     [&] { return get_confidence_threshold(wrapper, threshold, error); });
}

void enhance_depth_set_optimization_level(enhance_depth_handle handle, int32_t level) {
  try {
    set_optimization_level(from_handle(handle), level);
  } catch (...) {  // nothing to report it with, and nothing depends on the level
  }
}

const char* enhance_depth_get_version(void) { return kVersion; }

float enhance_GetLastInferenceTime(enhance_depth_handle handle) {
  TrtEngineWrapper* wrapper = from_handle(handle);
  return run_guarded(kGetLastInferenceTime, wrapper, nullptr, -1.0F,
                     [&] { return get_last_inference_time(wrapper); });
}
