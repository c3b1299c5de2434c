// Three stages that work at the same time, each on its own item: while one is refined, the next is read and
// the one before is written. Bounded queues between the stages keep memory flat.
#ifndef ENHANCE_DEPTH_TOOL_PIPELINE_H
#define ENHANCE_DEPTH_TOOL_PIPELINE_H

#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "sequence/bounded_queue.h"

namespace enhance_depth_tool {

template <typename Item>
struct PipelineStages {
  std::function<std::optional<Item>()> read;  // the next item; nothing when there are no more
  std::function<void(Item&)> work;            // runs on the thread that called run_pipeline()
  std::function<void(Item&)> write;
};

// Passes every item through the stages, in order, one thread per stage, with at most `capacity` items waiting
// before each of the last two. Returns when all are through. When a stage throws, the others end after their
// current item, what waits is dropped, and the (first) exception is thrown here; so is that of a thread which
// cannot be started.
template <typename Item, typename Thread = std::thread>
void run_pipeline(const PipelineStages<Item>& stages, std::size_t capacity) {
  BoundedQueue<Item> to_work(capacity);
  BoundedQueue<Item> to_write(capacity);
  std::mutex failure_mutex;
  std::exception_ptr failure;
  const auto failed = [&] {
    const std::lock_guard lock(failure_mutex);
    return failure != nullptr;
  };
  // Afterwards no stage can be left waiting for another.
  const auto close_queues = [&] {
    to_work.close();
    to_write.close();
  };
  const auto guarded = [&](const auto& stage) {
    try {
      stage();
    } catch (...) {
      {
        const std::lock_guard lock(failure_mutex);
        if (failure == nullptr) {
          failure = std::current_exception();
        }
      }
      close_queues();
    }
  };
  struct JoinedThread {
    Thread thread;
    const decltype(close_queues)& release;
    ~JoinedThread() {
      release();
      thread.join();
    }
  };

  const auto read_all = [&] {
    while (std::optional<Item> item = stages.read()) {
      if (!to_work.push(std::move(*item))) {
        break;
      }
    }
    to_work.close();
  };
  const auto write_all = [&] {
    while (std::optional<Item> item = to_write.pop()) {
      if (failed()) {
        break;
      }
      stages.write(*item);
    }
  };
  {
    const JoinedThread reader{Thread([&] { guarded(read_all); }), close_queues};
    const JoinedThread writer{Thread([&] { guarded(write_all); }), close_queues};
    guarded([&] {
      while (std::optional<Item> item = to_work.pop()) {
        if (failed()) {
          break;
        }
        stages.work(*item);
        to_write.push(std::move(*item));
      }
    });
  }
  if (failure != nullptr) {
    std::rethrow_exception(failure);
  }
}

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PIPELINE_H
