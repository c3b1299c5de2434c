// Engine descriptions for the emulated board.
#ifndef ENHANCE_DEPTH_TESTS_SUPPORT_TEST_ENGINE_H
#define ENHANCE_DEPTH_TESTS_SUPPORT_TEST_ENGINE_H

#include <cstdint>
#include <string>
#include <vector>

namespace test_support {

using Shape = std::vector<std::int64_t>;

struct TestTensor {
  std::string name;
  std::string direction;
  std::string type;
  Shape shape;
};

struct TestRange {
  Shape min;
  Shape max;
};

struct TestProfile {
  TestRange rgb;
  TestRange dep;
};

// Planar images from 16 x 16 to width x height.
TestProfile planar_profile(std::int64_t height, std::int64_t width);

TestTensor rgb_tensor();
TestTensor dep_tensor();
TestTensor pred_tensor();
TestTensor conf_tensor();

// An engine that fits, to be changed by the test. Its network returns the depth as it is; profile 0 admits up
// to 640 x 480, profile 1 up to 1280 x 960.
struct TestEngine {
  std::vector<TestTensor> tensors{rgb_tensor(), dep_tensor(), pred_tensor(), conf_tensor()};
  std::vector<TestProfile> profiles{planar_profile(480, 640), planar_profile(960, 1280)};
  std::string network = "scale-offset";
  std::string parameters = "scale = 1";

  std::string text() const;
};

// Without a confidence output.
TestEngine three_tensor_engine();

// With an interleaved colour input of three dimensions.
TestEngine interleaved_engine();

// With outputs of fixed shape: 7 x 9 for the prediction and 3 x 5 for the confidence, so that all buffers
// differ.
TestEngine small_output_engine();

}  // namespace test_support

#endif  // ENHANCE_DEPTH_TESTS_SUPPORT_TEST_ENGINE_H
