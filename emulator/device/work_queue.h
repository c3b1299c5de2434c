// The queue of the device: all work in the order in which it was queued, each piece on a stream. Nothing runs
// until something synchronises, and then only what has to: a program that forgets to wait reads old data
// every time.
//
// Stream 0 is the legacy default stream: its work waits for all earlier work, and all later work waits for
// it.
#ifndef EMULATED_BOARD_DEVICE_WORK_QUEUE_H
#define EMULATED_BOARD_DEVICE_WORK_QUEUE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <utility>
#include <variant>
#include <vector>

#include <cuda_runtime_api.h>

#include "device/handles.h"
#include "device/staging.h"

namespace emulated_board {

// A moment in the life of a stream: behind what had been queued on it until then.
struct QueueMark {
  int stream = kDefaultStream;
  unsigned long sequence = 0;  // among all commands and marks of the queue; 0: before them all
};

class WorkQueue {
 public:
  // Numbers from 1, in the order of creation; of destroyed streams or events they are invalid from then on.
  int create_stream();
  bool destroy_stream(int stream);  // its queued work stays
  bool stream_exists(int stream) const;
  int create_event();
  bool destroy_event(int event);
  bool event_exists(int event) const { return events_.count(event) != 0; }
  int streams() const;  // without the default stream
  int events() const { return static_cast<int>(events_.size()); }

  // Each takes a stream that exists. Throws std::bad_alloc, and then nothing was queued.
  void queue_copy(int stream, std::byte* to, const std::byte* from, std::size_t size);
  void queue_captured_copy(int stream, std::byte* to, const std::byte* from, std::size_t size);
  QueueMark queue_work(int stream, std::function<cudaError_t()> work);
  void queue_event(int stream, int event);

  QueueMark mark(int stream) { return {stream, next_sequence_++}; }
  // Whether somebody has waited for the work before the mark.
  bool waited_for(const QueueMark& mark) const;
  // Whether what is queued on `stream` now runs after the work before the mark, because somebody has waited
  // for that or because the streams themselves keep the order.
  bool runs_after(const QueueMark& mark, int stream) const;

  // Run what the stream, the event's latest record or the whole device waits for. After a failure the
  // stream's copies and work are dropped until a wait for that stream, or for an event on it, returns the
  // failure; its events are still recorded. A wait for the device returns one of the failures that arose
  // since the last such wait, and leaves those of live streams to their owners.
  cudaError_t synchronize_stream(int stream);
  cudaError_t synchronize_event(int event);
  cudaError_t synchronize_device();

  // cudaErrorInvalidResourceHandle for events that do not exist or were never recorded, cudaErrorNotReady
  // while one is pending.
  cudaError_t elapsed_time(int start, int stop, float& milliseconds) const;

  // The next stream and event are number 1 again, if none is left and nothing is queued.
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
    // Built in place: GCC 12 warns, wrongly, about what moving a whole variant might read.
    template <typename What>
    Command(int on_stream, unsigned long number, What&& to_do)
        : stream(on_stream), sequence(number), what(std::forward<What>(to_do)) {}
    int stream;
    unsigned long sequence;
    std::variant<Copy, Record, std::function<cudaError_t()>> what;
  };
  struct Stream {
    cudaError_t failure = cudaSuccess;  // of its work, until a wait for the stream takes it
    bool told = false;                  // a wait for the device has seen the failure
    bool destroyed = false;             // kept for what is still queued, until a wait for the device
    unsigned long waited = 0;           // the latest command up to which its work was waited for
  };
  struct Event {
    int stream = kDefaultStream;
    unsigned long latest = 0;  // the latest record queued; 0: never
    unsigned long done = 0;    // and the latest of those that have run
    std::chrono::steady_clock::time_point time;
  };

  template <typename What>
  void queue(int stream, What&& what);
  // Runs the first `count` commands of the stream and all that those wait for.
  void run(int stream, std::size_t count);
  void execute(Command& command) noexcept;
  cudaError_t take_failure(int stream);
  void forget_destroyed_streams();  // all; takes an empty queue

  std::vector<Command> commands_;
  std::map<int, Stream> streams_{{kDefaultStream, Stream{}}};
  std::map<int, Event> events_;
  int next_stream_ = 1;
  int next_event_ = 1;
  unsigned long next_sequence_ = 1;      // commands and marks are numbered in the order of queueing
  unsigned long latest_of_default_ = 0;  // the latest command queued on the default stream
  unsigned long waited_on_all_ = 0;  // the latest command up to which the work of all streams was waited for
  StagingPool staging_;
};

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_WORK_QUEUE_H
