// Time that the calling thread spent on a processor. Waiting for a processor that other programs use does not
// count, so that measurements of a computation hold on a busy machine.
#ifndef ENHANCE_DEPTH_BENCH_THREAD_CLOCK_H
#define ENHANCE_DEPTH_BENCH_THREAD_CLOCK_H

#include <ctime>

namespace enhance_depth_bench {

inline double thread_seconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_THREAD_CLOCK_H
