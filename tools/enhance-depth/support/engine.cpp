#include "support/engine.h"

#include <string>

#include <dlfcn.h>
#include <fmt/format.h>

#include "support/stopwatch.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

// OpenCV has no read-only images; nothing here writes to the pixels.
template <typename T>
cv::Mat borrowed(const enhance_depth::BorrowedImage<T>& image, int type) {
  return cv::Mat(image.height(), image.width(), type, const_cast<T*>(image.data()));
}

// The remedy for a code; empty if there is no general one.
const char* remedy(std::int32_t code) {
  switch (code) {
    case ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT:
      return " Check the path of the engine.";
    case ENHANCE_DEPTH_ERROR_RUNTIME_CREATE_FAILED:
      return " Check that the TensorRT libraries and the GPU driver match.";
    case ENHANCE_DEPTH_ERROR_ENGINE_DESERIALIZE_FAILED:
      return " Build the engine on this machine, with its TensorRT version.";
    case ENHANCE_DEPTH_ERROR_CUDA_RESOURCE_CREATE_FAILED:
      return " Check that the GPU driver is installed and matches the CUDA runtime, and that you may use the "
             "GPU "
             "(group video); otherwise end other programs that use it.";
    case ENHANCE_DEPTH_ERROR_CONTEXT_CREATE_FAILED:
    case ENHANCE_DEPTH_ERROR_DEVICE_ALLOC_FAILED:
      return " Free device memory: end other programs that use the GPU, or use smaller images.";
    case ENHANCE_DEPTH_ERROR_MEMCPY_FAILED:
    case ENHANCE_DEPTH_ERROR_MEMSET_FAILED:
    case ENHANCE_DEPTH_ERROR_SYNC_FAILED:
    case ENHANCE_DEPTH_ERROR_ENQUEUE_FAILED:
      return " Try again; if it keeps failing, look in the system log for messages from the GPU driver.";
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

// The library's text about `error` in full: the record may have only its beginning.
std::string full_message(const enhance_depth::Error& error, enhance_depth_handle handle) {
  const std::string beginning = error.what();
  const std::string last = enhance_depth_get_last_error(handle);
  return last.compare(0, beginning.size(), beginning) == 0 ? last : beginning;
}

std::string sentence(const std::string& what_failed, std::string message, std::int32_t code) {
  while (!message.empty() && message.back() == '.') {
    message.pop_back();
  }
  return what_failed + ": " + message + " (code " + std::to_string(code) + ")." + remedy(code);
}

enhance_depth::Engine load(const std::filesystem::path& path) {
  try {
    return enhance_depth::Engine(path.string());
  } catch (const enhance_depth::Error& error) {
    const auto failure = [&] {
      return EngineError(kEngineNotLoaded, "The engine " + path.string() + " cannot be loaded", error,
                         nullptr);
    };
    if (error.code() == ENHANCE_DEPTH_ERROR_ENGINE_DESERIALIZE_FAILED &&
        lower_case(path.extension().string()) == ".onnx") {
      throw ToolError(kEngineNotLoaded, std::string(failure().what()) +
                                            " A board runs no ONNX models: trtexec --onnx=" + path.string() +
                                            " --saveEngine=model.engine makes an engine of it there.");
    }
    throw failure();
  }
}

}  // namespace

std::string network_runner() {
  if (const auto emulated =
          reinterpret_cast<const char* (*)()>(dlsym(RTLD_DEFAULT, "emulated_board_network_runner"))) {
    return emulated();
  }
  if (const auto version = reinterpret_cast<std::int32_t (*)()>(dlsym(RTLD_DEFAULT, "getInferLibVersion"))) {
    const int number = version();  // 101300 is 10.13.0
    return fmt::format("TensorRT {}.{}.{}", number / 10000, number / 100 % 100, number % 100);
  }
  return "TensorRT";
}

EngineError::EngineError(ExitStatus exit_status, const std::string& what_failed,
                         const enhance_depth::Error& error, enhance_depth_handle handle)
    : ToolError(exit_status, sentence(what_failed, full_message(error, handle), error.code())) {}

Engine::Engine(const std::filesystem::path& path) : path_(path), engine_(load(path)), size_(640, 480) {}

void Engine::configure(cv::Size size) {
  if (size == size_) {
    return;
  }
  size_ = cv::Size();  // after a failure the engine has no size
  try {
    engine_.reset(size.width, size.height);
  } catch (const enhance_depth::Error& error) {
    throw EngineError(kFramesFailed,
                      "The engine " + path_.string() + " cannot be set up for " +
                          image_size(size.width, size.height) + " pixels",
                      error, engine_.handle());
  }
  size_ = size;
}

Refined Engine::process(const std::vector<std::uint8_t>& rgb, const cv::Mat& depth) {
  const enhance_depth::Frame frame{depth.cols, depth.rows, rgb, {depth.ptr<std::uint16_t>(), depth.total()}};
  const Stopwatch stopwatch;
  try {
    const enhance_depth::RefinedFrame result = engine_.process(frame);
    Refined refined;
    refined.library_ms = stopwatch.milliseconds();
    refined.network_ms = static_cast<double>(engine_.last_inference_time().value_or(0.0F));
    refined.depth = borrowed(result.depth, CV_16UC1);
    if (result.confidence) {
      refined.confidence = borrowed(*result.confidence, CV_32FC1);
    }
    return refined;
  } catch (const enhance_depth::Error& error) {
    throw EngineError(kFramesFailed, "The frame cannot be refined", error, engine_.handle());
  }
}

void Engine::require_confidence(const Refined& refined, const char* option) const {
  if (refined.confidence.empty()) {
    throw UsageError("The engine " + path_.string() + " has no confidence output. Leave out " + option +
                     ", or use an engine that has one.");
  }
}

}  // namespace enhance_depth_tool
