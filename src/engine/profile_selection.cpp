// TrtEngineWrapper, profile selection: which optimization profile admits a resolution.
// The first profile that admits both inputs is used; if none does, the message says why for each of them.
#include "engine/tensor_shape.h"
#include "engine/tensor_text.h"
#include "engine/trt_engine_wrapper.h"
#include "log/log_bridge.h"

namespace enhance_depth {
namespace {

struct ProfileRange {
  nvinfer1::Dims64 min;
  nvinfer1::Dims64 max;
};

// TensorRT's queries do not throw; if one ever does, its state is beyond repair and the process ends.
ProfileRange query_profile_range(const nvinfer1::ICudaEngine& engine, const char* name,
                                 int profile) noexcept {
  return {engine.getProfileShape(name, profile, nvinfer1::OptProfileSelector::kMIN),
          engine.getProfileShape(name, profile, nvinfer1::OptProfileSelector::kMAX)};
}

bool has_rank_of(const ProfileRange& range, const nvinfer1::Dims64& shape) {
  return range.min.nbDims == shape.nbDims && range.max.nbDims == shape.nbDims;
}

bool is_within(const ProfileRange& range, const nvinfer1::Dims64& shape) {
  for (int i = 0; i < shape.nbDims; ++i) {
    if (shape.d[i] < range.min.d[i] || shape.d[i] > range.max.d[i]) {
      return false;
    }
  }
  return true;
}

bool reject(std::string* reason, const char* why, const nvinfer1::Dims64& shape, const ProfileRange& range) {
  if (reason != nullptr) {
    *reason = std::string(why) + " actual=" + dims_to_string(shape) + ", min=" + dims_to_string(range.min) +
              ", max=" + dims_to_string(range.max);
  }
  return false;
}

}  // namespace

int TrtEngineWrapper::find_compatible_profile(const nvinfer1::Dims64& rgb_shape,
                                              const nvinfer1::Dims64& depth_shape) {
  const int profile_count = engine->getNbOptimizationProfiles();
  // Not a stream: it would swallow std::bad_alloc and leave the list incomplete.
  std::string rejected;
  for (int profile = 0; profile < profile_count; ++profile) {
    std::string rgb_reason;
    std::string depth_reason;
    // Both are checked even if the first fails, so that the message has both reasons.
    const bool rgb_fits = dims_in_profile(rgb_tensor_name, profile, rgb_shape, &rgb_reason);
    const bool depth_fits = dims_in_profile(depth_tensor_name, profile, depth_shape, &depth_reason);
    if (rgb_fits && depth_fits) {
      log_orbbec_message(OB_LOG_SEVERITY_INFO,
                         "Selected TensorRT optimization profile " + std::to_string(profile) + " for rgb=" +
                             dims_to_string(rgb_shape) + ", depth=" + dims_to_string(depth_shape),
                         __FILE__, "find_compatible_profile", __LINE__);
      return profile;
    }
    rejected += "profile " + std::to_string(profile) + ": rgb " + (rgb_fits ? "ok" : rgb_reason) +
                ", depth " + (depth_fits ? "ok" : depth_reason) + "; ";
  }
  fail(ENHANCE_DEPTH_ERROR_NO_COMPATIBLE_PROFILE,
       "No TensorRT optimization profile supports requested shapes. rgb=" + dims_to_string(rgb_shape) +
           ", depth=" + dims_to_string(depth_shape) + ". Rejected profiles: " + rejected);
  return -1;
}

bool TrtEngineWrapper::dims_in_profile(const char* name, int profile, const nvinfer1::Dims64& shape,
                                       std::string* reason) const {
  const ProfileRange range = query_profile_range(*engine, name, profile);
  if (!has_rank_of(range, shape)) {
    return reject(reason, "rank mismatch.", shape, range);
  }
  if (!is_within(range, shape)) {
    return reject(reason, "outside range.", shape, range);
  }
  return true;
}

bool TrtEngineWrapper::validate_concrete_tensor_shape(const char* name, const nvinfer1::Dims64& shape) {
  if (shape.nbDims > 0 && !dims_have_dynamic_dim(shape) && volume_from_dims(shape) != 0) {
    return true;
  }
  return fail(ENHANCE_DEPTH_ERROR_INVALID_ENGINE_IO,
              std::string("Tensor shape is not fully specified for ") + name + ": " + dims_to_string(shape));
}

}  // namespace enhance_depth
