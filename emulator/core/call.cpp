#include "core/call.h"

#include <cstddef>
#include <new>
#include <utility>

#include "core/watch.h"

namespace emulated_board {

namespace {

thread_local int inside_depth = 0;

}  // namespace

// In storage that is never freed: at the end of a process, threads may still be using the board.
Watch& watch() {
  alignas(Watch) static std::byte storage[sizeof(Watch)];
  static Watch& the_watch = *new (storage) Watch;
  return the_watch;
}

namespace {

// Runs after the destructors of all static objects, as those may still use the board.
[[gnu::destructor]] void release_watch() {
  Watch& state = watch();
  const std::unique_lock lock(state.mutex, std::try_to_lock);
  if (lock) {
    state.active = state.recording = false;
    std::vector<Plan>().swap(state.plans);
    std::vector<Call>().swap(state.recorded);
  }
}

}  // namespace

InsideBoard::InsideBoard() noexcept { ++inside_depth; }
InsideBoard::~InsideBoard() { --inside_depth; }

OutsideBoard::OutsideBoard() noexcept : depth_(std::exchange(inside_depth, 0)) {}
OutsideBoard::~OutsideBoard() { inside_depth = depth_; }

bool inside() noexcept { return inside_depth > 0; }

int Injection::status_or(int usual) const { return status == kDefaultStatus ? usual : status; }

bool count_call(Function function) noexcept {
  Watch& state = watch();
  state.counts[static_cast<std::size_t>(function)].fetch_add(1, std::memory_order_relaxed);
  return state.active.load(std::memory_order_relaxed);
}

bool recording() noexcept { return watch().recording.load(std::memory_order_relaxed); }

Injection watch_call(Function function, const std::string& arguments) {
  Watch& state = watch();
  const std::lock_guard lock(state.mutex);
  if (state.recording) {
    state.recorded.push_back({std::string(name_of(function)), arguments});
  }
  Injection injection;
  for (Plan& entry : state.plans) {
    if (entry.function != function) {
      continue;
    }
    ++entry.seen;
    if (entry.once ? entry.seen == entry.nth : entry.seen >= entry.nth) {
      injection = {true, entry.status};
    }
  }
  if (injection.fails) {
    ++state.failures;
  }
  return injection;
}

void count_invalid_release() noexcept { ++watch().invalid_releases; }

}  // namespace emulated_board
