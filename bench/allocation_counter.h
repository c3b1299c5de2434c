// Counts the program's own memory allocations.
#ifndef ENHANCE_DEPTH_BENCH_ALLOCATION_COUNTER_H
#define ENHANCE_DEPTH_BENCH_ALLOCATION_COUNTER_H

#include <cstdint>

namespace enhance_depth_bench {

// How often the calling thread has called `operator new` so far, in any form, not counting the emulated
// board's own allocations.
std::int64_t allocations();

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_ALLOCATION_COUNTER_H
