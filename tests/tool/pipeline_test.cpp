// The stages work at the same time, hold only so much, keep the order, and end without a deadlock whatever
// fails.
#include "sequence/pipeline.h"

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "sequence/bounded_queue.h"

namespace enhance_depth_tool {
namespace {

using Item = std::unique_ptr<int>;  // items need not be copyable

// Gives the numbers 0 to count - 1.
auto counting(int count) {
  return [next = 0, count]() mutable {
    return next < count ? std::optional<Item>(std::make_unique<int>(next++)) : std::nullopt;
  };
}

TEST(ToolPipeline, PassesEveryItemThroughAllStagesInOrder) {
  int written = 0;
  PipelineStages<Item> stages;
  stages.read = counting(1000);
  stages.work = [](Item& item) { *item *= 2; };
  stages.write = [&](Item& item) { EXPECT_EQ(*item, 2 * written++); };
  run_pipeline(stages, 3);
  EXPECT_EQ(written, 1000);
}

// Each stage waits, on one of its items, until the stage before has finished a later one: that ends only when
// the stages work at the same time.
TEST(ToolPipeline, WorksInAllStagesAtTheSameTime) {
  std::promise<void> read_third;
  std::promise<void> worked_second;
  PipelineStages<Item> stages;
  stages.read = [&, next = counting(3), calls = 0]() mutable {
    if (++calls == 3) {
      read_third.set_value();
    }
    return next();
  };
  stages.work = [&](Item& item) {
    if (*item == 1) {
      read_third.get_future().wait();
      worked_second.set_value();
    }
  };
  stages.write = [&](Item& item) {
    if (*item == 0) {
      worked_second.get_future().wait();
    }
  };
  run_pipeline(stages, 1);
}

TEST(ToolPipeline, HoldsNoMoreItemsThanItMay) {
  constexpr int kCapacity = 2;
  std::atomic<int> alive{0};
  std::atomic<int> most{0};
  PipelineStages<Item> stages;
  stages.read = [&, next = counting(200)]() mutable {
    most = std::max(most.load(), ++alive);
    return next();
  };
  stages.work = [](Item&) {};
  stages.write = [&](Item&) {
    std::this_thread::sleep_for(std::chrono::microseconds(100));
    --alive;
  };
  run_pipeline(stages, kCapacity);
  // Full queues, and one item in the hands of each stage.
  EXPECT_LE(most, 2 * kCapacity + 3);
  EXPECT_GT(most, kCapacity) << "the reader should have been ahead";
}

TEST(ToolPipeline, ThrowsWhatAStageThrewAndStopsTheOthers) {
  for (const char* failing : {"read", "work", "write"}) {
    for (int at : {0, 5}) {
      SCOPED_TRACE(std::string(failing) + " at item " + std::to_string(at));
      const auto fail_if = [&](const char* stage, int item) {
        if (std::string(stage) == failing && item == at) {
          throw std::runtime_error(stage);
        }
      };
      std::atomic<int> written{0};
      std::atomic<int> read{0};
      PipelineStages<Item> stages;
      stages.read = [&, next = counting(100000)]() mutable {
        fail_if("read", read++);
        return next();
      };
      stages.work = [&](Item& item) { fail_if("work", *item); };
      stages.write = [&](Item& item) {
        fail_if("write", *item);
        ++written;
      };
      try {
        run_pipeline(stages, 2);
        ADD_FAILURE() << "nothing was thrown";
      } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), failing);
      }
      EXPECT_LE(written, at);
      EXPECT_LT(read, 100) << "the reader went on";
    }
  }
}

// A thread that the system refuses to start when it is the second one.
struct SecondThreadFails {
  template <typename Function>
  explicit SecondThreadFails(Function function) {
    if (++started == 2) {
      throw std::runtime_error("no second thread");
    }
    thread = std::thread(function);
  }
  void join() { thread.join(); }
  std::thread thread;
  inline static int started = 0;
};

TEST(ToolPipeline, ThrowsWhenAThreadCannotBeStarted) {
  PipelineStages<Item> stages;
  stages.read = counting(100000);
  EXPECT_THROW((run_pipeline<Item, SecondThreadFails>(stages, 2)), std::runtime_error);
}

TEST(ToolBoundedQueue, LetsWaitersGoWhenItIsClosed) {
  BoundedQueue<int> queue(1);
  ASSERT_TRUE(queue.push(1));
  std::thread pusher([&] { EXPECT_FALSE(queue.push(2)); });
  queue.close();
  pusher.join();
  EXPECT_EQ(queue.pop(), 1) << "what was in it can still be taken";
  EXPECT_EQ(queue.pop(), std::nullopt);
}

}  // namespace
}  // namespace enhance_depth_tool
