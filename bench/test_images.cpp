#include "test_images.h"

#include <limits>
#include <random>

namespace enhance_depth_bench {
namespace {

template <typename T, typename Distribution, typename Generator = std::mt19937>
std::vector<T> draw(std::size_t count, Distribution distribution) {
  Generator generator(1);
  std::vector<T> values(count);
  for (T& value : values) {
    value = static_cast<T>(distribution(generator));
  }
  return values;
}

// One of `choices` for each element.
template <typename T>
std::vector<T> draw_from(std::size_t count, const std::vector<T>& choices) {
  const std::vector<std::size_t> indices =
      draw<std::size_t>(count, std::uniform_int_distribution<std::size_t>(0, choices.size() - 1));
  std::vector<T> values(count);
  for (std::size_t i = 0; i < count; ++i) {
    values[i] = choices[indices[i]];
  }
  return values;
}

}  // namespace

const char* name(Values values) { return values == Values::kRandom ? "random" : "extreme"; }

std::vector<std::uint16_t> make_depth(std::size_t count, Values values) {
  if (values == Values::kExtreme) {
    return draw_from<std::uint16_t>(count, {0, 1, 32767, 32768, 65534, 65535});
  }
  return draw<std::uint16_t>(count, std::uniform_int_distribution<unsigned>(0, 65535));
}

std::vector<float> make_prediction(std::size_t count, Values values) {
  if (values == Values::kExtreme) {
    using Limits = std::numeric_limits<float>;
    return draw_from<float>(count, {0.0F, -0.0F, 0.7F, -3.0F, 65534.99F, 65535.0F, 70000.0F, 4294967296.0F,
                                    Limits::max(), Limits::lowest(), Limits::infinity(), -Limits::infinity(),
                                    Limits::quiet_NaN(), -Limits::quiet_NaN()});
  }
  return draw<float>(count, std::uniform_real_distribution<float>(0.0F, 65536.0F));
}

std::vector<std::uint8_t> make_color(std::size_t count) {
  return draw<std::uint8_t>(count, std::uniform_int_distribution<unsigned>(0, 255));
}

}  // namespace enhance_depth_bench
