// The engine description that the tests of the emulated board vary.
#ifndef ENHANCE_DEPTH_TESTS_EMULATED_ENGINE_H
#define ENHANCE_DEPTH_TESTS_EMULATED_ENGINE_H

#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace emulated_board_tests {

inline constexpr std::string_view kEngine = R"(format = "enhance-depth-emulated-engine"
version = 1
network = "rgb-sum"
[[tensor]]
name = "rgb"
direction = "input"
type = "uint8"
shape = [1, 3, -1, -1]
[[tensor]]
name = "dep"
direction = "input"
type = "float"
shape = [1, 1, -1, -1]
[[tensor]]
name = "pred"
direction = "output"
type = "float"
shape = [1, 1, -1, -1]
[[tensor]]
name = "confidence_output"
direction = "output"
type = "float"
shape = [-1, -1]
[[profile]]
rgb = { min = [1, 3, 2, 2], opt = [1, 3, 4, 4], max = [1, 3, 8, 8] }
dep = { min = [1, 1, 2, 2], opt = [1, 1, 4, 4], max = [1, 1, 8, 8] }
[[profile]]
rgb = { min = [3], opt = [4], max = [5] }
)";

// The engine with one piece of its text replaced by another.
inline std::string engine_with(std::string_view piece, std::string_view replacement) {
  std::string text(kEngine);
  const std::size_t position = text.find(piece);
  EXPECT_NE(position, std::string::npos) << piece;
  return text.replace(position, piece.size(), replacement);
}

}  // namespace emulated_board_tests

#endif  // ENHANCE_DEPTH_TESTS_EMULATED_ENGINE_H
