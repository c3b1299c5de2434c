// Images to measure on.
#ifndef ENHANCE_DEPTH_BENCH_TEST_IMAGES_H
#define ENHANCE_DEPTH_BENCH_TEST_IMAGES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace enhance_depth_bench {

struct ImageSize {
  int width;
  int height;
  std::size_t pixels() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
  std::string name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

inline constexpr ImageSize kImageSizes[] = {{320, 240}, {640, 480}, {1280, 800}, {1920, 1080}};

enum class Values {
  kRandom,   // uniform over the range of a depth pixel
  kExtreme,  // the ends of the range; as floats also values beyond it, infinities and NaN
};

const char* name(Values values);

// The same values on every call and in every run.
std::vector<std::uint16_t> make_depth(std::size_t count, Values values);
std::vector<float> make_prediction(std::size_t count, Values values);
std::vector<std::uint8_t> make_color(std::size_t count);

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_TEST_IMAGES_H
