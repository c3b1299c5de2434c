#include "log/log_bridge.h"

namespace enhance_depth {

void log_orbbec_message(OBLogSeverity severity, const std::string& message, const char* file,
                        const char* function, int line) noexcept {
  ob_error* error = nullptr;
  try {
    ob_log_external_message(severity, "EnhanceDepth", message.c_str(), file, function, line, &error);
  } catch (
      ...) {  // a C interface over C++ code: what slips through it must not become this library's failure
  }
  if (error != nullptr) {
    ob_delete_error(error);
  }
}

}  // namespace enhance_depth
