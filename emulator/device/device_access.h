// The device as TensorRT and the control interface see it. All functions take the device's lock themselves.
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

// Device memory from this address to the end of its allocation; null if it is not a device address. Work
// that is queued before the allocation is released may use it.
DeviceRange device_range(const void* address);

bool stream_exists(cudaStream_t stream);

// Queues work on a stream; std::nullopt if there is no such stream. The next call that waits for the work
// reports its failure.
std::optional<QueueMark> queue_work(cudaStream_t stream, std::function<cudaError_t()> work);

// Marks the current end of a stream; std::nullopt if there is no such stream. See WorkQueue for the queries.
std::optional<QueueMark> mark_stream(cudaStream_t stream);
bool waited_for(const QueueMark& mark);
bool runs_after(const QueueMark& mark, cudaStream_t stream);

// "stream 1", for call summaries.
std::string stream_name(cudaStream_t stream);

// Device memory that TensorRT uses internally: an amount without addresses.
class MemoryInUse {
 public:
  MemoryInUse() = default;
  // May run under the device's lock, at the end of queued work; everything has been released by then, and no
  // lock is taken.
  ~MemoryInUse() {
    if (size_ != 0) {
      release();
    }
  }
  MemoryInUse(const MemoryInUse&) = delete;
  MemoryInUse& operator=(const MemoryInUse&) = delete;

  // Returns false, and takes nothing, if that much is not free.
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

// Restarts the numbers of streams and of events at 1 if none of them is alive and nothing is queued.
void restart_numbering();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DEVICE_ACCESS_H
