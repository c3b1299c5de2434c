// Any bytes as a colour or a depth image of the tool: either refused with a sentence, or an image of the
// promised kind.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "image/image_io.h"
#include "support/tool_error.h"

using namespace enhance_depth_tool;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("OPENCV_LOG_LEVEL", "SILENT", 1);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes file(data, data + size);
  for (const bool color : {true, false}) {
    try {
      const cv::Mat image = color ? decode_color(file, "image") : decode_depth(file, "image", {});
      const bool fits = image.type() == (color ? CV_8UC3 : CV_16UC1) && image.rows >= 1 && image.cols >= 1 &&
                        image.rows <= kLongestSide && image.cols <= kLongestSide;
      if (!fits) {
        std::abort();
      }
    } catch (const UsageError& error) {
      if (std::strlen(error.what()) == 0) {
        std::abort();
      }
    }
  }
  return 0;
}
