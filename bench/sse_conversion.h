// The library's loops, instruction by instruction, in the vector instructions of an x86 processor: what the
// loops cost where the processor has the instructions that they are made of. The library itself has one
// source, in Arm's instructions, and on x86 each of those becomes several others.
#ifndef ENHANCE_DEPTH_BENCH_SSE_CONVERSION_H
#define ENHANCE_DEPTH_BENCH_SSE_CONVERSION_H

#include <cstddef>
#include <cstdint>

namespace enhance_depth_bench {

struct SseLoops {
  void (*depth_to_float)(const std::uint16_t* src, float* dst, std::size_t count) = nullptr;
  void (*prediction_to_depth)(const float* src, std::uint16_t* dst, std::size_t count) = nullptr;
};

// Null pointers where the processor does not have SSE4.1.
SseLoops sse_loops();

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_SSE_CONVERSION_H
