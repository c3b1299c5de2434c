// Interface of the camera SDK 2: what enhance_depth uses of it, for building where the SDK is not installed.
// Binary compatible with libOrbbecSDK.so.2.
#ifndef LIBOBSENSOR_OBSENSOR_H
#define LIBOBSENSOR_OBSENSOR_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
  OB_LOG_SEVERITY_DEBUG = 0,
  OB_LOG_SEVERITY_INFO = 1,
  OB_LOG_SEVERITY_WARN = 2,
  OB_LOG_SEVERITY_ERROR = 3,
  OB_LOG_SEVERITY_FATAL = 4,
  OB_LOG_SEVERITY_OFF = 5
} OBLogSeverity,
    ob_log_severity;

typedef struct ob_error_t ob_error;

void ob_log_external_message(ob_log_severity severity, const char* module, const char* message,
                             const char* file, const char* function, int line, ob_error** error);
void ob_delete_error(ob_error* error);

#ifdef __cplusplus
}
#endif

#endif  // LIBOBSENSOR_OBSENSOR_H
