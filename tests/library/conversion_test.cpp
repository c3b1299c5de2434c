// The vector conversions against an independent scalar expectation.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "convert/depth_conversion.h"
#include "gtest/gtest.h"

namespace enhance_depth {
namespace {

std::uint16_t expected_depth(float value) {
  if (std::isnan(value) || value <= 0.0F) return 0;
  const double whole = std::trunc(static_cast<double>(value));
  return whole >= 65535.0 ? std::uint16_t{65535} : static_cast<std::uint16_t>(whole);
}

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
      std::vector<std::uint16_t> expected(15, 3);
      expected[lane] = expected_depth(special);
      ASSERT_EQ(to_depth(values), expected) << special << " in lane " << lane;
    }
  }
}

TEST(DepthConversion, AgreesWithTheScalarRuleOnAnyBits) {
  std::vector<float> values;
  for (int whole = 0; whole <= 65537; ++whole) {
    const auto value = static_cast<float>(whole);
    values.insert(values.end(),
                  {value, std::nextafter(value, -1.0F), std::nextafter(value, 70000.0F), value + 0.5F});
  }
  std::minstd_rand random(7);
  for (int i = 0; i < 400000; ++i) {
    const auto bits = static_cast<std::uint32_t>((random() << 8U) ^ random());
    float value = 0;
    std::memcpy(&value, &bits, sizeof value);
    values.push_back(value);
  }
  const std::vector<std::uint16_t> converted = to_depth(values);
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(converted[i], expected_depth(values[i])) << values[i];
  }
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
