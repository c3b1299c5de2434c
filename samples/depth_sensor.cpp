#include "depth_sensor.h"

#include <cmath>

#include <opencv2/imgproc.hpp>

namespace samples {
namespace {

constexpr double kBaseline = 0.075;       // metres from the camera to the projector on its right
constexpr double kDisparitySteps = 8.0;   // per pixel
constexpr double kDisparityNoise = 0.07;  // standard deviation in pixels
constexpr double kRaggedness = 0.8;       // pixels
constexpr double kNearest = 0.4;          // metres
constexpr double kFarthest = 8.0;
constexpr double kLeastSignal = 0.0045;    // share of the light that comes back from 1 m, facing, is 1
constexpr double kSignalVariation = 0.35;  // standard deviation of its logarithm

/* Noise of standard deviation 1 that varies slowly, as patches of 3 x 3 pixels share what they saw. */
cv::Mat patch_noise(cv::RNG& random) {
  cv::Mat noise(Camera::kHeight, Camera::kWidth, CV_64F);
  random.fill(noise, cv::RNG::NORMAL, 0.0, 3.0);
  cv::blur(noise, noise, {3, 3});
  return noise;
}

cv::Mat uniform_noise(cv::RNG& random) {
  cv::Mat noise(Camera::kHeight, Camera::kWidth, CV_64F);
  random.fill(noise, cv::RNG::UNIFORM, -1.0, 1.0);
  return noise;
}

/* The share of the projector's light that comes back from a surface, 0 in the shadow of another one. A
 * surface at an angle is lit less and sends less of it back: hence the square. */
double returned_light(const Scene& scene, const Hit& hit, const cv::Vec3d& projector) {
  const cv::Vec3d to_projector = projector - hit.point;
  const double distance = cv::norm(to_projector);
  const double facing = hit.normal.dot(to_projector) / distance;
  if (facing <= 0.0 || scene.is_hidden(hit.point, hit.normal, projector)) {
    return 0.0;
  }
  return hit.material->infrared * facing * facing / (distance * distance);
}

double quantised_depth(double depth, double disparity_noise) {
  const double disparity = Camera::kFocalLength * kBaseline / depth + disparity_noise;
  return Camera::kFocalLength * kBaseline * kDisparitySteps / std::round(disparity * kDisparitySteps);
}

}  // namespace

cv::Mat measure_depth(const Scene& scene, const Camera& camera, std::uint64_t seed) {
  cv::RNG random(seed);
  const cv::Mat disparity_noise = kDisparityNoise * patch_noise(random);
  const cv::Mat signal_noise = kSignalVariation * patch_noise(random);
  const cv::Mat shift_x = kRaggedness * uniform_noise(random);
  const cv::Mat shift_y = kRaggedness * uniform_noise(random);
  const cv::Vec3d projector = camera.position + kBaseline * camera.right;

  cv::Mat image = cv::Mat::zeros(Camera::kHeight, Camera::kWidth, CV_16U);
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      const std::optional<Hit> hit =
          scene.trace(camera.ray(x + shift_x.at<double>(y, x), y + shift_y.at<double>(y, x)));
      if (!hit ||
          returned_light(scene, *hit, projector) * std::exp(signal_noise.at<double>(y, x)) < kLeastSignal) {
        continue;
      }
      const double depth = quantised_depth(camera.depth(hit->point), disparity_noise.at<double>(y, x));
      if (depth >= kNearest && depth <= kFarthest) {
        image.at<std::uint16_t>(y, x) = cv::saturate_cast<std::uint16_t>(1000.0 * depth);
      }
    }
  }
  return image;
}

}  // namespace samples
