// The caller's error records and the calling thread's last error.
#ifndef ENHANCE_DEPTH_API_ERROR_RECORD_H
#define ENHANCE_DEPTH_API_ERROR_RECORD_H

#include <string>

#include "api/report_site.h"
#include "enhance_depth.h"

namespace enhance_depth {

// A failure as it is stored and passed on. The owner of the stored failure owns `message`.
struct ErrorState {
  int code = ENHANCE_DEPTH_OK;
  const char* message = "OK";
};

// The calling thread's last error that had no handle to be recorded on. The message is valid until the
// thread's next set or clear. All three may be called at any time, even from destructors of static and
// thread-local objects, which may run after the thread has released its long message.
ErrorState global_error() noexcept;

// Throws std::bad_alloc if there is no memory for a message of ENHANCE_ERROR_TEXT_SIZE bytes or more; the
// previous error then stays. Shorter messages need none. While the thread ends, longer messages are cut.
void set_global_error(int code, const std::string& message);

void clear_global_error() noexcept;

// The exception class that belongs to a code.
int exception_type_from_error_code(int code);

// A new record with `line` 0. A null text becomes an empty text, a text that is too long is cut. Throws
// std::bad_alloc.
enhance_error* make_error(int status, const char* message, const char* function, const char* args,
                          int exception_type);

// Frees the record in the caller's output parameter, if there is one, and sets it to null.
void clear_error_result(enhance_error** out);

// Stores a new record of `error` in the caller's output parameter; does nothing if `out` is null or the code
// is 0. If it throws std::bad_alloc, *out is unchanged.
void fill_error_result(enhance_error** out, const ErrorState& error, const char* function, const char* args,
                       ReportSite site);

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_API_ERROR_RECORD_H
