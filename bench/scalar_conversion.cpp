// Compiled separately, so that the compiler knows as much as it does about the library's loops: the types,
// but not the sizes or the values.
#include "scalar_conversion.h"

namespace enhance_depth_bench {

void scalar_depth_to_float(const std::uint16_t* src, float* dst, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    dst[i] = static_cast<float>(src[i]);
  }
}

void scalar_prediction_to_depth(const float* src, std::uint16_t* dst, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const float value = src[i];
    if (!(value > 0.0F)) {  // also NaN
      dst[i] = 0;
    } else {
      dst[i] = value >= 65535.0F ? std::uint16_t{65535} : static_cast<std::uint16_t>(value);
    }
  }
}

}  // namespace enhance_depth_bench
