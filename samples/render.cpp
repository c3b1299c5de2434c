#include "render.h"

#include <algorithm>

namespace samples {
namespace {

constexpr double kColorNoise = 1.5;  // standard deviation, of 255
constexpr double kAmbient = 0.4;

const cv::Vec3d kLamp(-0.6, -1.7, 1.2);

cv::Vec3d shade(const Scene& scene, const Ray& ray) {
  const std::optional<Hit> hit = scene.trace(ray);
  if (!hit) {
    return {0.1, 0.1, 0.1};
  }
  double light = kAmbient;
  const double facing = hit->normal.dot(cv::normalize(kLamp - hit->point));
  if (facing > 0.0 && !scene.is_hidden(hit->point, hit->normal, kLamp)) {
    light += (1.0 - kAmbient) * facing;
  }
  return light * hit->material->color_at(hit->place);
}

}  // namespace

cv::Mat render_color(const Scene& scene, const Camera& camera, std::uint64_t seed) {
  cv::Mat noise(Camera::kHeight, Camera::kWidth, CV_64FC3);
  cv::RNG(seed).fill(noise, cv::RNG::NORMAL, 0.0, kColorNoise);
  cv::Mat image(Camera::kHeight, Camera::kWidth, CV_8UC3);
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      cv::Vec3d color(0, 0, 0);
      for (const double v : {-0.25, 0.25}) {
        for (const double u : {-0.25, 0.25}) {
          color += 0.25 * shade(scene, camera.ray(x + u, y + v));
        }
      }
      const cv::Vec3d value = 255.0 * color + noise.at<cv::Vec3d>(y, x);
      image.at<cv::Vec3b>(y, x) = {cv::saturate_cast<std::uint8_t>(value[2]),
                                   cv::saturate_cast<std::uint8_t>(value[1]),
                                   cv::saturate_cast<std::uint8_t>(value[0])};
    }
  }
  return image;
}

cv::Mat render_depth(const Scene& scene, const Camera& camera) {
  cv::Mat image(Camera::kHeight, Camera::kWidth, CV_16U);
  for (int y = 0; y < image.rows; ++y) {
    for (int x = 0; x < image.cols; ++x) {
      const std::optional<Hit> hit = scene.trace(camera.ray(x, y));
      image.at<std::uint16_t>(y, x) =
          hit ? cv::saturate_cast<std::uint16_t>(1000.0 * camera.depth(hit->point)) : std::uint16_t{0};
    }
  }
  return image;
}

}  // namespace samples
