#include "image/decoder_limit.h"

#include <cstdint>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "image/image_io.h"

namespace enhance_depth_tool {

void limit_decoders(char** argv) {
  constexpr const char* kVariable = "OPENCV_IO_MAX_IMAGE_PIXELS";
  if (std::getenv(kVariable) == nullptr &&
      setenv(kVariable, std::to_string(std::int64_t{kLongestSide} * kLongestSide).c_str(), 1) == 0) {
    execv("/proc/self/exe", argv);
  }
}

}  // namespace enhance_depth_tool
