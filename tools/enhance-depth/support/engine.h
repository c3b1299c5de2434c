// Adapts the library's C++ interface to OpenCV's images, and its failures to the tool's messages.
#ifndef ENHANCE_DEPTH_TOOL_ENGINE_H
#define ENHANCE_DEPTH_TOOL_ENGINE_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "enhance_depth.hpp"
#include "support/tool_error.h"

namespace enhance_depth_tool {

// A failed call of the library. what() is "<what failed>: <library's message> (code N). <remedy>".
class EngineError : public ToolError {
 public:
  // The message is that of the last error of `handle`, or of this thread when it is null: unlike the
  // record's, it is never cut short.
  EngineError(ExitStatus exit_status, const std::string& what_failed, const enhance_depth::Error& error,
              enhance_depth_handle handle);
};

// One result. Both images are borrowed from the engine: copy them to keep them beyond its next call.
struct Refined {
  cv::Mat depth;       // CV_16UC1, in the unit of the input
  cv::Mat confidence;  // CV_32FC1, or empty when the engine has none
  double network_ms = 0.0;
  double library_ms = 0.0;  // wall time of the library call: copies, conversions and the network
};

// Used by one thread at a time.
class Engine {
 public:
  // Throws an EngineError (kEngineNotLoaded) when the library refuses the engine.
  explicit Engine(const std::filesystem::path& path);

  // Configures the engine for images of `size`, unless it already is. Throws an EngineError (kFramesFailed);
  // another size may then be tried.
  void configure(cv::Size size);

  // Refines one frame of the configured size: `rgb` as arrange_rgb() makes it, `depth` continuous CV_16UC1.
  // Throws an EngineError (kFramesFailed); the engine stays usable.
  Refined process(const std::vector<std::uint8_t>& rgb, const cv::Mat& depth);

  // Throws a UsageError, which names `option`, when the engine delivered no confidence with `refined`.
  void require_confidence(const Refined& refined, const char* option) const;

 private:
  std::filesystem::path path_;
  enhance_depth::Engine engine_;
  cv::Size size_;
};

// What runs the network of the engine that was loaded last, in words: TensorRT's version, or on the emulated
// board, which has a function for this that a real one lacks, its own network or OpenVINO.
std::string network_runner();

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_ENGINE_H
