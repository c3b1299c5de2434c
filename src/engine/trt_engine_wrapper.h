// The one object behind every handle.
#ifndef ENHANCE_DEPTH_ENGINE_TRT_ENGINE_WRAPPER_H
#define ENHANCE_DEPTH_ENGINE_TRT_ENGINE_WRAPPER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <NvInferRuntime.h>
#include <cuda_runtime_api.h>

#include "engine/cuda_timer.h"
#include "engine/trt_object.h"
#include "enhance_depth.h"

namespace enhance_depth {

// A TensorRT engine with its execution context, CUDA stream, device and host buffers, timer and last error.
//
// Life: constructed -> init() loads an engine, configures it for 640 x 480 and warms it up -> any number of
// infer() and of re-configurations (delete_buffer(true), set_input_size(), allocate(), warmup()) -> deinit().
//
// An operation that returns bool and can fail records a code and a message through fail() before it returns
// false. Operations may also throw std::bad_alloc; the object can then still release everything that it
// holds. One thread at a time.
//
// Internal to the library.
class TrtEngineWrapper {
 public:
  // Sets every member to its default; creates the timer's events and nothing else.
  TrtEngineWrapper() = default;
  // Runs deinit().
  ~TrtEngineWrapper();
  TrtEngineWrapper(const TrtEngineWrapper&) = delete;
  TrtEngineWrapper& operator=(const TrtEngineWrapper&) = delete;

  // --- Initialisation (init.cpp) ---

  // Loads the engine at `engine_path` and prepares the object for 640 x 480. Does nothing if that has already
  // succeeded. On failure releases only the engine's bytes: call deinit() before another attempt.
  bool init(const char* engine_path);

  // --- Object, last error and release (trt_engine_wrapper.cpp) ---

  // Releases buffers, stream, context, engine and runtime, in that order. May be called at any time.
  void deinit() noexcept;

  // Releases the stream, the device buffers and the host staging buffers; if `clear_error`, also resets the
  // last error.
  void delete_buffer(bool clear_error) noexcept;

  // Frees a device buffer and sets the pointer to null.
  static void free_device_buffer(void*& buffer) noexcept;

  // Records a failure as the last error, logs it and returns false. The failure is still the last error on
  // return, even if the host's log function has called back into this object. set_error() is a synonym.
  bool fail(EnhanceDepthErrorCode code, const std::string& message);
  bool set_error(EnhanceDepthErrorCode code, const std::string& message);

  void clear_error();
  void clear_error_noexcept() noexcept;

  EnhanceDepthErrorCode last_error_code() const { return last_error_code_; }
  const std::string& last_error_message() const { return last_error_message_; }
  float last_inference_time() const { return last_inference_time_; }

  // The size that the next allocate() configures and that frames must have.
  void set_input_size(int width, int height);
  bool has_input_size(int width, int height) const { return width == input_width && height == input_height; }

  void set_confidence_threshold(float threshold) { confidence_threshold_ = threshold; }
  float confidence_threshold() const { return confidence_threshold_; }

  // --- I/O contract (io_contract.cpp) ---

  // Checks that the engine's tensors have the names, directions and types that the library needs, and notes
  // whether there is a confidence output.
  bool validate_engine_io();
  bool validate_tensor_meta(const char* name, nvinfer1::TensorIOMode expected_mode,
                            nvinfer1::DataType expected_type);
  bool tensor_exists(const char* name) const noexcept;

  // --- Profile selection (profile_selection.cpp) ---

  // The first optimization profile that admits both shapes, or -1.
  int find_compatible_profile(const nvinfer1::Dims64& rgb_shape, const nvinfer1::Dims64& depth_shape);

  // True if `shape` is within the profile's range for the tensor. Otherwise stores why in *reason, unless
  // `reason` is null.
  bool dims_in_profile(const char* name, int profile, const nvinfer1::Dims64& shape,
                       std::string* reason) const;

  // True if `shape` has dimensions and all of them are positive.
  bool validate_concrete_tensor_shape(const char* name, const nvinfer1::Dims64& shape);

  // --- Device buffers (allocate.cpp) ---

  // Creates stream and buffers for the input size and binds them. None may exist before the call; after a
  // failure none exist.
  bool allocate();
  bool allocate_device_buffer(void*& buffer, std::uint64_t bytes, const std::string& label);

  // --- Inference (infer.cpp) ---

