// Written once with NEON intrinsics. On other processors SIMDe supplies them, so that the same vector loop
// runs under a PC's sanitizers.
#include "convert/depth_conversion.h"

#if defined(__ARM_NEON)
#include <arm_neon.h>
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/arm/neon.h>
#endif

namespace enhance_depth {
namespace {

constexpr std::size_t kPixelsPerIteration = 8;

// Four floats to 0..65535. vminq/vmaxq keep a NaN, which vcvtq then turns into 0.
uint32x4_t clamp_and_truncate(float32x4_t values) {
  return vcvtq_u32_f32(vmaxq_f32(vminq_f32(values, vdupq_n_f32(65535.0F)), vdupq_n_f32(0.0F)));
}

std::uint16_t clamp_and_truncate(float value) {
  if (!(value > 0.0F)) {  // also NaN
    return 0;
  }
  return value >= 65535.0F ? std::uint16_t{65535} : static_cast<std::uint16_t>(value);
}

}  // namespace

// The loops run on pointers and compare for equality: GCC and Clang then spend the fewest instructions on the
// loop itself (scripts/bench-aarch64 counts them).

void convert_depth_u16_to_f32_neon(const std::uint16_t* src, float* dst, std::size_t count) {
  const std::uint16_t* const end = src + count;
  const std::uint16_t* const vector_end = end - count % kPixelsPerIteration;
  for (; src != vector_end; src += kPixelsPerIteration, dst += kPixelsPerIteration) {
    const uint16x8_t depth = vld1q_u16(src);
    vst1q_f32(dst, vcvtq_f32_u32(vmovl_u16(vget_low_u16(depth))));
    vst1q_f32(dst + 4, vcvtq_f32_u32(vmovl_u16(vget_high_u16(depth))));
  }
  for (; src != end; ++src, ++dst) {
    *dst = static_cast<float>(*src);
  }
}

void convert_pred_f32_to_u16_neon(const float* src, std::uint16_t* dst, std::size_t count) {
  const float* const end = src + count;
  const float* const vector_end = end - count % kPixelsPerIteration;
  for (; src != vector_end; src += kPixelsPerIteration, dst += kPixelsPerIteration) {
    const uint32x4_t low = clamp_and_truncate(vld1q_f32(src));
    const uint32x4_t high = clamp_and_truncate(vld1q_f32(src + 4));
    vst1q_u16(dst, vcombine_u16(vmovn_u32(low), vmovn_u32(high)));
  }
  for (; src != end; ++src, ++dst) {
    *dst = clamp_and_truncate(*src);
  }
}

}  // namespace enhance_depth
