// The caller's error records and the calling thread's last error.
#ifndef ENHANCE_DEPTH_API_ERROR_RECORD_H
#define ENHANCE_DEPTH_API_ERROR_RECORD_H

#include <string>

#include "api/report_site.h"
#include "enhance_depth.h"

namespace enhance_depth {

// A failure in the form in which it is kept and passed on. `message` belongs to whoever keeps it.
struct ErrorState {
  int code = ENHANCE_DEPTH_OK;
  const char* message = "OK";
};

// The calling thread's last error that had no handle to be recorded on. The message is valid until the
// thread's next set or clear. All three may be called at any time: from destructors of static and
// thread-local objects, too, which may run after the thread has released what it kept.
ErrorState global_error() noexcept;

// Throws std::bad_alloc if a message of ENHANCE_ERROR_TEXT_SIZE bytes or more finds no memory; the previous
// error then stays. Shorter messages need none. While the thread ends, longer messages are cut.
void set_global_error(int code, const std::string& message);

void clear_global_error() noexcept;

// The class that a record carries beside its code.
int exception_type_from_error_code(int code);

// A new record with `line` 0. A null text becomes the empty text, a text that is too long is cut. Throws
// std::bad_alloc.
enhance_error* make_error(int status, const char* message, const char* function, const char* args,
                          int exception_type);

// Frees the record in the caller's output parameter, if there is one, and sets it to null.
void clear_error_result(enhance_error** out);

// Stores a new record of `error` in the caller's output parameter; does nothing if `out` is null or the code
// is 0. Throws std::bad_alloc and then leaves *out alone.
void fill_error_result(enhance_error** out, const ErrorState& error, const char* function, const char* args,
                       ReportSite site);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_API_ERROR_RECORD_H
