// Items on their way from a source through work, many at a time, to an end that takes them in their order.
#ifndef ENHANCE_DEPTH_TOOL_PIPELINE_H
#define ENHANCE_DEPTH_TOOL_PIPELINE_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>

namespace enhance_depth_tool {

template <typename Item>
struct PipelineStages {
  std::function<std::optional<Item>()> next;  // one call at a time; nothing when there are no more
  std::function<void(Item&)> work;            // many calls at a time, each with an item of its own
  std::function<void(Item&)> finish;          // one call at a time, in the order of next()
};

struct PipelineLimits {
  int threads;
  std::size_t items;  // on their way at a time
};

namespace pipeline_detail {

// Orders what came before one call of pass() before what comes after the next, on whatever threads. TBB does
// so too, but in a library that the thread sanitizer does not see.
class Gate {
 public:
  void pass() { passed_.fetch_add(1, std::memory_order_acq_rel); }

 private:
  std::atomic<unsigned> passed_{0};
};

template <typename Item>
struct Parcel {
  explicit Parcel(Item content) : item(std::move(content)) {}
  Item item;
  Gate gate;
};

}  // namespace pipeline_detail

// Passes every item through the stages. Returns when all are through. When a stage throws, the calls that are
// under way end, what waits is dropped, and the exception is thrown here.
template <typename Item>
void run_pipeline(const PipelineStages<Item>& stages, PipelineLimits limits) {
  using Parcel = std::shared_ptr<pipeline_detail::Parcel<Item>>;
  pipeline_detail::Gate source;
  pipeline_detail::Gate end;
  const auto read = [&](tbb::flow_control& control) {
    source.pass();
    std::optional<Item> item = stages.next();
    if (!item) {
      control.stop();
      return Parcel();
    }
    const auto parcel = std::make_shared<pipeline_detail::Parcel<Item>>(std::move(*item));
    parcel->gate.pass();
    source.pass();
    return parcel;
  };
  const auto work = [&](const Parcel& parcel) {
    parcel->gate.pass();
    // A thread that waits inside, such as in an image filter of OpenCV's, begins no other item meanwhile.
    tbb::this_task_arena::isolate([&] { stages.work(parcel->item); });
    parcel->gate.pass();
    return parcel;
  };
  const auto finish = [&](const Parcel& parcel) {
    parcel->gate.pass();
    end.pass();
    tbb::this_task_arena::isolate([&] { stages.finish(parcel->item); });
    end.pass();
  };
  // TBB starts no more threads than there are cores unless it is told to; a stage may wait for a disk or a
  // GPU.
  const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(limits.threads));
  tbb::task_arena arena(limits.threads);
  arena.execute([&] {
    tbb::parallel_pipeline(limits.items,
                           tbb::make_filter<void, Parcel>(tbb::filter_mode::serial_in_order, read) &
                               tbb::make_filter<Parcel, Parcel>(tbb::filter_mode::parallel, work) &
                               tbb::make_filter<Parcel, void>(tbb::filter_mode::serial_in_order, finish));
  });
  end.pass();
}

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PIPELINE_H
