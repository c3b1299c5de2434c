// The conversions as OpenCV does them, in OpenCV's portable vector instructions: for scripts/bench-aarch64,
// which compiles this file for a processor that the build machine cannot run. (The benchmark calls
// cv::Mat::convertTo().) The second rounds to the nearest integer where the library truncates; its narrowing
// instructions saturate.
#include <cstddef>

#include <opencv2/core/hal/intrin.hpp>

namespace enhance_depth_bench {

void opencv_depth_to_float(const ushort* src, float* dst, std::size_t count);
void opencv_prediction_to_depth(const float* src, ushort* dst, std::size_t count);

// `count` is a multiple of 8.
void opencv_depth_to_float(const ushort* src, float* dst, std::size_t count) {
  for (const ushort* const end = src + count; src != end; src += 8, dst += 8) {
    cv::v_uint32x4 low;
    cv::v_uint32x4 high;
    cv::v_expand(cv::v_load(src), low, high);
    cv::v_store(dst, cv::v_cvt_f32(cv::v_reinterpret_as_s32(low)));
    cv::v_store(dst + 4, cv::v_cvt_f32(cv::v_reinterpret_as_s32(high)));
  }
}

void opencv_prediction_to_depth(const float* src, ushort* dst, std::size_t count) {
  for (const float* const end = src + count; src != end; src += 8, dst += 8) {
    cv::v_store(dst, cv::v_pack_u(cv::v_round(cv::v_load(src)), cv::v_round(cv::v_load(src + 4))));
  }
}

}  // namespace enhance_depth_bench
