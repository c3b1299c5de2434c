/*
 * A small world of boxes and balls, and rays through it. Lengths in metres; x points right, y down, z away.
 */
#ifndef SAMPLES_SCENE_H
#define SAMPLES_SCENE_H

#include <optional>
#include <vector>

#include <opencv2/core.hpp>

namespace samples {

enum class Pattern { kPlain, kChecks, kStripes, kPlanks, kSpeckles };

/* What a surface looks like to the colour camera and to the infrared camera of the depth sensor. */
struct Material {
  cv::Vec3d color;        // red, green, blue in 0..1
  cv::Vec3d other_color;  // of the pattern's other half
  Pattern pattern = Pattern::kPlain;
  double period = 0.1;    // of the pattern
  double infrared = 0.5;  // share of the infrared light that comes back

  /* The colour at a place of the surface, given in metres along it. */
  cv::Vec3d color_at(const cv::Vec2d& place) const;
};

struct Ball {
  cv::Vec3d center;
  double radius;
  Material material;
};

/* A box that stands upright and is turned about the vertical, then tipped backwards. */
struct Box {
  cv::Vec3d center;
  cv::Vec3d half_size;
  double turn;  // radians
  double tip;   // radians
  Material material;
};

struct Ray {
  cv::Vec3d origin;
  cv::Vec3d direction;  // of length 1
};

struct Hit {
  double distance;
  cv::Vec3d point;
  cv::Vec3d normal;  // of length 1, towards the ray's origin
  cv::Vec2d place;   // on the surface, for its pattern
  const Material* material;
};

class Scene {
 public:
  void add(const Ball& ball) { balls_.push_back(ball); }
  void add(const Box& box);

  /* The first surface that the ray meets; its material lives in the scene. */
  std::optional<Hit> trace(const Ray& ray) const;

  /* Whether a surface lies between a point on a surface, with its normal, and another point. */
  bool is_hidden(const cv::Vec3d& point, const cv::Vec3d& normal, const cv::Vec3d& from) const;

 private:
  struct PlacedBox {
    Box box;
    cv::Matx33d axes;  // world directions to the box's own
  };

  std::vector<Ball> balls_;
  std::vector<PlacedBox> boxes_;
};

/* The corner of a room with things in it: textured and plain, thin, slanted, dark. */
Scene make_room();

}  // namespace samples

#endif
