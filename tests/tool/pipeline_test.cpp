// Items are processed several at a time, within the limit, finish in order, and no failure is lost.
#include "sequence/pipeline.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace enhance_depth_tool {
namespace {

using Item = std::unique_ptr<int>;  // items need not be copyable

// Runs the pipeline with threads of its own, which are started and joined where the thread sanitizer sees it.
void run(const PipelineStages<Item>& stages, PipelineLimits limits) {
  struct Workers {
    Workers() = default;
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;
    ~Workers() { EXPECT_TRUE(tbb::finalize(handle, std::nothrow)); }
    tbb::task_scheduler_handle handle{tbb::attach{}};
  } workers;
  run_pipeline(stages, limits);
}

// Gives the numbers 0 to count - 1.
auto counting(int count) {
  return [next = 0, count]() mutable {
    return next < count ? std::optional<Item>(std::make_unique<int>(next++)) : std::nullopt;
  };
}

// Nothing here is atomic: the stages' own order is all that keeps the thread sanitizer silent.
TEST(ToolPipeline, EndsEveryItemInOrder) {
  int read = 0;
  std::vector<int> ended;
  PipelineStages<Item> stages;
  stages.next = [&, next = counting(1000)]() mutable {
    ++read;
    return next();
  };
  stages.work = [](Item& item) { *item *= 2; };
  stages.finish = [&](Item& item) { ended.push_back(*item); };
  run(stages, {4, 7});
  ASSERT_EQ(ended.size(), 1000U);
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(ended[static_cast<std::size_t>(i)], 2 * i);
  }
  EXPECT_EQ(read, 1001);
}

// Item 0 ends only after item 1 is worked on, and that only after item 2 was read: on any number of cores.
TEST(ToolPipeline, WorksOnSeveralItemsAtTheSameTime) {
  std::promise<void> read_third;
  std::promise<void> worked_second;
  PipelineStages<Item> stages;
  stages.next = [&, next = counting(3), calls = 0]() mutable {
    if (++calls == 3) {
      read_third.set_value();
    }
    return next();
  };
  stages.work = [&](Item& item) {
    if (*item == 0) {
      worked_second.get_future().wait();
    }
    if (*item == 1) {
      read_third.get_future().wait();
      worked_second.set_value();
    }
  };
  stages.finish = [](Item&) {};
  run(stages, {3, 3});
}

TEST(ToolPipeline, HoldsNoMoreItemsThanItMay) {
  constexpr int kItems = 5;
  std::atomic<int> alive{0};
  std::atomic<int> most{0};
  PipelineStages<Item> stages;
  stages.next = [&, next = counting(200)]() mutable {
    std::optional<Item> item = next();
    if (item) {
      most = std::max(most.load(), ++alive);
    }
    return item;
  };
  stages.work = [](Item&) {};
  stages.finish = [&](Item&) {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    --alive;
  };
  run(stages, {3, kItems});
  EXPECT_LE(most, kItems);
  EXPECT_GT(most, 1) << "the source should have been ahead";
}

TEST(ToolPipeline, ThrowsWhatAStageThrewAndDropsWhatWaits) {
  for (const char* failing : {"next", "work", "finish"}) {
    for (int at : {0, 5}) {
      SCOPED_TRACE(std::string(failing) + " at item " + std::to_string(at));
      const auto fail_if = [&](const char* stage, int item) {
        if (std::string(stage) == failing && item == at) {
          throw std::runtime_error(stage);
        }
      };
      int finished = 0;
      int read = 0;
      PipelineStages<Item> stages;
      stages.next = [&, next = counting(100000)]() mutable {
        fail_if("next", read++);
        return next();
      };
      stages.work = [&](Item& item) { fail_if("work", *item); };
      stages.finish = [&](Item& item) {
        fail_if("finish", *item);
        ++finished;
      };
      try {
        run(stages, {3, 6});
        ADD_FAILURE() << "nothing was thrown";
      } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), failing);
      }
      EXPECT_LE(finished, at);
      EXPECT_LT(read, 100) << "the source went on";
    }
  }
}

}  // namespace
}  // namespace enhance_depth_tool
