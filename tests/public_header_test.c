/* The public header as a C11 program sees it: it compiles, its records have their layout, and its functions
 * link. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "enhance_depth.h"

_Static_assert(sizeof(enhance_error) == 4 + 4 + 3 * 256 + 4 + 4, "a record has no gaps");
_Static_assert(offsetof(enhance_error, status) == 0, "order");
_Static_assert(offsetof(enhance_error, error_code) == 4, "order");
_Static_assert(offsetof(enhance_error, message) == 8, "order");
_Static_assert(offsetof(enhance_error, function) == 264, "order");
_Static_assert(offsetof(enhance_error, args) == 520, "order");
_Static_assert(offsetof(enhance_error, line) == 776, "order");
_Static_assert(offsetof(enhance_error, exception_type) == 780, "order");
_Static_assert(offsetof(enhance_depth_input, rgb) == 0, "order");
_Static_assert(offsetof(enhance_depth_input, rgb_stride) == 8, "order");
_Static_assert(offsetof(enhance_depth_input, depth) == 16, "order");
_Static_assert(offsetof(enhance_depth_input, depth_stride) == 24, "order");
_Static_assert(offsetof(enhance_depth_input, height) == 28, "order");
_Static_assert(offsetof(enhance_depth_input, width) == 32, "order");
_Static_assert(offsetof(enhance_depth_output, pred) == 0, "order");
_Static_assert(offsetof(enhance_depth_output, pred_stride) == 8, "order");
_Static_assert(offsetof(enhance_depth_output, conf) == 16, "order");
_Static_assert(offsetof(enhance_depth_output, conf_stride) == 24, "order");
_Static_assert(sizeof(EnhanceDepthErrorCode) == 4, "codes have 32 bits");
_Static_assert(ENHANCE_DEPTH_ERROR_RESERVED_11 == 11 && ENHANCE_DEPTH_ERROR_RUNTIME_CREATE_FAILED == 12 &&
                   ENHANCE_DEPTH_ERROR_NOT_INITIALIZED == 15 &&
                   ENHANCE_DEPTH_ERROR_DEVICE_ALLOC_FAILED == 21 &&
                   ENHANCE_DEPTH_ERROR_SET_INPUT_SHAPE_FAILED == 28 &&
                   ENHANCE_DEPTH_ERROR_UNKNOWN_EXCEPTION == 35,
               "codes are never renumbered");

int main(void) {
  enhance_error* error = enhance_create_error(1, "message", "function", "args", 2);
  enhance_depth_input input = {NULL, 0, NULL, 0, 0, 0};
  enhance_depth_output output = {NULL, 0, NULL, 0};
  float threshold = 0.0F;
  int failures = error == NULL;
  failures += enhance_depth_create(NULL, &error) != NULL;
  failures += enhance_depth_reset(NULL, 1, 1, &error) != 0;
  failures += enhance_depth_process(NULL, &input, &output, &error) != 0;
  failures += enhance_depth_set_confidence_threshold(NULL, 1.0F, &error) != 0;
  failures += enhance_depth_get_confidence_threshold(NULL, &threshold, &error) != 0;
  failures += error == NULL || error->error_code != ENHANCE_DEPTH_ERROR_NULL_HANDLE;
  enhance_depth_set_optimization_level(NULL, 1);
  failures += enhance_GetLastInferenceTime(NULL) >= 0.0F;
  failures += strcmp(enhance_depth_get_last_error(NULL),
                     "enhance_GetLastInferenceTime received null engine handle.") != 0;
  enhance_depth_destroy(NULL);
  failures += strcmp(enhance_depth_get_last_error(NULL), "OK") != 0;
  enhance_delete_error(error);
  printf("%s: %d failures\n", enhance_depth_get_version(), failures);
  return failures != 0;
}
