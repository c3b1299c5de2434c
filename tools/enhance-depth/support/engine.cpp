#include "support/engine.h"

#include <cstring>
#include <string>

#include "support/stopwatch.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

// The out-place for the library's record; frees what is in it.
class ErrorPlace {
 public:
  ErrorPlace() = default;
  ErrorPlace(const ErrorPlace&) = delete;
  ErrorPlace& operator=(const ErrorPlace&) = delete;
  ~ErrorPlace() { enhance_delete_error(error_); }

  enhance_error** address() { return &error_; }

  // The record; when there was no memory for one, the text of `handle`'s last failure, with no code.
  enhance_error record(enhance_depth_handle handle) const {
    if (error_ != nullptr) return *error_;
    enhance_error text_only{};
    std::strncpy(text_only.message, enhance_depth_get_last_error(handle), sizeof text_only.message - 1);
    return text_only;
  }

 private:
  enhance_error* error_ = nullptr;
};

// What a person can do about it; empty where nothing general can be said.
const char* remedy(std::int32_t code) {
  switch (code) {
    case ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT:
      return " Check the path of the engine.";
    case ENHANCE_DEPTH_ERROR_RUNTIME_CREATE_FAILED:
      return " Check that the TensorRT libraries and the GPU driver fit.";
    case ENHANCE_DEPTH_ERROR_ENGINE_DESERIALIZE_FAILED:
      return " Build the engine on this machine, with its TensorRT version.";
    case ENHANCE_DEPTH_ERROR_CUDA_RESOURCE_CREATE_FAILED:
      return " Check that the GPU's driver is there and fits, and that you may use the GPU (group video); if "
             "all "
             "that is so, end other programs that use it.";
    case ENHANCE_DEPTH_ERROR_CONTEXT_CREATE_FAILED:
    case ENHANCE_DEPTH_ERROR_DEVICE_ALLOC_FAILED:
      return " Free device memory: end other programs that use the GPU, or use smaller images.";
    case ENHANCE_DEPTH_ERROR_MEMCPY_FAILED:
    case ENHANCE_DEPTH_ERROR_MEMSET_FAILED:
    case ENHANCE_DEPTH_ERROR_SYNC_FAILED:
    case ENHANCE_DEPTH_ERROR_ENQUEUE_FAILED:
      return " Try again; if it stays, look into the system log for messages of the GPU driver.";
    case ENHANCE_DEPTH_ERROR_NO_COMPATIBLE_PROFILE:
    case ENHANCE_DEPTH_ERROR_SET_PROFILE_FAILED:
    case ENHANCE_DEPTH_ERROR_SET_INPUT_SHAPE_FAILED:
      return " Use images of a size that the engine's optimization profiles admit, or build an engine that "
             "admits this one.";
    case ENHANCE_DEPTH_ERROR_TENSOR_NOT_FOUND:
    case ENHANCE_DEPTH_ERROR_TENSOR_MODE_MISMATCH:
    case ENHANCE_DEPTH_ERROR_TENSOR_DTYPE_MISMATCH:
    case ENHANCE_DEPTH_ERROR_INVALID_ENGINE_IO:
      return " The network needs the inputs rgb (UINT8) and dep (FLOAT) and the output pred (FLOAT).";
    default:
      return "";
  }
}

std::string sentence(const std::string& what_failed, const enhance_error& record) {
  std::string message = record.message;
  while (!message.empty() && message.back() == '.') message.pop_back();
  const std::string code = record.error_code == 0 ? "" : " (code " + std::to_string(record.error_code) + ")";
  return what_failed + ": " + message + code + "." + remedy(record.error_code);
}

}  // namespace

EngineError::EngineError(ExitStatus exit_status, const std::string& what_failed, const enhance_error& record)
    : ToolError(exit_status, sentence(what_failed, record)), record_(record) {}

Engine::Engine(const std::filesystem::path& path) : path_(path), size_(640, 480) {
  ErrorPlace error;
  handle_.reset(enhance_depth_create(path.c_str(), error.address()));
  if (!handle_) {
    throw EngineError(kEngineNotLoaded, "The engine " + path.string() + " cannot be loaded",
                      error.record(handle_.get()));
  }
}

void Engine::configure(cv::Size size) {
  if (size == size_) return;
  ErrorPlace error;
  size_ = cv::Size();  // after a failure the handle has no size
  if (enhance_depth_reset(handle_.get(), size.width, size.height, error.address()) == 0) {
    throw EngineError(kFramesFailed,
                      "The engine " + path_.string() + " cannot be set up for " +
                          image_size(size.width, size.height) + " pixels",
                      error.record(handle_.get()));
  }
  size_ = size;
}

Refined Engine::process(const std::vector<std::uint8_t>& rgb, const cv::Mat& depth) {
  enhance_depth_input input{};
  input.rgb = rgb.data();
  input.rgb_stride = static_cast<std::int32_t>(rgb.size());
  input.depth = depth.ptr<std::uint16_t>();
  input.depth_stride = static_cast<std::int32_t>(depth.total() * sizeof(std::uint16_t));
  input.height = depth.rows;
  input.width = depth.cols;

  enhance_depth_output output{};
  ErrorPlace error;
  const Stopwatch stopwatch;
  if (enhance_depth_process(handle_.get(), &input, &output, error.address()) == 0) {
    throw EngineError(kFramesFailed, "The frame cannot be refined", error.record(handle_.get()));
  }
  Refined refined;
  refined.library_ms = stopwatch.milliseconds();
  refined.network_ms = static_cast<double>(enhance_GetLastInferenceTime(handle_.get()));
  refined.depth = cv::Mat(depth.size(), CV_16UC1, output.pred);
  if (output.conf != nullptr) refined.confidence = cv::Mat(depth.size(), CV_32FC1, output.conf);
  return refined;
}

void Engine::require_confidence(const Refined& refined) const {
  if (refined.confidence.empty()) {
    throw UsageError("The engine " + path_.string() +
                     " has no confidence output. Leave out --confidence, or use an engine that has one.");
  }
}

}  // namespace enhance_depth_tool
