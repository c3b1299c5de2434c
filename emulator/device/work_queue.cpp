#include "device/work_queue.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace emulated_board {

namespace {

// Lets go of a lock that the thread holds, for as long as it exists.
class Unlocked {
 public:
  explicit Unlocked(std::mutex& lock) : lock_(lock) { lock_.unlock(); }
  ~Unlocked() { lock_.lock(); }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;

 private:
  std::mutex& lock_;
};

}  // namespace

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
  if (!has_commands(stream) && !found->second.running && found->second.failure == cudaSuccess) {
    streams_.erase(found);
  }
  return true;
}

bool WorkQueue::has_commands(int stream) const {
  return std::any_of(commands_.begin(), commands_.end(),
                     [stream](const Command& command) { return command.stream == stream; });
}

bool WorkQueue::running() const {
  return std::any_of(streams_.begin(), streams_.end(),
                     [](const auto& entry) { return entry.second.running; });
}

bool WorkQueue::is_running(int stream) const {
  const auto found = streams_.find(stream);
  return found != streams_.end() && found->second.running;
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
  const unsigned long last = latest();
  run(stream, last);
  const auto found = streams_.find(stream);
  if (found != streams_.end()) {
    found->second.waited = std::max(found->second.waited, last);
  }
  return take_failure(stream);
}

cudaError_t WorkQueue::synchronize_event(int event) {
  const Event recorded = events_.at(event);
  if (recorded.done != recorded.latest) {
    run(recorded.stream, recorded.latest);
  }
  const auto found = streams_.find(recorded.stream);
  if (found != streams_.end()) {
    found->second.waited = std::max(found->second.waited, recorded.latest);
  }
  return take_failure(recorded.stream);
}

cudaError_t WorkQueue::synchronize_device() {
  const unsigned long last = latest();
  run_all(last);
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
    const bool needed = !stream->second.destroyed || stream->second.running || has_commands(stream->first);
    stream = needed ? std::next(stream) : streams_.erase(stream);
  }
}

unsigned long WorkQueue::latest_on(int stream, unsigned long last) const {
  unsigned long found = 0;
  for (const Command& command : commands_) {
    if (command.stream == stream && command.sequence <= last) {
      found = command.sequence;
    }
  }
  return found;
}

void WorkQueue::run(int stream, unsigned long last) {
  for (;;) {
    const unsigned long own = latest_on(stream, last);
    const unsigned long of_default = latest_on(kDefaultStream, own);
    if (of_default != 0) {
      run_all(of_default);
    } else if (waiting_for_all_ == 0 && !is_running(stream) && !is_running(kDefaultStream)) {
      run_commands(
          [&](const Command& command) { return command.stream == stream && command.sequence <= own; });
      return;
    } else {
      ran_.wait(lock_);
    }
  }
}

void WorkQueue::run_all(unsigned long last) {
  ++waiting_for_all_;
  ran_.wait(lock_, [this] { return !running(); });
  --waiting_for_all_;
  run_commands([&](const Command& command) { return command.sequence <= last; });
  waited_on_all_ = std::max(waited_on_all_, last);
}

template <typename Chosen>
void WorkQueue::run_commands(const Chosen& chosen) noexcept {
  std::list<Command> commands;
  for (auto command = commands_.begin(); command != commands_.end();) {
    const auto next = std::next(command);
    if (chosen(*command)) {
      streams_.find(command->stream)->second.running = true;
      commands.splice(commands.end(), commands_, command);
    }
    command = next;
  }
  for (Command& command : commands) {
    execute(command);
  }
  for (const Command& command : commands) {
    streams_.find(command.stream)->second.running = false;
  }
  ran_.notify_all();
}

void WorkQueue::execute(Command& command) noexcept {
  cudaError_t& failure = streams_.find(command.stream)->second.failure;
  if (auto* copy = std::get_if<Copy>(&command.what)) {
    if (failure == cudaSuccess) {
      const Unlocked unlocked(lock_);
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
    failure = run_unlocked(std::get<std::function<cudaError_t()>>(command.what));
  }
}

cudaError_t WorkQueue::run_unlocked(const std::function<cudaError_t()>& work) noexcept {
  const Unlocked unlocked(lock_);
  try {
    return work();
  } catch (...) {
    return cudaErrorLaunchFailure;
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
  if (!commands_.empty() || running()) {
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
