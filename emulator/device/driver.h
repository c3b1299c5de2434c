// Whether this process can use the device at all.
#ifndef EMULATED_BOARD_DEVICE_DRIVER_H
#define EMULATED_BOARD_DEVICE_DRIVER_H

#include <cuda_runtime_api.h>

namespace emulated_board {

// cudaSuccess, or the status that every CUDA function returns: cudaErrorInsufficientDriver without a driver
// (emulated_board/control.h), cudaErrorInitializationError in a process that was forked from one that had
// used the device. Takes no lock: any lock may have been held by another thread of the parent during the
// fork.
cudaError_t driver_status() noexcept;

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DRIVER_H
