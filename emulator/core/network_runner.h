// What runs the network of the engine that was loaded last.
#ifndef EMULATED_BOARD_CORE_NETWORK_RUNNER_H
#define EMULATED_BOARD_CORE_NETWORK_RUNNER_H

#include <string>

namespace emulated_board {

// For emulated_board_network_runner() of the control interface.
void set_network_runner(const std::string& runner);

}  // namespace emulated_board

#endif  // EMULATED_BOARD_CORE_NETWORK_RUNNER_H
