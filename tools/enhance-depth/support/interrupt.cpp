#include "support/interrupt.h"

#include <atomic>
#include <initializer_list>

namespace enhance_depth_tool {
namespace {

std::atomic<bool> interrupt_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

// From here on each of the signals that led here ends the process, the other one too.
extern "C" void request_interrupt(int /*signal*/) {
  interrupt_requested = true;
  for (const int signal : {SIGINT, SIGTERM}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == request_interrupt) {
      action.sa_handler = SIG_DFL;
      sigaction(signal, &action, nullptr);
    }
  }
}

}  // namespace

InterruptGuard::InterruptGuard() {
  interrupt_requested = false;
  catch_once(SIGINT, previous_interrupt_);
  catch_once(SIGTERM, previous_terminate_);
}

void InterruptGuard::catch_once(int signal, struct sigaction& previous) {
  sigaction(signal, nullptr, &previous);
  if (previous.sa_handler == SIG_IGN) {
    return;
  }
  struct sigaction action {};
  action.sa_handler = request_interrupt;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

InterruptGuard::~InterruptGuard() {
  sigaction(SIGINT, &previous_interrupt_, nullptr);
  sigaction(SIGTERM, &previous_terminate_, nullptr);
}

bool InterruptGuard::interrupted() const { return interrupt_requested; }

}  // namespace enhance_depth_tool
