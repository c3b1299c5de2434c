#include "device/driver.h"

#include <atomic>
#include <mutex>

#include <pthread.h>

#include "emulated_board/control.h"

namespace emulated_board {

namespace {

std::atomic<bool> installed{true};
std::atomic<bool> forked{false};

void watch_forks() noexcept {
  static std::once_flag once;
  std::call_once(once, [] { pthread_atfork(nullptr, nullptr, [] { forked = true; }); });
}

}  // namespace

cudaError_t driver_status() noexcept {
  if (forked) {
    return cudaErrorInitializationError;
  }
  if (!installed) {
    return cudaErrorInsufficientDriver;
  }
  watch_forks();
  return cudaSuccess;
}

void install_driver(bool there_is_one) { installed = there_is_one; }

}  // namespace emulated_board
