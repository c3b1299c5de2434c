/*
 * Prints the binary layout of the public records, one fact a line. Built as C and as C++: both have to say
 * the same, and the same as interface.txt.
 */
#include <stddef.h>
#include <stdio.h>

#include "enhance_depth.h"

#define RECORD(type) printf("record %s: %zu bytes\n", #type, sizeof(type))
#define MEMBER(type, name) \
  printf("  %s at %zu, %zu bytes\n", #name, offsetof(type, name), sizeof(((type*)NULL)->name))

int main(void) {
  RECORD(enhance_error);
  MEMBER(enhance_error, status);
  MEMBER(enhance_error, error_code);
  MEMBER(enhance_error, message);
  MEMBER(enhance_error, function);
  MEMBER(enhance_error, args);
  MEMBER(enhance_error, line);
  MEMBER(enhance_error, exception_type);
  RECORD(enhance_depth_input);
  MEMBER(enhance_depth_input, rgb);
  MEMBER(enhance_depth_input, rgb_stride);
  MEMBER(enhance_depth_input, depth);
  MEMBER(enhance_depth_input, depth_stride);
  MEMBER(enhance_depth_input, height);
  MEMBER(enhance_depth_input, width);
  RECORD(enhance_depth_output);
  MEMBER(enhance_depth_output, pred);
  MEMBER(enhance_depth_output, pred_stride);
  MEMBER(enhance_depth_output, conf);
  MEMBER(enhance_depth_output, conf_stride);
  printf("enum EnhanceDepthErrorCode: %zu bytes\n", sizeof(EnhanceDepthErrorCode));
  return 0;
}
