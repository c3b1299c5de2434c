// The sample maker's depth sensor has the failings that it is said to have.
#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "camera.h"
#include "depth_sensor.h"
#include "render.h"
#include "scene.h"

namespace samples {
namespace {

const Material kBright{{0.5, 0.5, 0.5}, {0, 0, 0}, Pattern::kPlain, 1.0, 0.6};
const Material kBlack{{0.0, 0.0, 0.0}, {0, 0, 0}, Pattern::kPlain, 1.0, 0.001};

Camera straight_ahead() { return Camera::looking_at({0, 0, 0}, {0, 0, 1}); }

Box wall(double depth, const Material& material = kBright) {
  return {{0, 0, depth + 0.05}, {20, 20, 0.05}, 0.0, 0.0, material};
}

struct Deviation {
  double mean;
  double standard;
};

Deviation deviation_at(double depth) {
  Scene scene;
  scene.add(wall(depth));
  cv::Scalar mean;
  cv::Scalar standard;
  cv::meanStdDev(measure_depth(scene, straight_ahead(), 1), mean, standard);
  return {mean[0] - 1000.0 * depth, standard[0]};
}

TEST(SampleScene, TrueDepthIsAlongTheViewNotAlongTheRay) {
  Scene scene;
  scene.add(wall(2.0));
  const cv::Mat depth = render_depth(scene, straight_ahead());
  EXPECT_EQ(cv::countNonZero(depth != 2000), 0);
}

TEST(SampleScene, NoiseGrowsWithTheSquareOfTheDistance) {
  const Deviation near = deviation_at(1.5);
  const Deviation far = deviation_at(3.0);
  EXPECT_NEAR(far.standard / near.standard, 4.0, 0.5);
  EXPECT_LT(std::abs(far.mean), 0.1 * far.standard);
}

TEST(SampleScene, DepthComesInStepsOfTheDisparity) {
  Scene scene;
  scene.add(wall(3.0));
  const cv::Mat depth = measure_depth(scene, straight_ahead(), 1);
  for (int x = 0; x < depth.cols; ++x) {
    const double disparity = Camera::kFocalLength * 0.075 / (0.001 * depth.at<std::uint16_t>(240, x));
    ASSERT_NEAR(8.0 * disparity, std::round(8.0 * disparity), 0.03);
  }
}

TEST(SampleScene, TheShadowLiesOnTheSideAwayFromTheProjector) {
  Scene scene;
  scene.add(wall(3.0));
  scene.add(Box{{0, 0, 1.5}, {0.2, 0.2, 0.01}, 0.0, 0.0, kBright});
  const cv::Mat measured = measure_depth(scene, straight_ahead(), 1);
  const cv::Mat truth = render_depth(scene, straight_ahead());
  int left = 0;
  int right = 0;
  for (int x = 0; x < measured.cols; ++x) {
    const bool hole = measured.at<std::uint16_t>(240, x) == 0 && truth.at<std::uint16_t>(240, x) == 3000;
    (x < measured.cols / 2 ? left : right) += hole ? 1 : 0;
  }
  EXPECT_NEAR(left, Camera::kFocalLength * 0.075 * (1.0 / 1.49 - 1.0 / 3.0), 2.0);
  EXPECT_LE(right, 1);
}

TEST(SampleScene, DarkAndGrazedSurfacesHaveNoDepth) {
  Scene dark;
  dark.add(wall(2.0, kBlack));
  EXPECT_EQ(cv::countNonZero(measure_depth(dark, straight_ahead(), 1)), 0);

  Scene floor;  // 0.3 m below the camera: the far part is grazed
  floor.add(Box{{0, 0.35, 0}, {20, 0.05, 20}, 0.0, 0.0, kBright});
  const cv::Mat measured = measure_depth(floor, straight_ahead(), 1);
  EXPECT_GT(cv::countNonZero(measured.row(479)), 600);
  EXPECT_EQ(cv::countNonZero(measured.row(275)), 0);
  EXPECT_GT(cv::countNonZero(render_depth(floor, straight_ahead()).row(275)), 600);
}

TEST(SampleScene, OneSeedGivesOnePictureAndTwoGiveTwo) {
  const Scene room = make_room();
  const Camera camera = straight_ahead();
  const cv::Mat first = measure_depth(room, camera, 1);
  EXPECT_EQ(cv::countNonZero(first != measure_depth(room, camera, 1)), 0);
  EXPECT_GT(cv::countNonZero(first != measure_depth(room, camera, 2)), 100000);
}

}  // namespace
}  // namespace samples
