// The size of an image and the state of the caches, as benchmarks' names state them.
#ifndef ENHANCE_DEPTH_BENCH_PLACES_H
#define ENHANCE_DEPTH_BENCH_PLACES_H

#include <string>

#include <benchmark/benchmark.h>

#include "test_images.h"

namespace enhance_depth_bench {

enum class Caches { kWarm, kCold };

inline std::string place_name(ImageSize size, Caches caches) {
  return "/" + size.name() + (caches == Caches::kWarm ? "/warm" : "/cold");
}

// Enough to process about `pixels` pixels: benchmarks that are compared run equally often, however long they
// take.
inline benchmark::IterationCount iterations_for(ImageSize size, std::size_t pixels) {
  return static_cast<benchmark::IterationCount>(pixels / size.pixels() + 1);
}

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_PLACES_H
