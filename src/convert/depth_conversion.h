// Conversions between 16-bit depth pixels and the network's 32-bit floats, without a change of unit.
#ifndef ENHANCE_DEPTH_CONVERT_DEPTH_CONVERSION_H
#define ENHANCE_DEPTH_CONVERT_DEPTH_CONVERSION_H

#include <cstddef>
#include <cstdint>

namespace enhance_depth {

// dst[i] = src[i], exactly. Both hold at least `count` elements and do not overlap.
void convert_depth_u16_to_f32_neon(const std::uint16_t* src, float* dst, std::size_t count);

// dst[i] = src[i] clamped to 0..65535 and truncated toward zero; NaN becomes 0. Both hold at least `count`
// elements and do not overlap.
void convert_pred_f32_to_u16_neon(const float* src, std::uint16_t* dst, std::size_t count);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_CONVERT_DEPTH_CONVERSION_H
