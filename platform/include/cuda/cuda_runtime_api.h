// Interface of the CUDA 12 runtime: what enhance_depth uses of it, for building where CUDA is not installed.
// Binary compatible with libcudart.so.12.
#ifndef CUDA_RUNTIME_API_H
#define CUDA_RUNTIME_API_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct CUstream_st* cudaStream_t;
typedef struct CUevent_st* cudaEvent_t;

enum cudaError {
  cudaSuccess = 0,
  cudaErrorInvalidValue = 1,
  cudaErrorMemoryAllocation = 2,
  cudaErrorInitializationError = 3,
  cudaErrorInsufficientDriver = 35,
  cudaErrorNoDevice = 100,
  cudaErrorInvalidResourceHandle = 400,
  cudaErrorNotReady = 600,
  cudaErrorIllegalAddress = 700,
  cudaErrorLaunchFailure = 719,
  cudaErrorUnknown = 999
};
typedef enum cudaError cudaError_t;

enum cudaMemcpyKind {
  cudaMemcpyHostToHost = 0,
  cudaMemcpyHostToDevice = 1,
  cudaMemcpyDeviceToHost = 2,
  cudaMemcpyDeviceToDevice = 3,
  cudaMemcpyDefault = 4
};

cudaError_t cudaStreamCreate(cudaStream_t* stream);
cudaError_t cudaStreamDestroy(cudaStream_t stream);
cudaError_t cudaStreamSynchronize(cudaStream_t stream);

cudaError_t cudaEventCreate(cudaEvent_t* event);
cudaError_t cudaEventDestroy(cudaEvent_t event);
cudaError_t cudaEventRecord(cudaEvent_t event, cudaStream_t stream);
cudaError_t cudaEventSynchronize(cudaEvent_t event);
cudaError_t cudaEventElapsedTime(float* ms, cudaEvent_t start, cudaEvent_t end);

cudaError_t cudaMalloc(void** device_pointer, size_t size);
cudaError_t cudaFree(void* device_pointer);
cudaError_t cudaMemset(void* device_pointer, int value, size_t count);
cudaError_t cudaMemcpyAsync(void* destination, const void* source, size_t count, enum cudaMemcpyKind kind,
                            cudaStream_t stream);

const char* cudaGetErrorString(cudaError_t error);

#ifdef __cplusplus
}
#endif

#endif  // CUDA_RUNTIME_API_H
