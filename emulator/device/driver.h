// Whether this process can use the device at all.
#ifndef EMULATED_BOARD_DEVICE_DRIVER_H
#define EMULATED_BOARD_DEVICE_DRIVER_H

#include <cuda_runtime_api.h>

namespace emulated_board {

// cudaSuccess, or the status that every CUDA function returns: cudaErrorInsufficientDriver while the driver
// is taken away (emulated_board/control.h), cudaErrorInitializationError in a process that was forked from
// one that had used the device. Takes no lock: in a forked process another thread of its parent may have held
// any.
cudaError_t driver_status() noexcept;

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_DRIVER_H
