#include "device/device.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

#include "device/device_access.h"
#include "device/driver.h"
#include "device/handles.h"

namespace emulated_board {

Device& device() {
  static Device& the_device = *new Device;
  return the_device;
}

namespace {

bool idle(Device& the_device) {
  const std::unique_lock lock(the_device.mutex, std::try_to_lock);
  return lock && !the_device.queue.running() && the_device.memory.free_bytes() == DeviceMemory::kCapacity &&
         the_device.queue.streams() == 0 && the_device.queue.events() == 0;
}

// Runs when the library is unloaded, and at the end of the process after the destructors of all static
// objects, which may still use the device. Contents that are in use stay: perhaps by another thread, which
// nobody stops before the process is gone.
[[gnu::destructor]] void remove_device() {
  device().memory.give_back_addresses();
  if (idle(device())) {
    delete &device();
  }
}

}  // namespace

DeviceRange device_range(const void* address) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  return the_device.memory.find(address);
}

bool stream_exists(cudaStream_t stream) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  return the_device.queue.stream_exists(stream_number(stream));
}

std::optional<QueueMark> queue_work(cudaStream_t stream, std::function<cudaError_t()> work) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  const int number = stream_number(stream);
  if (!the_device.queue.stream_exists(number)) {
    return std::nullopt;
  }
  return the_device.queue.queue_work(number, std::move(work));
}

std::optional<QueueMark> mark_stream(cudaStream_t stream) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  const int number = stream_number(stream);
  if (!the_device.queue.stream_exists(number)) {
    return std::nullopt;
  }
  return the_device.queue.mark(number);
}

bool waited_for(const QueueMark& mark) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  return the_device.queue.waited_for(mark);
}

bool runs_after(const QueueMark& mark, cudaStream_t stream) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  return the_device.queue.runs_after(mark, stream_number(stream));
}

bool MemoryInUse::take(std::size_t size) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  if (!the_device.memory.set_aside(size)) {
    return false;
  }
  size_ += size;
  return true;
}

void MemoryInUse::give_back(std::size_t size) noexcept {
  if (driver_status() == cudaErrorInitializationError) {
    return;  // the device belongs to the parent process
  }
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  size = std::min(size, size_);
  the_device.memory.give_back(size);
  size_ -= size;
}

void MemoryInUse::release() noexcept { give_back(std::numeric_limits<std::size_t>::max()); }

std::string stream_name(cudaStream_t stream) {
  const int number = stream_number(stream);
  return number < 0 ? "no stream" : "stream " + std::to_string(number);
}

DeviceUse device_use() {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  return {the_device.queue.streams(), the_device.queue.events(), the_device.memory.allocations(),
          the_device.memory.allocated_bytes(), the_device.memory.free_bytes()};
}

void restart_numbering() {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  the_device.queue.restart_numbering();
}

}  // namespace emulated_board
