/*
 * Prints the binary layout of the public records and the values of the result codes, one fact a line. Built
 * as C and as C++: both have to say the same, and the same as interface.txt.
 */
#include <stddef.h>
#include <stdio.h>

#include "enhance_depth.h"

#define RECORD(type) printf("record %s: %zu bytes\n", #type, sizeof(type))
#define MEMBER(type, name) \
  printf("  %s at %zu, %zu bytes\n", #name, offsetof(type, name), sizeof(((type*)NULL)->name))

static void describe_error(void) {
  RECORD(enhance_error);
  MEMBER(enhance_error, status);
  MEMBER(enhance_error, error_code);
  MEMBER(enhance_error, message);
  MEMBER(enhance_error, function);
  MEMBER(enhance_error, args);
  MEMBER(enhance_error, line);
  MEMBER(enhance_error, exception_type);
}

static void describe_input(void) {
  RECORD(enhance_depth_input);
  MEMBER(enhance_depth_input, rgb);
  MEMBER(enhance_depth_input, rgb_stride);
  MEMBER(enhance_depth_input, depth);
  MEMBER(enhance_depth_input, depth_stride);
  MEMBER(enhance_depth_input, height);
  MEMBER(enhance_depth_input, width);
}

static void describe_output(void) {
  RECORD(enhance_depth_output);
  MEMBER(enhance_depth_output, pred);
  MEMBER(enhance_depth_output, pred_stride);
  MEMBER(enhance_depth_output, conf);
  MEMBER(enhance_depth_output, conf_stride);
}

#define CODE(name) \
  case name:       \
    return #name

/* Has no default, so that the compiler names a code that is missing here. */
static const char* code_name(EnhanceDepthErrorCode code) {
  switch (code) {
    CODE(ENHANCE_DEPTH_OK);
    CODE(ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT);
    CODE(ENHANCE_DEPTH_ERROR_NULL_HANDLE);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_3);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_4);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_5);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_6);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_7);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_8);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_9);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_10);
    CODE(ENHANCE_DEPTH_ERROR_RESERVED_11);
    CODE(ENHANCE_DEPTH_ERROR_RUNTIME_CREATE_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_ENGINE_DESERIALIZE_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_CONTEXT_CREATE_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_NOT_INITIALIZED);
    CODE(ENHANCE_DEPTH_ERROR_BUFFERS_NOT_CONFIGURED);
    CODE(ENHANCE_DEPTH_ERROR_NULL_INPUT_DATA);
    CODE(ENHANCE_DEPTH_ERROR_RESOLUTION_MISMATCH);
    CODE(ENHANCE_DEPTH_ERROR_STRIDE_MISMATCH);
    CODE(ENHANCE_DEPTH_ERROR_CUDA_RESOURCE_CREATE_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_DEVICE_ALLOC_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_MEMCPY_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_MEMSET_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_SYNC_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_ENQUEUE_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_NO_COMPATIBLE_PROFILE);
    CODE(ENHANCE_DEPTH_ERROR_SET_PROFILE_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_SET_INPUT_SHAPE_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_TENSOR_NOT_FOUND);
    CODE(ENHANCE_DEPTH_ERROR_TENSOR_MODE_MISMATCH);
    CODE(ENHANCE_DEPTH_ERROR_TENSOR_DTYPE_MISMATCH);
    CODE(ENHANCE_DEPTH_ERROR_INVALID_ENGINE_IO);
    CODE(ENHANCE_DEPTH_ERROR_BIND_TENSOR_ADDRESS_FAILED);
    CODE(ENHANCE_DEPTH_ERROR_STD_EXCEPTION);
    CODE(ENHANCE_DEPTH_ERROR_UNKNOWN_EXCEPTION);
  }
  return NULL;
}

static void describe_codes(void) {
  int code;
  printf("enum EnhanceDepthErrorCode: %zu bytes\n", sizeof(EnhanceDepthErrorCode));
  for (code = -100; code <= 1000; ++code) {
    const char* name = code_name((EnhanceDepthErrorCode)code);
    if (name != NULL) {
      printf("  %s = %d\n", name, code);
    }
  }
}

int main(void) {
  describe_error();
  describe_input();
  describe_output();
  describe_codes();
  return 0;
}
