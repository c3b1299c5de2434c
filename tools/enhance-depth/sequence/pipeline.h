// Passes items from a source through work, many at a time, to an end that takes them in their original order.
#ifndef ENHANCE_DEPTH_TOOL_PIPELINE_H
#define ENHANCE_DEPTH_TOOL_PIPELINE_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>

namespace enhance_depth_tool {

template <typename Item>
struct PipelineStages {
  std::function<std::optional<Item>()> next;  // one call at a time; std::nullopt if there are no more
  std::function<void(Item&)> work;            // many calls at a time, each with an item of its own
  std::function<void(Item&)> finish;          // one call at a time, in the order of next()
};

struct PipelineLimits {
  int threads;
  std::size_t items;  // in the pipeline at a time
};

namespace pipeline_detail {

// Orders the work of one turn before that of the next, on whatever threads; turns follow one another. TBB
// orders them too, but in a library that the thread sanitizer does not see.
class Gate {
 public:
  class Turn {
   public:
    explicit Turn(Gate& gate) : gate_(gate) { gate_.pass(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { gate_.pass(); }

   private:
    Gate& gate_;
  };

 private:
  void pass() { passed_.fetch_add(1, std::memory_order_acq_rel); }
  std::atomic<unsigned> passed_{0};
};

// Where an item is on its way.
template <typename Item>
struct Slot {
  std::optional<Item> item;
  Gate gate;
};

// Frees the slots after the last turn of each.
template <typename Item>
struct Slots : std::vector<Slot<Item>> {
  using std::vector<Slot<Item>>::vector;
  Slots(const Slots&) = delete;
  Slots& operator=(const Slots&) = delete;
  ~Slots() {
    for (Slot<Item>& slot : *this) {
      const Gate::Turn turn(slot.gate);
    }
  }
};

}  // namespace pipeline_detail

// Passes every item through the stages and returns when all are done. If a stage throws, the calls in
// progress are completed, waiting items are dropped, and the exception is rethrown here.
template <typename Item>
void run_pipeline(const PipelineStages<Item>& stages, PipelineLimits limits) {
  using Slot = pipeline_detail::Slot<Item>;
  using Turn = pipeline_detail::Gate::Turn;
  // Items end in their order, so that with the next one the slot of the oldest is free.
  pipeline_detail::Slots<Item> slots(limits.items);
  std::size_t started = 0;
  pipeline_detail::Gate source;
  pipeline_detail::Gate end;
  const auto read = [&](tbb::flow_control& control) -> Slot* {
    const Turn turn(source);
    Slot& slot = slots[started++ % slots.size()];
    const Turn slot_turn(slot.gate);
    slot.item = stages.next();
    if (!slot.item) {
      control.stop();
      return nullptr;
    }
    return &slot;
  };
  const auto work = [&](Slot* slot) {
    const Turn turn(slot->gate);
    // Keeps a thread that waits inside, such as in one of OpenCV's image filters, from starting another item.
    tbb::this_task_arena::isolate([&] { stages.work(*slot->item); });
    return slot;
  };
  const auto finish = [&](Slot* slot) {
    const Turn turn(end);
    const Turn slot_turn(slot->gate);
    tbb::this_task_arena::isolate([&] { stages.finish(*slot->item); });
    slot->item.reset();
  };
  // By default TBB starts no more threads than there are cores, but a stage may wait for a disk or a GPU.
  const tbb::global_control control(tbb::global_control::max_allowed_parallelism,
                                    static_cast<std::size_t>(limits.threads));
  tbb::task_arena arena(limits.threads);
  arena.execute([&] {
    tbb::parallel_pipeline(limits.items,
                           tbb::make_filter<void, Slot*>(tbb::filter_mode::serial_in_order, read) &
                               tbb::make_filter<Slot*, Slot*>(tbb::filter_mode::parallel, work) &
                               tbb::make_filter<Slot*, void>(tbb::filter_mode::serial_in_order, finish));
  });
  const Turn last_turn_of_the_source(source);
  const Turn last_turn_of_the_end(end);
}

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_PIPELINE_H
