#include "interrupt.h"

#include <atomic>

namespace enhance_depth_tool {
namespace {

std::atomic<bool> interrupt_requested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

extern "C" void request_interrupt(int /*signal*/) { interrupt_requested = true; }

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
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  sigaction(signal, &action, nullptr);
}

InterruptGuard::~InterruptGuard() {
  sigaction(SIGINT, &previous_interrupt_, nullptr);
  sigaction(SIGTERM, &previous_terminate_, nullptr);
}

bool InterruptGuard::interrupted() const { return interrupt_requested; }

}  // namespace enhance_depth_tool
