#include "log/log_bridge.h"

namespace enhance_depth {

// The camera SDK's C interface is implemented in C++: an exception that escapes from it must not become this
// library's failure.
void log_orbbec_message(OBLogSeverity severity, const std::string& message, const char* file,
                        const char* function, int line) noexcept {
  ob_error* error = nullptr;
  try {
    ob_log_external_message(severity, "EnhanceDepth", message.c_str(), file, function, line, &error);
    if (error != nullptr) {
      ob_delete_error(error);
    }
  } catch (...) {
  }
}

}  // namespace enhance_depth
