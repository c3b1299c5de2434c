// Stands in for video_file.cpp where OpenCV has no video output.
#include "image/video_file.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {

class VideoFile::Implementation {};

VideoFile::VideoFile(const std::filesystem::path& path, double /*frames_per_second*/) {
  throw UsageError(path.string() +
                   " cannot be written: this build has no video output, because OpenCV's videoio was " +
                   "not installed. Leave out --video, or make a video from the pictures of --preview.");
}

VideoFile::~VideoFile() = default;

void VideoFile::append(const cv::Mat& /*picture*/) {}

void VideoFile::finish() {}

}  // namespace enhance_depth_tool
