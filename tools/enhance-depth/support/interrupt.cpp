#include "support/interrupt.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>

namespace enhance_depth_tool {
namespace {

std::atomic<bool> interrupt_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};
std::array<struct sigaction, kSignals.size()> previous_actions{};  // written before the handler is installed

extern "C" void request_interrupt(int /*signal*/) {
  interrupt_requested = true;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &previous_actions[i], nullptr);
  }
}

}  // namespace

InterruptGuard::InterruptGuard() {
  interrupt_requested = false;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], nullptr, &previous_actions[i]);
  }
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    if (previous_actions[i].sa_handler == SIG_IGN) {
      continue;
    }
    struct sigaction action {};
    action.sa_handler = request_interrupt;
    action.sa_flags = SA_RESTART;
    sigaction(kSignals[i], &action, nullptr);
  }
}

InterruptGuard::~InterruptGuard() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], &previous_actions[i], nullptr);
  }
}

bool InterruptGuard::interrupted() const { return interrupt_requested; }

}  // namespace enhance_depth_tool
