/* Stands in for TensorRT, libnvinfer.so.10, where a test ends before the library needs it. */
#include <stdint.h>
#include <stdlib.h>

void* createInferRuntime_INTERNAL(void* logger, int32_t version);

void* createInferRuntime_INTERNAL(void* logger, int32_t version) {
  (void)logger;
  (void)version;
  abort();
}
