// The vector conversions against an independent scalar expectation.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <optional>
#include <vector>

#include "convert/depth_conversion.h"
#include "gtest/gtest.h"
#include "library/float_patterns.h"

namespace enhance_depth {
namespace {

// An array in the middle of a larger one, `offset` elements further on, that notices what is written around
// it.
template <typename T>
class Guarded {
 public:
  Guarded(std::size_t count, std::size_t offset)
      : first_(kMargin + offset), storage_(first_ + count + kMargin, kGuard) {}
  T* data() { return storage_.data() + first_; }
  bool margins_intact() const {
    return std::all_of(storage_.begin(), storage_.begin() + static_cast<std::ptrdiff_t>(first_), is_guard) &&
           std::all_of(storage_.end() - kMargin, storage_.end(), is_guard);
  }

 private:
  static constexpr int kMargin = 16;
  static constexpr T kGuard = 77;
  static bool is_guard(T value) { return value == kGuard; }
  std::size_t first_;
  std::vector<T> storage_;
};

std::vector<std::uint16_t> to_depth(const std::vector<float>& values) {
  std::vector<std::uint16_t> depth(values.size());
  convert_pred_f32_to_u16_neon(values.data(), depth.data(), values.size());
  return depth;
}

TEST(DepthConversion, TurnsEveryDepthIntoTheSameFloatAndBack) {
  std::vector<std::uint16_t> depth(65536);
  std::iota(depth.begin(), depth.end(), std::uint16_t{0});
  std::vector<float> floats(depth.size());
  convert_depth_u16_to_f32_neon(depth.data(), floats.data(), depth.size());
  for (std::size_t i = 0; i < depth.size(); ++i) {
    ASSERT_EQ(floats[i], static_cast<float>(i));
  }
  EXPECT_EQ(to_depth(floats), depth);
}

TEST(DepthConversion, TreatsSpecialValuesAlikeInEveryLane) {
  using Limits = std::numeric_limits<float>;
  const std::vector<float> specials{Limits::quiet_NaN(),
                                    -Limits::quiet_NaN(),
                                    Limits::infinity(),
                                    -Limits::infinity(),
                                    -0.0F,
                                    -3.0F,
                                    0.7F,
                                    1234.9F,
                                    Limits::denorm_min(),
                                    65534.99F,
                                    65535.0F,
                                    65536.0F,
                                    4294967296.0F,
                                    Limits::max(),
                                    Limits::lowest()};
  for (const float special : specials) {
    for (std::size_t lane = 0; lane < 15; ++lane) {  // eight in a vector, seven in the tail
      std::vector<float> values(15, 3.5F);
      values[lane] = special;
      std::uint32_t bits = 0;
      std::memcpy(&bits, &special, sizeof bits);
      std::vector<std::uint16_t> expected(15, 3);
      expected[lane] = float_patterns::expected_depth(bits);
      ASSERT_EQ(to_depth(values), expected) << special << " in lane " << lane;
    }
  }
}

// scripts/check-conversions does this for all floats.
TEST(DepthConversion, AgreesWithTheBitsOfTheFloat) {
  constexpr std::uint32_t kStep = 1021;  // a prime: every exponent, and all kinds of mantissas
  EXPECT_EQ(float_patterns::first_wrong(0, (std::uint64_t{1} << 32U) / kStep, kStep), std::nullopt);
  // All of the neighbours of whole numbers at the end of the range.
  constexpr std::uint32_t kFirst = 0x477FFE00;  // 65534
  EXPECT_EQ(float_patterns::first_wrong(kFirst, 4096, 1), std::nullopt);
}

TEST(DepthConversion, WritesExactlyTheCountAtAnyAlignment) {
  for (std::size_t count = 0; count <= 40; ++count) {
    for (std::size_t offset = 0; offset < 8; ++offset) {
      Guarded<std::uint16_t> depth(count, offset);
      Guarded<float> floats(count, 7 - offset);
      std::iota(depth.data(), depth.data() + count, std::uint16_t{65500});
      convert_depth_u16_to_f32_neon(depth.data(), floats.data(), count);
      ASSERT_TRUE(floats.margins_intact()) << count << " from " << offset;
      ASSERT_TRUE(std::equal(depth.data(), depth.data() + count, floats.data()))
          << count << " from " << offset;

      Guarded<std::uint16_t> back(count, offset);
      convert_pred_f32_to_u16_neon(floats.data(), back.data(), count);
      ASSERT_TRUE(back.margins_intact()) << count << " from " << offset;
      ASSERT_TRUE(std::equal(depth.data(), depth.data() + count, back.data())) << count << " from " << offset;
    }
  }
}

}  // namespace
}  // namespace enhance_depth
