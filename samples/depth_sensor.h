/*
 * A depth camera that projects a pattern of infrared light and finds it again in its image: what it measures
 * is the pattern's shift (the disparity) between projector and camera.
 *
 *  - What the projector does not reach, because something stands in front, has no depth: a shadow beside
 * every object, as wide as the object stands off.
 *  - The disparity is noisy, and known in steps of 1/8 pixel only. Depth is inversely proportional to it, so
 * noise and steps grow with the square of the distance.
 *  - Dark surfaces, and surfaces that the light only grazes, return too little of it and have no depth.
 *  - The pattern is found by comparing small patches, which leaves objects with ragged borders.
 */
#ifndef SAMPLES_DEPTH_SENSOR_H
#define SAMPLES_DEPTH_SENSOR_H

#include <cstdint>

#include <opencv2/core.hpp>

#include "camera.h"
#include "scene.h"

namespace samples {

/* The depth image (CV_16U, millimetres, 0 where there is none) with the noise that `seed` gives. */
cv::Mat measure_depth(const Scene& scene, const Camera& camera, std::uint64_t seed);

}  // namespace samples

#endif
