#include "device/work_queue.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace emulated_board {

int WorkQueue::create_stream() {
  streams_.emplace(next_stream_, Stream{});
  return next_stream_++;
}

bool WorkQueue::destroy_stream(int stream) {
  if (stream == kDefaultStream || !stream_exists(stream)) {
    return false;
  }
  const auto found = streams_.find(stream);
  found->second.destroyed = true;
  const bool idle = std::none_of(commands_.begin(), commands_.end(),
                                 [stream](const Command& command) { return command.stream == stream; });
  if (idle && found->second.failure == cudaSuccess) {
    streams_.erase(found);
  }
  return true;
}

bool WorkQueue::stream_exists(int stream) const {
  const auto found = streams_.find(stream);
  return found != streams_.end() && !found->second.destroyed;
}

int WorkQueue::streams() const {
  return static_cast<int>(std::count_if(streams_.begin(), streams_.end(), [](const auto& entry) {
    return entry.first != kDefaultStream && !entry.second.destroyed;
  }));
}

int WorkQueue::create_event() {
  events_.emplace(next_event_, Event{});
  return next_event_++;
}

bool WorkQueue::destroy_event(int event) { return events_.erase(event) != 0; }

template <typename What>
void WorkQueue::queue(int stream, What&& what) {
  commands_.emplace_back(stream, next_sequence_, std::forward<What>(what));
  if (stream == kDefaultStream) {
    latest_of_default_ = next_sequence_;
  }
  ++next_sequence_;
}

void WorkQueue::queue_copy(int stream, std::byte* to, const std::byte* from, std::size_t size) {
  queue(stream, Copy{to, from, size, {}});
}

void WorkQueue::queue_captured_copy(int stream, std::byte* to, const std::byte* from, std::size_t size) {
  StagingBuffer captured = staging_.take(size);
  std::memcpy(captured.data.get(), from, size);
  const std::byte* source = captured.data.get();
  queue(stream, Copy{to, source, size, std::move(captured)});
}

QueueMark WorkQueue::queue_work(int stream, std::function<cudaError_t()> work) {
  queue(stream, std::move(work));
  return {stream, commands_.back().sequence};
}

void WorkQueue::queue_event(int stream, int event) {
  queue(stream, Record{event});
  Event& recorded = events_.at(event);
  recorded.stream = stream;
  recorded.latest = commands_.back().sequence;
}

bool WorkQueue::waited_for(const QueueMark& mark) const {
  if (mark.sequence <= waited_on_all_) {
    return true;
  }
  const auto found = streams_.find(mark.stream);
  return found != streams_.end() && mark.sequence <= found->second.waited;
}

bool WorkQueue::runs_after(const QueueMark& mark, int stream) const {
  return stream == mark.stream || stream == kDefaultStream || mark.stream == kDefaultStream ||
         mark.sequence < latest_of_default_ || waited_for(mark);
}

cudaError_t WorkQueue::synchronize_stream(int stream) {
  run(stream, commands_.size());
  streams_.find(stream)->second.waited = next_sequence_ - 1;
  return take_failure(stream);
}

cudaError_t WorkQueue::synchronize_event(int event) {
  const Event& recorded = events_.at(event);
  const int stream = recorded.stream;
  if (recorded.done != recorded.latest) {
    const auto command =
        std::find_if(commands_.begin(), commands_.end(),
                     [&recorded](const Command& candidate) { return candidate.sequence == recorded.latest; });
    run(stream, static_cast<std::size_t>(command - commands_.begin()) + 1);
  }
  const auto found = streams_.find(stream);
  if (found != streams_.end()) {
    found->second.waited = std::max(found->second.waited, recorded.latest);
  }
  return take_failure(stream);
}

cudaError_t WorkQueue::synchronize_device() {
  for (Command& command : commands_) {
    execute(command);
  }
  commands_.clear();
  waited_on_all_ = next_sequence_ - 1;
  cudaError_t failure = cudaSuccess;
  for (auto& [number, stream] : streams_) {
    if (failure == cudaSuccess && !stream.told) {
      failure = stream.failure;
    }
    stream.told = stream.failure != cudaSuccess;
  }
  forget_destroyed_streams();
  return failure;
}

void WorkQueue::forget_destroyed_streams() {
  for (auto stream = streams_.begin(); stream != streams_.end();) {
    stream = stream->second.destroyed ? streams_.erase(stream) : std::next(stream);
  }
}

void WorkQueue::run(int stream, std::size_t count) {
  // Of the first `count` commands, `own` ends with the stream's last one; `all` ends with the last command of
  // the default stream before that, which waits for everything in front of it.
  std::size_t own = count;
  while (own > 0 && commands_[own - 1].stream != stream) {
    --own;
  }
  std::size_t all = own;
  while (all > 0 && commands_[all - 1].stream != kDefaultStream) {
    --all;
  }
  if (all > 0) {
    waited_on_all_ = std::max(waited_on_all_, commands_[all - 1].sequence);
  }

  std::size_t kept = 0;
  for (std::size_t i = 0; i < commands_.size(); ++i) {
    if (i < all || (i < own && commands_[i].stream == stream)) {
      execute(commands_[i]);
    } else {
      if (kept != i) {
        commands_[kept] = std::move(commands_[i]);
      }
      ++kept;
    }
  }
  commands_.erase(commands_.begin() + static_cast<std::ptrdiff_t>(kept), commands_.end());
}

void WorkQueue::execute(Command& command) noexcept {
  cudaError_t& failure = streams_.find(command.stream)->second.failure;
  if (auto* copy = std::get_if<Copy>(&command.what)) {
    if (failure == cudaSuccess) {
      std::memmove(copy->to, copy->from, copy->size);
    }
    if (copy->captured.data) {
      staging_.give_back(std::move(copy->captured));
    }
  } else if (const auto* record = std::get_if<Record>(&command.what)) {
    // Records of one event on several streams may run in any order; only the latest counts.
    const auto event = events_.find(record->event);
    if (event == events_.end() || command.sequence < event->second.done) {
      return;
    }
    event->second.done = command.sequence;
    event->second.time = std::chrono::steady_clock::now();
  } else if (failure == cudaSuccess) {
    try {
      failure = std::get<std::function<cudaError_t()>>(command.what)();
    } catch (...) {
      failure = cudaErrorLaunchFailure;
    }
  }
}

cudaError_t WorkQueue::take_failure(int stream) {
  const auto found = streams_.find(stream);
  if (found == streams_.end()) {
    return cudaSuccess;
  }
  found->second.told = false;
  return std::exchange(found->second.failure, cudaSuccess);
}

cudaError_t WorkQueue::elapsed_time(int start, int stop, float& milliseconds) const {
  const auto first = events_.find(start);
  const auto second = events_.find(stop);
  if (first == events_.end() || second == events_.end()) {
    return cudaErrorInvalidResourceHandle;
  }
  const Event& from = first->second;
  const Event& to = second->second;
  if (from.latest == 0 || to.latest == 0) {
    return cudaErrorInvalidResourceHandle;
  }
  if (from.done != from.latest || to.done != to.latest) {
    return cudaErrorNotReady;
  }
  milliseconds = std::chrono::duration<float, std::milli>(to.time - from.time).count();
  return cudaSuccess;
}

void WorkQueue::restart_numbering() {
  if (!commands_.empty()) {
    return;
  }
  forget_destroyed_streams();
  if (streams() == 0) {
    next_stream_ = 1;
  }
  if (events() == 0) {
    next_event_ = 1;
  }
}

}  // namespace emulated_board
