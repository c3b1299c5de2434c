#include "scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace samples {
namespace {

// Surfaces closer than this to a ray's start are the one that it starts from.
constexpr double kNearest = 1e-6;

/* A number in 0..1 that looks random and depends on the two integers only. */
double hash(std::int64_t x, std::int64_t y) {
  auto h = static_cast<std::uint64_t>(x) * 0x9E3779B97F4A7C15U ^
           static_cast<std::uint64_t>(y) * 0xC2B2AE3D27D4EB4FU;
  h = (h ^ (h >> 29)) * 0xBF58476D1CE4E5B9U;
  h ^= h >> 32;
  return static_cast<double>(h & 0xFFFFFFU) / static_cast<double>(0xFFFFFFU);
}

std::int64_t cell(double position, double period) {
  return static_cast<std::int64_t>(std::floor(position / period));
}

/* The share of `other_color` at a place. */
double pattern_value(Pattern pattern, double period, const cv::Vec2d& place) {
  const std::int64_t u = cell(place[0], period);
  const std::int64_t v = cell(place[1], period);
  switch (pattern) {
    case Pattern::kPlain:
      return 0.0;
    case Pattern::kChecks:
      return (u + v) % 2 == 0 ? 0.0 : 1.0;
    case Pattern::kStripes:
      return u % 2 == 0 ? 0.0 : 1.0;
    case Pattern::kPlanks:  // boards of random shade, with dark joints and a fine grain
      return place[0] - period * static_cast<double>(u) < 0.008
                 ? 1.0
                 : 0.35 * hash(u, cell(place[1], 9.0 * period)) +
                       0.15 * hash(cell(place[0], 0.006), cell(place[1], 0.12));
    case Pattern::kSpeckles:
      return hash(u, v) < 0.2 ? hash(v, u) : 0.0;
  }
  return 0.0;
}

std::optional<Hit> intersect(const Ray& ray, const Ball& ball) {
  const cv::Vec3d from_center = ray.origin - ball.center;
  const double half_b = from_center.dot(ray.direction);
  const double root = half_b * half_b - from_center.dot(from_center) + ball.radius * ball.radius;
  if (root < 0.0) {
    return std::nullopt;
  }
  const double distance = -half_b - std::sqrt(root);
  if (distance < kNearest) {
    return std::nullopt;
  }
  const cv::Vec3d point = ray.origin + distance * ray.direction;
  const cv::Vec3d normal = (point - ball.center) / ball.radius;
  const cv::Vec2d place(ball.radius * std::atan2(normal[0], normal[2]),
                        ball.radius * std::asin(std::clamp(normal[1], -1.0, 1.0)));
  return Hit{distance, point, normal, place, &ball.material};
}

/* The ray enters a box where it has passed the last of the three slabs' near sides. */
std::optional<Hit> intersect(const Ray& ray, const Box& box, const cv::Matx33d& axes) {
  const cv::Vec3d origin = axes * (ray.origin - box.center);
  const cv::Vec3d direction = axes * ray.direction;
  double enter = kNearest;
  double leave = HUGE_VAL;
  int side = -1;
  for (int i = 0; i < 3; ++i) {
    const double to_low = (-box.half_size[i] - origin[i]) / direction[i];
    const double to_high = (box.half_size[i] - origin[i]) / direction[i];
    if (std::min(to_low, to_high) > enter) {
      enter = std::min(to_low, to_high);
      side = i;
    }
    leave = std::min(leave, std::max(to_low, to_high));
  }
  if (side < 0 || enter > leave) {
    return std::nullopt;
  }
  const cv::Vec3d local = origin + enter * direction;
  cv::Vec3d normal(0, 0, 0);
  normal[side] = direction[side] > 0.0 ? -1.0 : 1.0;
  const cv::Vec2d place(side == 0 ? local[2] : local[0], side == 1 ? local[2] : local[1]);
  return Hit{enter, ray.origin + enter * ray.direction, axes.t() * normal, place, &box.material};
}

}  // namespace

cv::Vec3d Material::color_at(const cv::Vec2d& place) const {
  const double share = pattern_value(pattern, period, place);
  return (1.0 - share) * color + share * other_color;
}

void Scene::add(const Box& box) {
  const double c = std::cos(box.turn);
  const double s = std::sin(box.turn);
  const double d = std::cos(box.tip);
  const double t = std::sin(box.tip);
  const cv::Matx33d turn(c, 0, -s, 0, 1, 0, s, 0, c);
  const cv::Matx33d tip(1, 0, 0, 0, d, -t, 0, t, d);
  boxes_.push_back({box, tip * turn});
}

