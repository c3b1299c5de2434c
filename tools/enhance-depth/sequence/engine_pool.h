// The engines that refine frames of one recording at the same time.
#ifndef ENHANCE_DEPTH_TOOL_ENGINE_POOL_H
#define ENHANCE_DEPTH_TOOL_ENGINE_POOL_H

#include <cstddef>
#include <deque>
#include <filesystem>

#include <tbb/concurrent_queue.h>

#include "support/engine.h"

namespace enhance_depth_tool {

// take() from any thread.
class EnginePool {
 public:
  // An engine for one frame; returned to the pool on destruction.
  class Lease {
   public:
    explicit Lease(EnginePool& pool) : pool_(pool) { pool_.free_.pop(engine_); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease() { pool_.free_.push(engine_); }
    Engine* operator->() const { return engine_; }

   private:
    EnginePool& pool_;
    Engine* engine_ = nullptr;
  };

  // Loads the engine `count` times. Networks that run on the processor share its cores, unless the
  // environment already says how many threads each has. Throws an EngineError.
  EnginePool(const std::filesystem::path& path, std::size_t count);

  std::size_t size() const { return engines_.size(); }

  // Waits until one is free.
  Lease take() { return Lease(*this); }

 private:
  std::deque<Engine> engines_;
  tbb::concurrent_bounded_queue<Engine*> free_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_ENGINE_POOL_H
