// The caller's error records and the calling thread's last error.
#ifndef ENHANCE_DEPTH_API_ERROR_RECORD_H
#define ENHANCE_DEPTH_API_ERROR_RECORD_H

#include <string>

#include "enhance_depth.h"

namespace enhance_depth {

// A last error as text.
struct ErrorState {
  int code = ENHANCE_DEPTH_OK;
  std::string message = "OK";
};

// The calling thread's last error that had no handle to be recorded on.
const ErrorState& global_error();
void set_global_error(int code, std::string message);
void clear_global_error();

// The class that a record carries beside its code.
int exception_type_from_error_code(int code);

// A new record with `line` 0; null texts become empty ones, long texts are cut. Throws std::bad_alloc.
enhance_error* make_error(int status, const char* message, const char* function, const char* args,
                          int exception_type);

// Frees the record that the caller left in its out-place, if any, and empties the place.
void clear_error_result(enhance_error** out);

// Puts a new record into the caller's out-place; does nothing without a place or for code 0. Throws
// std::bad_alloc and then leaves the place alone.
void fill_error_result(enhance_error** out, int code, const std::string& message, const char* function,
                       const char* args, int line);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_API_ERROR_RECORD_H