std::optional<Hit> Scene::trace(const Ray& ray) const {
  std::optional<Hit> nearest;
  const auto consider = [&](const std::optional<Hit>& hit) {
    if (hit && (!nearest || hit->distance < nearest->distance)) {
      nearest = hit;
    }
  };
  for (const Ball& ball : balls_) {
    consider(intersect(ray, ball));
  }
  for (const PlacedBox& placed : boxes_) {
    consider(intersect(ray, placed.box, placed.axes));
  }
  return nearest;
}

bool Scene::is_hidden(const cv::Vec3d& point, const cv::Vec3d& normal, const cv::Vec3d& from) const {
  const cv::Vec3d start = point + 1e-4 * normal;
  const double distance = cv::norm(from - start);
  const std::optional<Hit> hit = trace({start, (from - start) / distance});
  return hit && hit->distance < distance;
}

Scene make_room() {
  const Material floor{{0.62, 0.45, 0.28}, {0.30, 0.20, 0.12}, Pattern::kPlanks, 0.14, 0.45};
  const Material back_wall{{0.78, 0.76, 0.70}, {0.70, 0.68, 0.63}, Pattern::kSpeckles, 0.03, 0.6};
  const Material side_wall{{0.55, 0.66, 0.70}, {0.47, 0.58, 0.63}, Pattern::kStripes, 0.12, 0.55};
  const Material picture{{0.85, 0.30, 0.20}, {0.15, 0.25, 0.50}, Pattern::kChecks, 0.11, 0.5};
  const Material crate{{0.80, 0.64, 0.36}, {0.64, 0.48, 0.24}, Pattern::kPlanks, 0.09, 0.55};
  const Material beach_ball{{0.95, 0.85, 0.20}, {0.15, 0.40, 0.75}, Pattern::kStripes, 0.16, 0.6};
  const Material black_rubber{{0.06, 0.06, 0.07}, {0.12, 0.12, 0.13}, Pattern::kSpeckles, 0.02, 0.06};
  const Material board{{0.35, 0.60, 0.38}, {0.85, 0.88, 0.80}, Pattern::kChecks, 0.08, 0.5};
  const Material metal{{0.40, 0.42, 0.45}, {0, 0, 0}, Pattern::kPlain, 1.0, 0.35};
  const Material top{{0.72, 0.55, 0.38}, {0.40, 0.28, 0.18}, Pattern::kPlanks, 0.10, 0.5};
  const Material mug{{0.75, 0.15, 0.20}, {0.95, 0.95, 0.95}, Pattern::kStripes, 0.05, 0.6};

  Scene scene;
  scene.add(Box{{0.0, 1.15, 2.5}, {4.0, 0.05, 3.0}, 0.0, 0.0, floor});
  scene.add(Box{{0.0, -0.4, 3.75}, {4.0, 1.6, 0.05}, 0.0, 0.0, back_wall});
  scene.add(Box{{-1.75, -0.4, 2.5}, {0.05, 1.6, 3.0}, 0.0, 0.0, side_wall});
  scene.add(Box{{-0.55, -0.55, 3.68}, {0.42, 0.30, 0.02}, 0.0, 0.0, picture});
  scene.add(Box{{-1.0, 0.78, 2.75}, {0.32, 0.32, 0.32}, 0.5, 0.0, crate});
  scene.add(Ball{{-1.05, 0.26, 2.7}, 0.20, black_rubber});
  scene.add(Ball{{-0.15, 0.80, 2.15}, 0.30, beach_ball});
  scene.add(Box{{1.55, 0.45, 3.05}, {0.36, 0.75, 0.015}, -0.35, 0.25, board});  // leans against the wall
  // A table with thin legs, and a mug on it.
  scene.add(Box{{0.80, 0.35, 2.1}, {0.48, 0.02, 0.30}, 0.25, 0.0, top});
  for (const auto& [x, z] :
       {std::pair(-0.42, -0.25), std::pair(0.42, -0.25), std::pair(-0.42, 0.25), std::pair(0.42, 0.25)}) {
    const double c = std::cos(0.25);
    const double s = std::sin(0.25);
    scene.add(Box{{0.80 + c * x + s * z, 0.73, 2.1 - s * x + c * z}, {0.022, 0.37, 0.022}, 0.25, 0.0, metal});
  }
  scene.add(Box{{0.70, 0.26, 2.0}, {0.045, 0.07, 0.045}, 0.6, 0.0, mug});
  scene.add(Ball{{1.02, 0.22, 2.15}, 0.11, black_rubber});
  return scene;
}

}  // namespace samples
