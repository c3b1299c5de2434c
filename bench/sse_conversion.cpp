#include "sse_conversion.h"

#if defined(__x86_64__)

#include <smmintrin.h>

#include "scalar_conversion.h"

namespace enhance_depth_bench {
namespace {

constexpr std::size_t kPixelsPerIteration = 8;

__attribute__((target("sse4.1"))) void depth_to_float(const std::uint16_t* src, float* dst,
                                                      std::size_t count) {
  const std::uint16_t* const vector_end = src + (count - count % kPixelsPerIteration);
  for (; src != vector_end; src += kPixelsPerIteration, dst += kPixelsPerIteration) {
    const __m128i depth = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    _mm_storeu_ps(dst, _mm_cvtepi32_ps(_mm_cvtepu16_epi32(depth)));
    _mm_storeu_ps(dst + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(depth, _mm_setzero_si128())));
  }
  scalar_depth_to_float(src, dst, count % kPixelsPerIteration);
}

// _mm_min_ps and _mm_max_ps return their second operand when either is NaN: the minimum keeps it, the maximum
// turns it into 0.
__attribute__((target("sse4.1"))) inline __m128i clamp_and_truncate(__m128 values) {
  return _mm_cvttps_epi32(_mm_max_ps(_mm_min_ps(_mm_set1_ps(65535.0F), values), _mm_setzero_ps()));
}

__attribute__((target("sse4.1"))) void prediction_to_depth(const float* src, std::uint16_t* dst,
                                                           std::size_t count) {
  const float* const vector_end = src + (count - count % kPixelsPerIteration);
  for (; src != vector_end; src += kPixelsPerIteration, dst += kPixelsPerIteration) {
    const __m128i low = clamp_and_truncate(_mm_loadu_ps(src));
    const __m128i high = clamp_and_truncate(_mm_loadu_ps(src + 4));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_packus_epi32(low, high));
  }
  scalar_prediction_to_depth(src, dst, count % kPixelsPerIteration);
}

}  // namespace

SseLoops sse_loops() {
  return __builtin_cpu_supports("sse4.1") != 0 ? SseLoops{depth_to_float, prediction_to_depth} : SseLoops{};
}

}  // namespace enhance_depth_bench

#else

namespace enhance_depth_bench {

SseLoops sse_loops() { return {}; }

}  // namespace enhance_depth_bench

#endif
