#include "log/trt_logger.h"

#include <cstdio>

namespace enhance_depth {

Logger g_logger;

void Logger::log(Severity severity, const char* msg) noexcept {
  if (severity > Severity::kERROR) {
    return;
  }
  // Holding the stream's own lock keeps the line whole; stdio, unlike an assembled string, needs no memory
  // for it.
  flockfile(stdout);
  std::fputs("TRT: ", stdout);
  std::fputs(msg != nullptr ? msg : "", stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
  funlockfile(stdout);
}

}  // namespace enhance_depth
