#include "core/live_objects.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace emulated_board {

namespace {

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

// What is in use stays: at the end of a process, another thread may be using it.
[[gnu::destructor]] void remove_loggers() {
  if (newest_logger() == nullptr) {
    delete &loggers();
  }
}

}  // namespace

int live_count(ObjectKind kind) { return live(kind); }

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

nvinfer1::ILogger* newest_logger() {
  const std::lock_guard lock(loggers().mutex);
  return loggers().entries.empty() ? nullptr : loggers().entries.back().second;
}

}  // namespace emulated_board
