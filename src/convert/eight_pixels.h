// Converts eight pixels in 128-bit registers: the part of the loops that differs between processors. The
// boards have NEON. PCs have SSE4.1, so that the same loops are fast on a PC and run under its sanitizers.
#ifndef ENHANCE_DEPTH_CONVERT_EIGHT_PIXELS_H
#define ENHANCE_DEPTH_CONVERT_EIGHT_PIXELS_H

#include <cstdint>

#if defined(__aarch64__)
#include <arm_neon.h>
#elif defined(__SSE4_1__)
#include <smmintrin.h>
#else
#error "The conversions need NEON of a 64-bit Arm processor, or SSE4.1 (-msse4.1)."
#endif

namespace enhance_depth {

#if defined(__aarch64__)

inline void convert_eight_pixels(const std::uint16_t* src, float* dst) {
  const uint16x8_t depth = vld1q_u16(src);
  vst1q_f32(dst, vcvtq_f32_u32(vmovl_u16(vget_low_u16(depth))));
  vst1q_f32(dst + 4, vcvtq_f32_u32(vmovl_high_u16(depth)));
}

// Both steps saturate, so no clamping is needed: the conversion turns NaN and negative values into 0, the
// narrowing turns values above 65535 into 65535.
inline void convert_eight_pixels(const float* src, std::uint16_t* dst) {
  const uint16x4_t low = vqmovn_u32(vcvtq_u32_f32(vld1q_f32(src)));
  vst1q_u16(dst, vqmovn_high_u32(low, vcvtq_u32_f32(vld1q_f32(src + 4))));
}

#else

inline void convert_eight_pixels(const std::uint16_t* src, float* dst) {
  const __m128i depth = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
  _mm_storeu_ps(dst, _mm_cvtepi32_ps(_mm_unpacklo_epi16(depth, _mm_setzero_si128())));
  _mm_storeu_ps(dst + 4, _mm_cvtepi32_ps(_mm_unpackhi_epi16(depth, _mm_setzero_si128())));
}

// The minimum returns its second operand if that is NaN. The conversion turns NaN and values that are too
// small into the smallest integer, and the narrowing turns all negative integers into 0.
inline void convert_eight_pixels(const float* src, std::uint16_t* dst) {
  const __m128 largest = _mm_set1_ps(65535.0F);
  const __m128i low = _mm_cvttps_epi32(_mm_min_ps(largest, _mm_loadu_ps(src)));
  const __m128i high = _mm_cvttps_epi32(_mm_min_ps(largest, _mm_loadu_ps(src + 4)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_packus_epi32(low, high));
}

#endif

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_CONVERT_EIGHT_PIXELS_H
