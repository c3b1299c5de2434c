// Counting, recording and failing of calls: both the board's side (core/call.h) and the program's
// (emulated_board/control.h).
#include "core/call.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "core/camera_log.h"
#include "cudart/device.h"
#include "emulated_board/control.h"

namespace {

using emulated_board::Call;
using emulated_board::Function;

constexpr std::size_t kFunctions = static_cast<std::size_t>(Function::kCount);

constexpr std::array<std::string_view, kFunctions> kNames{
    "cudaStreamCreate",
    "cudaStreamDestroy",
    "cudaStreamSynchronize",
    "cudaEventCreate",
    "cudaEventDestroy",
    "cudaEventRecord",
    "cudaEventSynchronize",
    "cudaEventElapsedTime",
    "cudaMalloc",
    "cudaFree",
    "cudaMemset",
    "cudaMemcpyAsync",
    "cudaGetErrorString",
    "createInferRuntime",
    "IRuntime::deserializeCudaEngine",
    "IRuntime::~IRuntime",
    "ICudaEngine::createExecutionContext",
    "ICudaEngine::getNbOptimizationProfiles",
    "ICudaEngine::getTensorShape",
    "ICudaEngine::getTensorDataType",
    "ICudaEngine::getTensorIOMode",
    "ICudaEngine::getProfileShape",
    "ICudaEngine::getNbIOTensors",
    "ICudaEngine::getIOTensorName",
    "ICudaEngine::~ICudaEngine",
    "IExecutionContext::setOptimizationProfileAsync",
    "IExecutionContext::setInputShape",
    "IExecutionContext::getTensorShape",
    "IExecutionContext::setTensorAddress",
    "IExecutionContext::enqueueV3",
    "IExecutionContext::~IExecutionContext",
    "ob_log_external_message",
    "ob_delete_error",
};
static_assert(!kNames.back().empty(), "every function has a name");

thread_local int inside_depth = 0;

// A planned failure.
struct Plan {
  Function function;
  int nth;
  bool once;
  int status;
  int seen = 0;
};

// Lives until the process ends, so that the board can still be used while static objects are destroyed.
struct Watch {
  std::array<std::atomic<int>, kFunctions> counts{};
  std::atomic<int> invalid_releases{0};
  std::atomic<bool> active{false};
  std::atomic<bool> recording{false};
  std::mutex mutex;  // guards what follows
  std::vector<Plan> plans;
  std::vector<Call> recorded;
  int failures = 0;

  void update_active() { active = recording || !plans.empty(); }
};

Watch& watch() {
  static Watch& the_watch = *new Watch;
  return the_watch;
}

Function function_named(std::string_view name) {
  const auto found = std::find(kNames.begin(), kNames.end(), name);
  if (found == kNames.end()) {
    throw std::invalid_argument("the emulated board has no function \"" + std::string(name) + "\"");
  }
  return static_cast<Function>(found - kNames.begin());
}

void plan(std::string_view name, int nth, bool once, int status) {
  const emulated_board::InsideBoard inside_board;
  if (nth < 1) throw std::invalid_argument("calls are counted from 1");
  const Function function = function_named(name);
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  state.plans.push_back({function, nth, once, status});
  state.update_active();
}

}  // namespace

namespace emulated_board {

std::string_view name_of(Function function) { return kNames[static_cast<std::size_t>(function)]; }

InsideBoard::InsideBoard() noexcept { ++inside_depth; }
InsideBoard::~InsideBoard() { --inside_depth; }

OutsideBoard::OutsideBoard() noexcept : depth_(std::exchange(inside_depth, 0)) {}
OutsideBoard::~OutsideBoard() { inside_depth = depth_; }

bool inside() noexcept { return inside_depth > 0; }

int Injection::status_or(int usual) const { return status == kDefaultStatus ? usual : status; }

bool count_call(Function function) noexcept {
  Watch& state = watch();
  state.counts[static_cast<std::size_t>(function)].fetch_add(1, std::memory_order_relaxed);
  return state.active.load(std::memory_order_relaxed);
}

bool recording() noexcept { return watch().recording.load(std::memory_order_relaxed); }

Injection watch_call(Function function, const std::string& arguments) {
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  if (state.recording) state.recorded.push_back({std::string(name_of(function)), arguments});
  Injection injection;
  for (Plan& entry : state.plans) {
    if (entry.function != function) continue;
    ++entry.seen;
    if (entry.once ? entry.seen == entry.nth : entry.seen >= entry.nth) injection = {true, entry.status};
  }
  if (injection.fails) ++state.failures;
  return injection;
}

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
    for (auto& count : state.counts) count = 0;
    state.invalid_releases = 0;
    state.update_active();
  }
  forget_camera_log();
  emulated_cudart::Device& device = emulated_cudart::device();
  const std::lock_guard lock(device.mutex);
  device.queue.restart_numbering();
}

int failures_produced() {
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  return state.failures;
}

void count_invalid_release() noexcept { ++watch().invalid_releases; }

int invalid_releases() { return watch().invalid_releases; }

int calls(std::string_view function) {
  return watch().counts[static_cast<std::size_t>(function_named(function))];
}

std::vector<std::string> all_functions() {
  const InsideBoard inside_board;
  return {kNames.begin(), kNames.end()};
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

}  // namespace emulated_board
