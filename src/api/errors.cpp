// Exported: error records and last errors.
#include <new>

#include "api/boundary.h"
#include "api/error_record.h"
#include "enhance_depth.h"

using enhance_depth::from_handle;
using enhance_depth::global_error;
using enhance_depth::make_error;

enhance_error* enhance_create_error(int status, const char* message, const char* function, const char* args,
                                    int exception_type) {
  try {
    return make_error(status, message, function, args, exception_type);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void enhance_delete_error(enhance_error* error) { delete error; }

const char* enhance_depth_get_last_error(enhance_depth_handle handle) {
  return handle != nullptr ? from_handle(handle)->last_error_message().c_str()
                           : global_error().message.c_str();
}
