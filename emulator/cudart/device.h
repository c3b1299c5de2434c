// The one device: its memory and its queue of work, under one lock.
#ifndef EMULATED_BOARD_CUDART_DEVICE_H
#define EMULATED_BOARD_CUDART_DEVICE_H

#include <mutex>

#include "cudart/device_memory.h"
#include "cudart/work_queue.h"

namespace emulated_cudart {

struct Device {
  std::mutex mutex;
  DeviceMemory memory;
  WorkQueue queue;
};

// Lives until the process ends.
Device& device();

}  // namespace emulated_cudart

#endif  // EMULATED_BOARD_CUDART_DEVICE_H
