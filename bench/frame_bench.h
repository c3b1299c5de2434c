// Benchmarks of a frame, on the emulated board with a network that takes no time:
//   frame/<library|floor>/<size>/<caches>   a whole frame: the library's, or its bare copies and conversions
//   parts/<size>/<caches>                   a bare frame, with the seconds of each part as counters
//   create, reset/<size>                    what happens once
//   first frame/<size>                      the frame after such a reset
// "warm" repeats a frame on the same buffers; "cold" lets sessions take turns (see SessionRing). After each
// timing the results on the host and on the device are checked.
#ifndef ENHANCE_DEPTH_BENCH_FRAME_BENCH_H
#define ENHANCE_DEPTH_BENCH_FRAME_BENCH_H

namespace enhance_depth_bench {

void register_frames();
void register_setup();

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_FRAME_BENCH_H
