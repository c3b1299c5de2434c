// The TensorRT version that these interface headers describe.
#ifndef NV_INFER_VERSION_H
#define NV_INFER_VERSION_H

#define NV_TENSORRT_MAJOR 10
#define NV_TENSORRT_MINOR 3
#define NV_TENSORRT_PATCH 0
#define NV_TENSORRT_VERSION (NV_TENSORRT_MAJOR * 10000 + NV_TENSORRT_MINOR * 100 + NV_TENSORRT_PATCH)

#endif  // NV_INFER_VERSION_H