  // The depth image as floats, in a buffer that is valid until the next call. While there are no buffers for
  // the input size the image is not read, as infer() will refuse the frame.
  float* depth_as_floats(const std::uint16_t* depth);

  // Runs the network on one frame and waits for the result. `rgb` holds as many bytes as the rgb tensor,
  // `depth` as many floats as the dep tensor. The object owns the results, which are valid until the next
  // infer(), delete_buffer() or destruction; *conf_out is null without a confidence output.
  bool infer(const std::uint8_t* rgb, float* depth, std::uint16_t** pred_out, float** conf_out, int height,
             int width);

  // Runs the network a few times on zeroed buffers, without timing it, and waits.
  bool warmup();

 private:
  friend struct OpenEngine;  // the tests' view of the members

  // True if `status` is cudaSuccess; otherwise fails with `code` and "<what> failed: <CUDA's description>".
  bool check(cudaError status, const char* what, EnhanceDepthErrorCode code);

  // Pixels of the configured size, which is positive when this is called.
  std::size_t pixel_count() const {
    return static_cast<std::size_t>(input_height) * static_cast<std::size_t>(input_width);
  }

  // The stages of allocate().
  bool create_stream();
  bool apply_input_shapes();
  bool read_back_shapes();
  bool create_buffers();
  bool bind_buffers();

  // The stages of infer() and warmup().
  bool copy_inputs_to_device();
  bool run_network();
  bool copy_outputs_to_host();
  bool clear_device_buffers();

  // --- Members, in the order that their destruction relies on ---

  // Names of the engine's tensors.
  const char* rgb_tensor_name = "rgb";
  const char* depth_tensor_name = "dep";
  const char* pred_tensor_name = "pred";
  const char* conf_tensor_name = "confidence_output";

  // The input shapes; height and width are the configured image size.
  std::int32_t batch_size = 1;
  std::int32_t rgb_channels = 3;
  std::int32_t depth_channels = 1;
  std::int32_t input_height = 480;
  std::int32_t input_width = 640;

  std::int32_t warmup_iterations = 2;

  // What the network was trained with. Unused: engines normalise their inputs themselves.
  float rgb_mean[3] = {0.485F, 0.456F, 0.406F};
  float rgb_std[3] = {0.229F, 0.224F, 0.225F};
  float depth_scale = 10.0F;

  float confidence_threshold_ = 0.95F;  // kept for the host, not used here

  std::vector<float> depth_f32;         // the input depth as floats
  std::vector<std::uint16_t> pred_u16;  // the refined depth that the host sees

  std::unique_ptr<nvinfer1::IRuntime, TrtDeleter<nvinfer1::IRuntime>> runtime;
  std::unique_ptr<nvinfer1::ICudaEngine, TrtDeleter<nvinfer1::ICudaEngine>> engine;
  std::unique_ptr<nvinfer1::IExecutionContext, TrtDeleter<nvinfer1::IExecutionContext>> context;

  bool initialized = false;            // init() completed
  bool has_confidence_output = false;  // the engine has the optional output
  bool buffers_ready = false;          // stream, buffers and bindings exist for the configured size
  std::int32_t profile_index = 0;      // the optimization profile in use

  cudaStream_t stream = nullptr;
  void* d_rgb = nullptr;
  void* d_depth = nullptr;
  void* d_pred = nullptr;
  void* d_conf = nullptr;

  // Host staging buffers, as large as the bound tensors.
  std::vector<std::uint8_t> h_rgb;
  std::vector<float> h_depth;
  std::vector<float> h_pred;
  std::vector<float> h_conf;

  // The tensors' concrete shapes, meaningful while buffers_ready.
  nvinfer1::Dims64 rgb_dims{};
  nvinfer1::Dims64 depth_dims{};
  nvinfer1::Dims64 pred_dims{};
  nvinfer1::Dims64 conf_dims{};

  std::string error_detail;  // scratch: the text of a failure on its way to fail()
  EnhanceDepthErrorCode last_error_code_ = ENHANCE_DEPTH_OK;
  std::string last_error_message_ = "OK";

  CudaTimer timer;
  float last_inference_time_ = -1.0F;  // milliseconds; -1 until a frame has been timed

  // The serialized engine, held only while init() runs.
  std::unique_ptr<std::uint8_t[]> engine_data;
  std::uint64_t engine_size = 0;
};

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_TRT_ENGINE_WRAPPER_H
