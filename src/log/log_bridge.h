// Writes the library's messages into the camera SDK's log.
#ifndef ENHANCE_DEPTH_LOG_LOG_BRIDGE_H
#define ENHANCE_DEPTH_LOG_LOG_BRIDGE_H

#include <string>

#include <libobsensor/ObSensor.h>

namespace enhance_depth {

// Writes `message` into the camera SDK's log under the module name "EnhanceDepth". `file`, `function` and
// `line` say where it comes from; exported functions pass their exported name. A failure of the log itself is
// ignored. Any thread.
void log_orbbec_message(OBLogSeverity severity, const std::string& message, const char* file,
                        const char* function, int line) noexcept;

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_LOG_LOG_BRIDGE_H
