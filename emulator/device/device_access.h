// What TensorRT and the control interface need of the device. All functions take the device's lock
// themselves.
#ifndef EMULATED_BOARD_DEVICE_DEVICE_ACCESS_H
#define EMULATED_BOARD_DEVICE_DEVICE_ACCESS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include <cuda_runtime_api.h>

#include "device/device_memory.h"
#include "device/work_queue.h"

namespace emulated_board {

// The contents of device memory from an address on; null when it is no such address. Valid for work that is
// queued before the allocation is released.
DeviceRange device_range(const void* address);

bool stream_exists(cudaStream_t stream);

// Queues work on a stream; nothing when there is no such stream. What the work returns surfaces at the next
// synchronise.
std::optional<QueueMark> queue_work(cudaStream_t stream, std::function<cudaError_t()> work);

// Marks the stream as it is now; nothing when there is no such stream. What can be asked of a mark: see
// WorkQueue.
std::optional<QueueMark> mark_stream(cudaStream_t stream);
bool waited_for(const QueueMark& mark);
bool runs_after(const QueueMark& mark, cudaStream_t stream);

// "stream 1", for call summaries.
std::string stream_name(cudaStream_t stream);

// Device memory that TensorRT takes for itself, as an amount without an address.
class MemoryInUse {
 public:
  MemoryInUse() = default;
  // Takes no lock when nothing is left to release: the end of queued work may be the end of this, too.
  ~MemoryInUse() {
    if (size_ != 0) release();
  }
  MemoryInUse(const MemoryInUse&) = delete;
  MemoryInUse& operator=(const MemoryInUse&) = delete;

  // False, and nothing is taken, when that much is not left.
  bool take(std::size_t size);
  void give_back(std::size_t size) noexcept;
  void release() noexcept;

 private:
  std::size_t size_ = 0;
};

// What is alive on the device.
struct DeviceUse {
  int streams = 0;
  int events = 0;
  int allocations = 0;
  std::size_t allocated_bytes = 0;
  std::size_t free_bytes = 0;
};
DeviceUse device_use();

// When no stream, or no event, is alive and nothing is queued, the next one is number 1 again.
void restart_numbering();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DEVICE_ACCESS_H
