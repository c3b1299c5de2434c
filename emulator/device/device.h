// The one device: its memory and its queue of work, under one lock.
#ifndef EMULATED_BOARD_DEVICE_DEVICE_H
#define EMULATED_BOARD_DEVICE_DEVICE_H

#include <mutex>

#include "device/device_memory.h"
#include "device/work_queue.h"

namespace emulated_board {

struct Device {
  std::mutex mutex;
  DeviceMemory memory;
  WorkQueue queue{mutex};
};

// Lives until the library is unloaded; longer if something on the device is then still in use.
Device& device();

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DEVICE_H
