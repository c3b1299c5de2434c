#include "device/device.h"

#include <string>
#include <utility>

#include "device/device_access.h"
#include "device/handles.h"

namespace emulated_board {

Device& device() {
  static Device& the_device = *new Device;
  return the_device;
}

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

bool queue_work(cudaStream_t stream, std::function<cudaError_t()> work) {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  if (!the_device.queue.stream_exists(stream_number(stream))) return false;
  the_device.queue.queue_work(stream_number(stream), std::move(work));
  return true;
}

std::string stream_name(cudaStream_t stream) {
  const int number = stream_number(stream);
  return number < 0 ? "no stream" : "stream " + std::to_string(number);
}

DeviceUse device_use() {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  return {the_device.queue.streams(), the_device.queue.events(), the_device.memory.allocations(),
          the_device.memory.allocated_bytes()};
}

void restart_numbering() {
  Device& the_device = device();
  const std::lock_guard lock(the_device.mutex);
  the_device.queue.restart_numbering();
}

}  // namespace emulated_board
