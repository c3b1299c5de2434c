// The device's queue: all work in the order in which it was queued, each command on a stream. Nothing runs
// until the program synchronises, and then only what it must wait for, so that a program that forgets to wait
// reads stale data every time.
//
// Stream 0 is the legacy default stream: its work waits for all earlier work, and all later work waits for
// it.
//
// Threads that wait for different streams run the work of these at the same time: all functions are called
// with the device's lock held, and those that run work let go of it during each copy and each network.
#ifndef EMULATED_BOARD_DEVICE_WORK_QUEUE_H
#define EMULATED_BOARD_DEVICE_WORK_QUEUE_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <utility>
#include <variant>

#include <cuda_runtime_api.h>

#include "device/handles.h"
#include "device/staging.h"

namespace emulated_board {

// A position in a stream: after everything that had been queued on it by then.
struct QueueMark {
  int stream = kDefaultStream;
  unsigned long sequence = 0;  // the number in the order of all commands and marks; 0 is before all of them
};

class WorkQueue {
 public:
  // `lock` is the device's.
  explicit WorkQueue(std::mutex& lock) : lock_(lock) {}

  // Streams and events are numbered from 1 in the order of creation. A number is invalid once its stream or
  // event is destroyed.
  int create_stream();
  bool destroy_stream(int stream);  // work already queued still runs
  bool stream_exists(int stream) const;
  int create_event();
  bool destroy_event(int event);
  bool event_exists(int event) const { return events_.count(event) != 0; }
  int streams() const;  // without the default stream
  int events() const { return static_cast<int>(events_.size()); }
  bool running() const;  // a thread is running work

  // The stream must exist. If one of these throws std::bad_alloc, it has queued nothing.
  void queue_copy(int stream, std::byte* to, const std::byte* from, std::size_t size);
  void queue_captured_copy(int stream, std::byte* to, const std::byte* from, std::size_t size);
  QueueMark queue_work(int stream, std::function<cudaError_t()> work);
  void queue_event(int stream, int event);

  QueueMark mark(int stream) { return {stream, next_sequence_++}; }
  // Whether the program has waited for the work before the mark.
  bool waited_for(const QueueMark& mark) const;
  // Whether work queued on `stream` now is certain to run after the work before the mark, because of the
  // order of the streams or because the program has waited.
  bool runs_after(const QueueMark& mark, int stream) const;

  // Run everything that the stream, the event's latest record or the whole device depends on, as far as it
  // had been queued before the call, and wait for what other threads are running of it. After a failure,
  // copies and other work on that stream are dropped until a wait for the stream, or for an event on it,
  // returns the failure; events are still recorded. A wait for the device returns one of the failures since
  // the last such wait without clearing it, so that the stream's own wait returns it as well.
  cudaError_t synchronize_stream(int stream);
  cudaError_t synchronize_event(int event);
  cudaError_t synchronize_device();

  // cudaErrorInvalidResourceHandle for events that do not exist or were never recorded, cudaErrorNotReady
  // while one is pending.
  cudaError_t elapsed_time(int start, int stop, float& milliseconds) const;

  // Restarts the numbers of streams and of events at 1 if none of them is alive and nothing is queued.
  void restart_numbering();

 private:
  struct Copy {
    std::byte* to;
    const std::byte* from;
    std::size_t size;
    StagingBuffer captured;  // holds `from`, if the copy was captured
  };
  struct Record {
    int event;
  };
  struct Command {
    // Constructs in place, because moving a variant makes GCC 12 warn of uninitialised reads that do not
    // exist.
    template <typename What>
    Command(int on_stream, unsigned long number, What&& to_do)
        : stream(on_stream), sequence(number), what(std::forward<What>(to_do)) {}
    int stream;
    unsigned long sequence;
    std::variant<Copy, Record, std::function<cudaError_t()>> what;
  };
  struct Stream {
    cudaError_t failure = cudaSuccess;  // of its work, until a wait for the stream returns it
    bool told = false;                  // a wait for the device has returned the failure
    bool destroyed = false;             // kept until a wait for the device, for the work still queued
    bool running = false;               // a thread is running its work
    unsigned long waited = 0;           // the program has waited for its work up to this command
  };
  struct Event {
    int stream = kDefaultStream;
    unsigned long latest = 0;  // the latest record queued; 0: none
    unsigned long done = 0;    // the latest record that has run
    std::chrono::steady_clock::time_point time;
  };

  template <typename What>
  void queue(int stream, What&& what);
  unsigned long latest() const { return next_sequence_ - 1; }
  bool has_commands(int stream) const;
  bool is_running(int stream) const;
  // The stream's latest command up to number `last`; 0: none.
  unsigned long latest_on(int stream, unsigned long last) const;
  // Of the commands up to number `last`, runs those of the stream and everything that they depend on, or all
  // of them.
  void run(int stream, unsigned long last);
  void run_all(unsigned long last);
  // Takes the commands that are chosen from the queue and runs them.
  template <typename Chosen>
  void run_commands(const Chosen& chosen) noexcept;
  void execute(Command& command) noexcept;
  cudaError_t run_unlocked(const std::function<cudaError_t()>& work) noexcept;
  cudaError_t take_failure(int stream);
  void forget_destroyed_streams();

  std::mutex& lock_;
  std::condition_variable_any ran_;  // some work has been run
  int waiting_for_all_ = 0;          // threads that wait for all streams: no others may start before them
  std::list<Command> commands_;
  std::map<int, Stream> streams_{{kDefaultStream, Stream{}}};
  std::map<int, Event> events_;
  int next_stream_ = 1;
  int next_event_ = 1;
  unsigned long next_sequence_ = 1;      // commands and marks are numbered in the order of queueing
  unsigned long latest_of_default_ = 0;  // the latest command queued on the default stream
  unsigned long waited_on_all_ = 0;      // the program has waited for all work up to this command
  StagingPool staging_;
};

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_WORK_QUEUE_H
