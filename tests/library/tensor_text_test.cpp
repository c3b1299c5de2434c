// Shapes and types as texts, and questions about shapes.
#include "engine/tensor_text.h"

#include <array>

#include "engine/tensor_shape.h"
#include "gtest/gtest.h"

namespace enhance_depth {
namespace {

TEST(TensorShape, IsPrintedCountedAndCompared) {
  struct Case {
    nvinfer1::Dims64 dims;
    const char* text;
    std::uint64_t volume;
    bool dynamic;
  };
  const Case kCases[] = {
      {{4, {1, 3, -1, -1}}, "(1, 3, -1, -1)", 0, true},
      {{4, {1, 3, 480, 640}}, "(1, 3, 480, 640)", 921600, false},
      {{0, {}}, "()", 1, false},
      {{-1, {-1}}, "()", 1, false},
      {{2, {7, 0}}, "(7, 0)", 0, false},
      {{1, {5, -1}}, "(5)", 5, false},  // values past the rank do not count
      {{3, {0, -7, 2}}, "(0, -7, 2)", 0, true},
      {{8, {1, 2, 3, 4, 5, 6, 7, 8}}, "(1, 2, 3, 4, 5, 6, 7, 8)", 40320, false},
      {{2, {4294967296, 2147483648}}, "(4294967296, 2147483648)", 1ULL << 63U, false},
  };
  for (const Case& example : kCases) {
    EXPECT_EQ(dims_to_string(example.dims), example.text);
    EXPECT_EQ(volume_from_dims(example.dims), example.volume) << example.text;
    EXPECT_EQ(dims_have_dynamic_dim(example.dims), example.dynamic) << example.text;
  }
  EXPECT_TRUE(dims_match({4, {1, 3, 8, 9}}, {1, 3, 8, 9}));
  EXPECT_FALSE(dims_match({4, {1, 3, 8, 9}}, {1, 3, 8, 10}));
  EXPECT_FALSE(dims_match({4, {1, 3, 8, 4294967296 + 9}}, {1, 3, 8, 9})) << "compared with 64 bits";
  EXPECT_FALSE(dims_match({5, {1, 3, 8, 9, 1}}, {1, 3, 8, 9}));
  EXPECT_TRUE(dims_match_3d({3, {8, 9, 3}}, {8, 9, 3}));
  EXPECT_FALSE(dims_match_3d({3, {8, 9, 3}}, {8, 8, 3}));
  EXPECT_FALSE(dims_match_3d({4, {8, 9, 3, 1}}, {8, 9, 3}));
}

TEST(TensorType, IsPrintedByName) {
  constexpr std::array kNames{"FLOAT", "HALF", "INT8", "INT32", "BOOL",
                              "UINT8", "FP8",  "BF16", "INT64", "UNKNOWN"};
  for (std::size_t i = 0; i < kNames.size(); ++i) {
    EXPECT_STREQ(dtype_to_string(static_cast<nvinfer1::DataType>(i)), kNames[i]);
  }
  EXPECT_STREQ(dtype_to_string(static_cast<nvinfer1::DataType>(-1)), "UNKNOWN");
}

}  // namespace
}  // namespace enhance_depth
