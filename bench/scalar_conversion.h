// The definition of the conversions, as plain loops without vector instructions. The compiler vectorises them
// as well as it can: the library's loops have to beat them.
#ifndef ENHANCE_DEPTH_BENCH_SCALAR_CONVERSION_H
#define ENHANCE_DEPTH_BENCH_SCALAR_CONVERSION_H

#include <cstddef>
#include <cstdint>

namespace enhance_depth_bench {

void scalar_depth_to_float(const std::uint16_t* src, float* dst, std::size_t count);
void scalar_prediction_to_depth(const float* src, std::uint16_t* dst, std::size_t count);

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_SCALAR_CONVERSION_H
