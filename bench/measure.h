// Timing for all benchmarks.
#ifndef ENHANCE_DEPTH_BENCH_MEASURE_H
#define ENHANCE_DEPTH_BENCH_MEASURE_H

#include <cstdint>
#include <ctime>

#include <benchmark/benchmark.h>

namespace enhance_depth_bench {

// Processor time of the calling thread. Waiting for a processor that other programs use does not count, so
// that computations can be measured on a busy machine.
inline double thread_seconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Times `work` alone in each iteration, after an untimed `prepare`. The benchmark needs UseManualTime().
template <typename Prepare, typename Work>
void measure(benchmark::State& state, Prepare prepare, Work work) {
  for ([[maybe_unused]] auto iteration : state) {
    prepare();
    const double start = thread_seconds();
    work();
    benchmark::ClobberMemory();
    state.SetIterationTime(thread_seconds() - start);
  }
}

template <typename Work>
void measure(benchmark::State& state, Work work) {
  const auto nothing = [] {};
  measure(state, nothing, work);
}

// Turns iterations into pixels and bytes per second.
inline void count_work(benchmark::State& state, std::size_t pixels, std::size_t bytes_per_pixel) {
  const auto items = state.iterations() * static_cast<std::int64_t>(pixels);
  state.SetItemsProcessed(items);
  state.SetBytesProcessed(items * static_cast<std::int64_t>(bytes_per_pixel));
}

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_MEASURE_H
