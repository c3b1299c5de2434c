/* The public header as a C11 program sees it: it compiles, and its functions link. */
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "enhance_depth.h"

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
