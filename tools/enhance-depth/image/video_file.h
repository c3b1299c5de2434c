// A video of preview pictures.
#ifndef ENHANCE_DEPTH_TOOL_VIDEO_FILE_H
#define ENHANCE_DEPTH_TOOL_VIDEO_FILE_H

#include <filesystem>
#include <memory>

#include <opencv2/core.hpp>

namespace enhance_depth_tool {

class VideoFile {
 public:
  // Will write `path` (.mp4 or .avi). Throws a UsageError if it already exists, or if this build or system
  // cannot write such a file.
  VideoFile(const std::filesystem::path& path, double frames_per_second);
  VideoFile(const VideoFile&) = delete;
  VideoFile& operator=(const VideoFile&) = delete;
  ~VideoFile();  // without finish() nothing stays on the disk

  // Appends a BGR picture. The first one determines the size; others are scaled to fit. Throws a ToolError.
  void append(const cv::Mat& picture);

  // Completes the file and gives it its name. Throws a ToolError, also if there was no picture.
  void finish();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_VIDEO_FILE_H
