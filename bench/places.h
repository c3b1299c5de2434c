// Where a measurement finds its data, as it stands in the benchmarks' names.
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

// So many that about `pixels` pixels are processed: what is compared runs equally often, whatever it takes.
inline benchmark::IterationCount iterations_for(ImageSize size, std::size_t pixels) {
  return static_cast<benchmark::IterationCount>(pixels / size.pixels() + 1);
}

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_PLACES_H
