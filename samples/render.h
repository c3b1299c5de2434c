/* What the scene looks like from a camera. */
#ifndef SAMPLES_RENDER_H
#define SAMPLES_RENDER_H

#include <cstdint>

#include <opencv2/core.hpp>

#include "camera.h"
#include "scene.h"

namespace samples {

/* The colour image (CV_8UC3, blue first), with the noise that `seed` gives. */
cv::Mat render_color(const Scene& scene, const Camera& camera, std::uint64_t seed);

/* The depth of every pixel's middle (CV_16U, millimetres), 0 where nothing is. */
cv::Mat render_depth(const Scene& scene, const Camera& camera);

}  // namespace samples

#endif
