#include "log/trt_logger.h"

#include <cstdio>

namespace enhance_depth {

Logger g_logger;

void Logger::log(Severity severity, const char* msg) noexcept {
  if (severity > Severity::kERROR) {
    return;
  }
  // Holding the stream's lock keeps the line in one piece without assembling a string, which needs memory.
  flockfile(stdout);
  std::fputs("TRT: ", stdout);
  std::fputs(msg != nullptr ? msg : "", stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
  funlockfile(stdout);
}

}  // namespace enhance_depth
