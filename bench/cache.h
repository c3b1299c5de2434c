// Evicts memory from the processor's caches.
#ifndef ENHANCE_DEPTH_BENCH_CACHE_H
#define ENHANCE_DEPTH_BENCH_CACHE_H

#include <cstddef>

namespace enhance_depth_bench {

// Writes the lines of [data, data + bytes) back and drops them from every cache level.
void evict(const void* data, std::size_t bytes);

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_CACHE_H
