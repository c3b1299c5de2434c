#include "image/video_file.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>

#include <fcntl.h>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <unistd.h>

#include "support/atomic_file.h"
#include "support/input_file.h"
#include "support/output_path.h"
#include "support/text.h"
#include "support/tool_error.h"
#include "support/unfinished_file.h"

namespace enhance_depth_tool {

namespace fs = std::filesystem;

class VideoFile::Implementation {
 public:
  Implementation(const fs::path& path, double frames_per_second)
      : path_(path), frames_per_second_(frames_per_second) {
    require_writable(path, {".mp4", ".avi"});
    if (type_of(path_) != fs::file_type::not_found) {
      throw UsageError(path_.string() + " already exists. Choose another name with --video, or remove it.");
    }
    // The extension decides the container. The writer opens the file again, by its name.
    part_.emplace(path_, path_.extension().string(), [](const std::string& name) {
      return Descriptor(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)).get() >= 0;
    });
    constexpr int kAnySide = 64;
    open_writer({kAnySide, kAnySide});  // reports a missing encoder now, not after the first frame
    writer_.release();
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  void append(const cv::Mat& picture) {
    if (!writer_.isOpened()) {
      open_writer(picture.size());
    }
    writer_.write(fitted(picture));
    ++pictures_;
  }

  void finish() {
    if (pictures_ == 0) {
      throw ToolError(kFramesFailed, "there was no frame to show.");
    }
    writer_.release();
    // The writer does not report failures, such as a full disk.
    if (cv::VideoCapture(part_->path()).get(cv::CAP_PROP_FRAME_COUNT) != pictures_) {
      throw ToolError(
          kFramesFailed,
          path_.string() + " cannot be written whole. Make room on the disk, or write somewhere else.");
    }
    const Descriptor written(::open(part_->path().c_str(), O_RDONLY | O_CLOEXEC));
    if (fdatasync(written.get()) != 0 && errno != EINVAL) {
      throw WriteError(path_.string(), errno);
    }
    part_->publish();
  }

 private:
  void open_writer(cv::Size size) {
    // Encoders that halve the colour resolution need even sizes.
    size_ = cv::Size(std::max(2, size.width & ~1), std::max(2, size.height & ~1));
    const bool avi = lower_case(path_.extension().string()) == ".avi";
    const int codec =
        avi ? cv::VideoWriter::fourcc('M', 'J', 'P', 'G') : cv::VideoWriter::fourcc('m', 'p', '4', 'v');
    if (!writer_.open(part_->path(), codec, frames_per_second_, size_)) {
      throw UsageError(path_.string() + " cannot be written: OpenCV has no encoder for it on this system. " +
                       (avi ? "Leave out --video." : "Use a name that ends in .avi, or leave out --video."));
    }
  }

  cv::Mat fitted(const cv::Mat& picture) const {
    if (picture.size() == size_) {
      return picture;
    }
    const double factor = std::min({1.0, static_cast<double>(size_.width) / picture.cols,
                                    static_cast<double>(size_.height) / picture.rows});
    const cv::Size inner(std::max(1, static_cast<int>(picture.cols * factor)),
                         std::max(1, static_cast<int>(picture.rows * factor)));
    cv::Mat result = cv::Mat::zeros(size_, CV_8UC3);
    cv::Mat place =
        result(cv::Rect({(size_.width - inner.width) / 2, (size_.height - inner.height) / 2}, inner));
    cv::resize(picture, place, inner, 0, 0, cv::INTER_AREA);
    return result;
  }

  fs::path path_;
  std::optional<UnfinishedFile> part_;
  double frames_per_second_;
  cv::Size size_;
  cv::VideoWriter writer_;
  int pictures_ = 0;
};

VideoFile::VideoFile(const fs::path& path, double frames_per_second)
    : implementation_(std::make_unique<Implementation>(path, frames_per_second)) {}

VideoFile::~VideoFile() = default;

void VideoFile::append(const cv::Mat& picture) { implementation_->append(picture); }

void VideoFile::finish() { implementation_->finish(); }

}  // namespace enhance_depth_tool
