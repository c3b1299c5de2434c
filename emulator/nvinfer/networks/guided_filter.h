// The reference network: a guided filter for depth images.
//
// From K. He, J. Sun, X. Tang, "Guided Image Filtering", IEEE TPAMI 35(6), 2013. The luminance I of the
// colour image guides, the depth d is filtered. In every window k, d is approximated by the line a_k I + b_k,
//
//     a_k = cov_k(I, d) / (var_k(I) + epsilon),   b_k = mean_k(d) - a_k mean_k(I),
//
// and a pixel gets the mean of the predictions of the windows around it. Four things are added for depth
// images:
//
//  1. Only valid pixels count. Every mean, variance and covariance is taken over the n_k pixels of window k
//     with d > 0; windows are clipped to the image, which leaves window k with A_k pixels.
//
//  2. Windows that fit well count more: in the mean, window k has the weight w_k.
//
//         r_k = var_k(d) - 2 a_k cov_k(I, d) + a_k^2 var_k(I)               (the mean squared residual)
//         f_k = 1 / (1 + r_k / ((fit_tolerance mean_k(d))^2 + 1))           (the fit, 0 to 1)
//         w_k = n_k / A_k (f_k^4 + 1e-4)
//
//     A window across an object's border fits badly, so each side is computed from windows on that side. The
//     1 in f_k is the square of one unit of depth.
//
//  3. Holes are filled from the farther surface, since the shadow of a structured-light or stereo camera
//     falls on the background. For a pixel that is not valid, window k has the weight
//
//         w_k / (1 + (max(F_k - mean_k(d), 0) / (surface_tolerance F_k))^4),
//
//     where F_k is the greatest mean_j(d) of the fillable windows j at most 2 radius away from k. A pixel and
//     the window around it are fillable if n > 0 and n >= fill_percent / 100 A. A pixel that is neither valid
//     nor fillable gets 0.
//
//  4. A valid pixel moves from d towards the filter's value q by the fraction
//
//         m = 1 / (1 + (q - d)^2 / ((move_tolerance d)^2 + 1)):
//
//     noise is smoothed, and a pixel that disagrees with its surroundings stays as it was measured.
//
// The confidence is n / A times the weighted mean of f_k, at valid pixels times m; it is 0 where the depth
// is 0.
//
// 0.5 is added to the refined depth, so that truncation rounds to the nearest integer. It is exactly 0 where
// there is no depth.
#ifndef EMULATED_BOARD_NVINFER_NETWORKS_GUIDED_FILTER_H
#define EMULATED_BOARD_NVINFER_NETWORKS_GUIDED_FILTER_H

#include <cstdint>

namespace emulated_board::nvinfer {

// Named like the parameters in an engine description.
struct GuidedFilterParameters {
  // The window's side is 2 radius + 1 pixels; >= 0.
  int radius = 8;
  // Variance of the luminance (white is 1) below which colour does not guide; > 0.
  double epsilon = 0.01;
  // Residual, as a fraction of the depth, at which a window's fit is one half; >= 0.
  double fit_tolerance = 0.02;
  // Change, as a fraction of the depth, of which a valid pixel makes one half; >= 0.
  double move_tolerance = 0.02;
  // Difference, as a fraction of the depth, at which two surfaces are told apart; > 0.
  double surface_tolerance = 0.04;
  // Percentage of valid pixels that the window around a hole needs for the hole to be filled; 0 to 100.
  int fill_percent = 10;
};

// Whether the three colour values of a pixel are in three planes or next to each other.
enum class ColorLayout { kPlanar, kInterleaved };

// Filters one image.
//
// rgb         height * width * 3 values, red first
// depth       height * width values in 0..65535, row by row; valid where they are greater than 0
// refined     receives height * width values
// confidence  receives height * width values in 0..1, or null
//
// height and width are at least 1. The time per pixel does not depend on the radius. Throws std::bad_alloc
// only; the outputs are then unspecified. Reentrant.
void guided_filter(const GuidedFilterParameters& parameters, const std::uint8_t* rgb, ColorLayout layout,
                   const float* depth, int height, int width, float* refined, float* confidence);

}  // namespace emulated_board::nvinfer

#endif  // EMULATED_BOARD_NVINFER_NETWORKS_GUIDED_FILTER_H
