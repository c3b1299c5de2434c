// The engine object with its members open to tests.
#ifndef ENHANCE_DEPTH_TESTS_SUPPORT_OPEN_ENGINE_H
#define ENHANCE_DEPTH_TESTS_SUPPORT_OPEN_ENGINE_H

#include "engine/trt_engine_wrapper.h"

namespace enhance_depth {

struct OpenEngine : TrtEngineWrapper {
  using TrtEngineWrapper::buffers_ready;
  using TrtEngineWrapper::conf_dims;
  using TrtEngineWrapper::context;
  using TrtEngineWrapper::d_conf;
  using TrtEngineWrapper::d_depth;
  using TrtEngineWrapper::d_pred;
  using TrtEngineWrapper::d_rgb;
  using TrtEngineWrapper::depth_dims;
  using TrtEngineWrapper::depth_f32;
  using TrtEngineWrapper::depth_scale;
  using TrtEngineWrapper::engine;
  using TrtEngineWrapper::engine_data;
  using TrtEngineWrapper::engine_size;
  using TrtEngineWrapper::error_detail;
  using TrtEngineWrapper::h_conf;
  using TrtEngineWrapper::h_depth;
  using TrtEngineWrapper::h_pred;
  using TrtEngineWrapper::h_rgb;
  using TrtEngineWrapper::has_confidence_output;
  using TrtEngineWrapper::initialized;
  using TrtEngineWrapper::last_inference_time_;
  using TrtEngineWrapper::pred_dims;
  using TrtEngineWrapper::pred_u16;
  using TrtEngineWrapper::profile_index;
  using TrtEngineWrapper::rgb_dims;
  using TrtEngineWrapper::rgb_mean;
  using TrtEngineWrapper::rgb_std;
  using TrtEngineWrapper::runtime;
  using TrtEngineWrapper::stream;
  using TrtEngineWrapper::warmup_iterations;
};

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_TESTS_SUPPORT_OPEN_ENGINE_H
