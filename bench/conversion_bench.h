// Benchmarks of the pixel conversions, named <conversion>/<variant>/<size>/<caches>/<values>. The variants:
//   library   the library's loop
//   scalar    the plain loop as the compiler vectorises it
//   opencv    cv::Mat::convertTo(), which rounds a float to the nearest integer where the library truncates
//   sse       on x86: the library's loop in the processor's own instructions
// copy/memcpy/<size>/<caches> moves as many bytes. "cold" evicts source and destination from all caches
// before each iteration. After each timing the results are compared with the definition of the conversion.
#ifndef ENHANCE_DEPTH_BENCH_CONVERSION_BENCH_H
#define ENHANCE_DEPTH_BENCH_CONVERSION_BENCH_H

namespace enhance_depth_bench {

void register_conversions();

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_CONVERSION_BENCH_H
