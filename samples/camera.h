/* A pinhole camera of 640 x 480 pixels. */
#ifndef SAMPLES_CAMERA_H
#define SAMPLES_CAMERA_H

#include <opencv2/core.hpp>

#include "scene.h"

namespace samples {

struct Camera {
  static constexpr int kHeight = 480;
  static constexpr int kWidth = 640;
  static constexpr double kFocalLength = 525.0;  // pixels

  cv::Vec3d position;
  cv::Vec3d right;  // of length 1, like the next two
  cv::Vec3d down;
  cv::Vec3d forward;

  /* A camera that looks at a point and is level. */
  static Camera looking_at(const cv::Vec3d& position, const cv::Vec3d& target) {
    const cv::Vec3d forward = cv::normalize(target - position);
    const cv::Vec3d right = cv::normalize(cv::Vec3d(0, 1, 0).cross(forward));
    return {position, right, forward.cross(right), forward};
  }

  /* The ray through a place of the image; (0, 0) is the middle of the first pixel. */
  Ray ray(double x, double y) const {
    const double u = (x - 0.5 * (kWidth - 1)) / kFocalLength;
    const double v = (y - 0.5 * (kHeight - 1)) / kFocalLength;
    return {position, cv::normalize(u * right + v * down + forward)};
  }

  /* The depth of a point: its distance along the direction in which the camera looks. */
  double depth(const cv::Vec3d& point) const { return (point - position).dot(forward); }
};

}  // namespace samples

#endif
