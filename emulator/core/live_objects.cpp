#include "core/live_objects.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "core/call.h"
#include "core/device_access.h"
#include "emulated_board/control.h"

namespace {

using emulated_board::ObjectKind;
using emulated_board::RegisteredLogger;

std::array<std::atomic<int>, static_cast<std::size_t>(ObjectKind::kCount)> live_counts{};

std::atomic<int>& live(ObjectKind kind) { return live_counts[static_cast<std::size_t>(kind)]; }

struct Loggers {
  std::mutex mutex;
  std::vector<std::pair<const RegisteredLogger*, nvinfer1::ILogger*>> entries;  // in the order of creation
};

Loggers& loggers() {
  static Loggers& the_loggers = *new Loggers;
  return the_loggers;
}

}  // namespace

namespace emulated_board {

CountedObject::CountedObject(ObjectKind kind) noexcept : kind_(kind) { ++live(kind_); }
CountedObject::~CountedObject() { --live(kind_); }

RegisteredLogger::RegisteredLogger(nvinfer1::ILogger& logger) : logger_(logger) {
  const std::lock_guard lock(loggers().mutex);
  loggers().entries.emplace_back(this, &logger);
}

RegisteredLogger::~RegisteredLogger() {
  const std::lock_guard lock(loggers().mutex);
  auto& entries = loggers().entries;
  entries.erase(std::remove_if(entries.begin(), entries.end(),
                               [this](const auto& entry) { return entry.first == this; }),
                entries.end());
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
  objects.runtimes = live(ObjectKind::kRuntime);
  objects.engines = live(ObjectKind::kEngine);
  objects.contexts = live(ObjectKind::kContext);
  objects.camera_errors = live(ObjectKind::kCameraError);
  return objects;
}

void send_tensorrt_message(int severity, const char* message) {
  nvinfer1::ILogger* logger = nullptr;
  {
    const std::lock_guard lock(loggers().mutex);
    if (!loggers().entries.empty()) logger = loggers().entries.back().second;
  }
  if (logger != nullptr) logger->log(static_cast<nvinfer1::ILogger::Severity>(severity), message);
}

}  // namespace emulated_board
