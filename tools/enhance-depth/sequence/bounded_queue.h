// A queue between two threads that holds only so much: who produces faster than the other consumes has to
// wait.
#ifndef ENHANCE_DEPTH_TOOL_BOUNDED_QUEUE_H
#define ENHANCE_DEPTH_TOOL_BOUNDED_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace enhance_depth_tool {

// All functions may be called from any thread.
template <typename Item>
class BoundedQueue {
 public:
  explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

  // Waits for room. Returns false, without taking the item, when the queue was closed.
  bool push(Item item) {
    std::unique_lock lock(mutex_);
    has_room_.wait(lock, [&] { return closed_ || items_.size() < capacity_; });
    if (closed_) {
      return false;
    }
    items_.push_back(std::move(item));
    lock.unlock();
    has_items_.notify_one();
    return true;
  }

  // Waits for an item. Returns nothing when the queue was closed and all that was in it has been taken.
  std::optional<Item> pop() {
    std::unique_lock lock(mutex_);
    has_items_.wait(lock, [&] { return closed_ || !items_.empty(); });
    if (items_.empty()) {
      return std::nullopt;
    }
    std::optional<Item> item(std::move(items_.front()));
    items_.pop_front();
    lock.unlock();
    has_room_.notify_one();
    return item;
  }

  // Nothing can be pushed any more; those who wait wake up.
  void close() {
    {
      const std::lock_guard lock(mutex_);
      closed_ = true;
    }
    has_room_.notify_all();
    has_items_.notify_all();
  }

 private:
  const std::size_t capacity_;
  std::mutex mutex_;
  std::condition_variable has_room_;
  std::condition_variable has_items_;
  std::deque<Item> items_;
  bool closed_ = false;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_BOUNDED_QUEUE_H
