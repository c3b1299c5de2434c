// The texts of CUDA's errors.
#ifndef EMULATED_BOARD_DEVICE_ERROR_TEXT_H
#define EMULATED_BOARD_DEVICE_ERROR_TEXT_H

namespace emulated_board {

// The real runtime's text for each error that the board raises itself; for any other number, a text that says
// that there is none. Valid until the library is unloaded.
const char* error_text(int error) noexcept;

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_ERROR_TEXT_H
