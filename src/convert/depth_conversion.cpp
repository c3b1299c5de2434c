#include "convert/depth_conversion.h"

#include "convert/eight_pixels.h"

namespace enhance_depth {
namespace {

constexpr std::size_t kPixelsPerIteration = 8;

float convert_pixel(std::uint16_t value) { return value; }

std::uint16_t convert_pixel(float value) {
  if (!(value > 0.0F)) {  // also NaN
    return 0;
  }
  return value >= 65535.0F ? std::uint16_t{65535} : static_cast<std::uint16_t>(value);
}

// Loops over pointers and compares them for equality: GCC and Clang then need the fewest instructions for the
// loop itself (scripts/bench-aarch64 counts them).
template <typename Source, typename Destination>
void convert(const Source* src, Destination* dst, std::size_t count) {
  const Source* const end = src + count;
  const Source* const vector_end = end - count % kPixelsPerIteration;
  for (; src != vector_end; src += kPixelsPerIteration, dst += kPixelsPerIteration) {
    convert_eight_pixels(src, dst);
  }
  for (; src != end; ++src, ++dst) {
    *dst = convert_pixel(*src);
  }
}

}  // namespace

void convert_depth_u16_to_f32_neon(const std::uint16_t* src, float* dst, std::size_t count) {
  convert(src, dst, count);
}

void convert_pred_f32_to_u16_neon(const float* src, std::uint16_t* dst, std::size_t count) {
  convert(src, dst, count);
}

}  // namespace enhance_depth
