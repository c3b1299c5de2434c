// Exported: error records and last errors.
#include "api/boundary.h"
#include "api/error_record.h"
#include "enhance_depth.h"

using namespace enhance_depth;

enhance_error* enhance_create_error(int status, const char* message, const char* function, const char* args,
                                    int exception_type) {
  try {
    return make_error(status, message, function, args, exception_type);
  } catch (...) {  // no memory, whatever the host's operator new throws for it
    return nullptr;
  }
}

void enhance_delete_error(enhance_error* error) { delete error; }

const char* enhance_depth_get_last_error(enhance_depth_handle handle) {
  return handle != nullptr ? from_handle(handle)->last_error_message().c_str() : global_error().message;
}
