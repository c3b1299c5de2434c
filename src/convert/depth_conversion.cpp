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
uint16x4_t clamp_and_truncate(float32x4_t values) {
  const float32x4_t clamped = vmaxq_f32(vminq_f32(values, vdupq_n_f32(65535.0F)), vdupq_n_f32(0.0F));
  return vmovn_u32(vcvtq_u32_f32(clamped));
}

std::uint16_t clamp_and_truncate(float value) {
  if (!(value > 0.0F)) {  // also NaN
    return 0;
  }
  return value >= 65535.0F ? std::uint16_t{65535} : static_cast<std::uint16_t>(value);
}

}  // namespace

void convert_depth_u16_to_f32_neon(const std::uint16_t* src, float* dst, std::size_t count) {
  std::size_t i = 0;
  for (; i + kPixelsPerIteration <= count; i += kPixelsPerIteration) {
    const uint16x8_t depth = vld1q_u16(src + i);
    vst1q_f32(dst + i, vcvtq_f32_u32(vmovl_u16(vget_low_u16(depth))));
    vst1q_f32(dst + i + 4, vcvtq_f32_u32(vmovl_u16(vget_high_u16(depth))));
  }
  for (; i < count; ++i) {
    dst[i] = static_cast<float>(src[i]);
  }
}

void convert_pred_f32_to_u16_neon(const float* src, std::uint16_t* dst, std::size_t count) {
  std::size_t i = 0;
  for (; i + kPixelsPerIteration <= count; i += kPixelsPerIteration) {
    const uint16x4_t low = clamp_and_truncate(vld1q_f32(src + i));
    const uint16x4_t high = clamp_and_truncate(vld1q_f32(src + i + 4));
    vst1q_u16(dst + i, vcombine_u16(low, high));
  }
  for (; i < count; ++i) {
    dst[i] = clamp_and_truncate(src[i]);
  }
}

}  // namespace enhance_depth
