// The conversion of predictions against an expectation that reads the bits of the float and so shares nothing
// with the conversion: no comparison, no clamping, no arithmetic of floats.
#ifndef ENHANCE_DEPTH_TESTS_LIBRARY_FLOAT_PATTERNS_H
#define ENHANCE_DEPTH_TESTS_LIBRARY_FLOAT_PATTERNS_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

#include "convert/depth_conversion.h"

namespace float_patterns {

inline std::uint16_t expected_depth(std::uint32_t bits) {
  const bool negative = (bits >> 31U) != 0;
  const int exponent = static_cast<int>((bits >> 23U) & 0xFFU) - 127;
  const std::uint32_t mantissa = bits & 0x7FFFFFU;
  const bool nan = exponent == 128 && mantissa != 0;
  if (negative || nan || exponent < 0) {
    return 0;
  }
  if (exponent > 15) {
    return 65535;
  }
  return static_cast<std::uint16_t>((mantissa | 0x800000U) >> static_cast<unsigned>(23 - exponent));
}

// Converts `count` patterns, `step` apart from `first` on, with the vector loop and with the scalar tail.
// Returns the first pattern that one of them gets wrong.
inline std::optional<std::uint32_t> first_wrong(std::uint32_t first, std::uint64_t count,
                                                std::uint32_t step) {
  constexpr std::size_t kBlock = 4096;  // whole iterations of the vector loop
  constexpr std::size_t kTail = 7;      // too few for one
  std::array<std::uint32_t, kBlock> bits;
  std::array<float, kBlock> values;
  std::array<std::uint16_t, kBlock> vector;
  std::array<std::uint16_t, kBlock> scalar;
  for (std::uint64_t done = 0; done < count; done += kBlock) {
    for (std::uint32_t& pattern : bits) {
      pattern = first;
      first += step;
    }
    std::memcpy(values.data(), bits.data(), sizeof values);
    enhance_depth::convert_pred_f32_to_u16_neon(values.data(), vector.data(), kBlock);
    for (std::size_t i = 0; i < kBlock; i += kTail) {
      enhance_depth::convert_pred_f32_to_u16_neon(&values[i], &scalar[i], std::min(kTail, kBlock - i));
    }
    for (std::size_t i = 0; i < kBlock; ++i) {
      const std::uint16_t expected = expected_depth(bits[i]);
      if (vector[i] != expected || scalar[i] != expected) {
        return bits[i];
      }
    }
  }
  return std::nullopt;
}

}  // namespace float_patterns

#endif  // ENHANCE_DEPTH_TESTS_LIBRARY_FLOAT_PATTERNS_H
