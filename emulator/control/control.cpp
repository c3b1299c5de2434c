// The control interface (emulated_board/control.h); inside() and the captured log are in core/.
#include "emulated_board/control.h"

#include <stdexcept>

#include "core/call.h"
#include "core/camera_log.h"
#include "core/live_objects.h"
#include "core/watch.h"
#include "device/device_access.h"

namespace emulated_board {

namespace {

void plan(std::string_view name, int nth, bool once, int status) {
  const InsideBoard inside_board;
  const Function function = function_named(name);
  if (nth < 1) {
    throw std::invalid_argument("calls are counted from 1");
  }
  if (status == 0) {
    throw std::invalid_argument("status 0 is success, not a failure");
  }
  if (status != kDefaultStatus && !returns_cuda_error(function)) {
    throw std::invalid_argument(std::string(name) + " returns no cudaError: its failure takes no status");
  }
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  state.plans.push_back({function, nth, once, status});
  state.update_active();
}

}  // namespace

void fail_call(std::string_view function, int nth, int status) { plan(function, nth, true, status); }

void fail_calls_from(std::string_view function, int nth, int status) { plan(function, nth, false, status); }

void reset() {
  const InsideBoard inside_board;
  {
    Watch& state = watch();
    const std::lock_guard lock(state.mutex);
    state.plans.clear();
    state.recorded.clear();
    state.failures = 0;
    for (auto& count : state.counts) {
      count = 0;
    }
    state.invalid_releases = 0;
    state.update_active();
  }
  install_driver(true);
  forget_camera_log();
  restart_numbering();
}

int failures_produced() {
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  return state.failures;
}

int invalid_releases() { return watch().invalid_releases; }

int calls(std::string_view function) {
  return watch().counts[static_cast<std::size_t>(function_named(function))];
}

std::vector<std::string> all_functions() {
  const InsideBoard inside_board;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < kFunctions; ++i) {
    names.emplace_back(name_of(static_cast<Function>(i)));
  }
  return names;
}

void record_calls(bool on) {
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  state.recording = on;
  state.update_active();
}

std::vector<Call> recorded_calls() {
  const InsideBoard inside_board;
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  return state.recorded;
}

bool LiveObjects::operator==(const LiveObjects& other) const {
  return streams == other.streams && events == other.events && allocations == other.allocations &&
         allocated_bytes == other.allocated_bytes && runtimes == other.runtimes && engines == other.engines &&
         contexts == other.contexts && camera_errors == other.camera_errors;
}

LiveObjects live_objects() {
  const DeviceUse device = device_use();
  LiveObjects objects;
  objects.streams = device.streams;
  objects.events = device.events;
  objects.allocations = device.allocations;
  objects.allocated_bytes = device.allocated_bytes;
  objects.runtimes = live_count(ObjectKind::kRuntime);
  objects.engines = live_count(ObjectKind::kEngine);
  objects.contexts = live_count(ObjectKind::kContext);
  objects.camera_errors = live_count(ObjectKind::kCameraError);
  return objects;
}

std::size_t free_device_memory() { return device_use().free_bytes; }

void send_tensorrt_message(int severity, const char* message) {
  nvinfer1::ILogger* logger = newest_logger();
  if (logger != nullptr) {
    logger->log(static_cast<nvinfer1::ILogger::Severity>(severity), message);
  }
}

}  // namespace emulated_board
