// Benchmarks of the pixel conversions, named <conversion>/<variant>/<size>/<caches>/<values>. The variants
// are the library's loop, the plain loop as the compiler vectorises it, and OpenCV's convertTo();
// "copy/memcpy" moves as many bytes. After each timing the results are compared with the definition of the
// conversion.
#ifndef ENHANCE_DEPTH_BENCH_CONVERSION_BENCH_H
#define ENHANCE_DEPTH_BENCH_CONVERSION_BENCH_H

namespace enhance_depth_bench {

void register_conversions();

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_CONVERSION_BENCH_H
