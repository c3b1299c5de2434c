/* Prints the text of every status that CUDA might answer with, one "number<tab>text" a line. */
#include <cuda_runtime_api.h>
#include <stdio.h>

int main(void) {
  for (int code = -1; code <= 1100; ++code) {
    printf("%d\t%s\n", code, cudaGetErrorString((cudaError_t)code));
  }
  return 0;
}
