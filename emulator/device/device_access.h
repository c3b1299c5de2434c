// What TensorRT and the control interface need of the device. All functions take the device's lock
// themselves.
#ifndef EMULATED_BOARD_DEVICE_DEVICE_ACCESS_H
#define EMULATED_BOARD_DEVICE_DEVICE_ACCESS_H

#include <cstddef>
#include <functional>
#include <string>

#include <cuda_runtime_api.h>

#include "device/device_memory.h"

namespace emulated_board {

// The contents of device memory from an address on; null when it is no such address. Valid for work that is
// queued before the allocation is released.
DeviceRange device_range(const void* address);

bool stream_exists(cudaStream_t stream);

// Queues work on a stream; false when there is no such stream. What the work returns surfaces at the next
// synchronise.
bool queue_work(cudaStream_t stream, std::function<cudaError_t()> work);

// "stream 1", for call summaries.
std::string stream_name(cudaStream_t stream);

// What is alive on the device.
struct DeviceUse {
  int streams = 0;
  int events = 0;
  int allocations = 0;
  std::size_t allocated_bytes = 0;
};
DeviceUse device_use();

// When no stream, or no event, is alive and nothing is queued, the next one is number 1 again.
void restart_numbering();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DEVICE_ACCESS_H
